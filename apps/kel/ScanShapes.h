// The surfaces of synthetic scans.
//
// Every shape is a list of pieces. A piece maps the unit square to a part of the surface. The map preserves ratios of areas,
// and the part is about as long as it is wide: a map that stretches would leave gaps between rows of points.
#pragma once

#include <functional>

#include "SyntheticScan.h"

inline constexpr double PI = 3.14159265358979323846;

struct Sample {
    TARN_KEL::Point3 point;
    TARN_KEL::Vector3 normal;  // unit length
};

/// A part of a surface. Places for which accepts() is false belong to a missing patch.
struct Piece {
    double area;  // of the whole piece, missing patches included
    std::function<Sample(double u, double v)> at;
    std::function<bool(const TARN_KEL::Point3&)> accepts = [](const TARN_KEL::Point3&) { return true; };
};

struct Shape {
    std::vector<Piece> vPieces;
    ScanTruth truth;
    bool bSphere = false;  // the pieces are parts of the unit sphere around the origin
    bool bHall = false;

    double wholeArea() const;  ///< missing patches included
};

/// A round window of the surface.
struct Window {
    TARN_KEL::Point3 centre;  // on the surface
    double radius;
};

/// The shape of that name; the spacing and the number of outliers in its truth are set later.
/// numPoints: the number of points that the scan will have.
/// Throws std::invalid_argument on an unknown name.
Shape makeShape(const std::string& name, std::size_t numPoints);

/// Cuts windows out of a shape. On spheres and planes they are round, on other surfaces nearly so.
void cutWindows(const std::vector<Window>& vWindows, Shape& shape);

/// The first point of the hall that a ray from origin meets. direction: unit length.
Sample castIntoHall(const TARN_KEL::Point3& origin, const TARN_KEL::Vector3& direction);
