#pragma once

#include <array>
#include <vector>

#include "FitPoints.h"
#include "PointGrid.h"
#include "kel.h"

namespace TARN_KEL {

/// Where a vertex should be, by the points around it.
struct VertexPlace {
    int numSheets = 0;     ///< sheets that meet around it; 0: too few points, the rest says nothing
    bool bRough = false;   ///< one sheet doesn't hold the points
    Vector3 sheet;         ///< the nearest place on the nearest sheet
    Vector3 normal;        ///< of that sheet
    bool bCrease = false;  ///< two sheets with points near their line
    Vector3 crease;        ///< the nearest place on it
    bool bCorner = false;  ///< three sheets with points near their corner
    Vector3 corner;
};

/// Tells how many sheets the points around a place form, and where these are. The unit of length is the spacing of the
/// points.
///
/// An edge is told from a tight arc by what is left of the points: planes hold those of an edge and not those of an arc, one
/// curved sheet those of an arc and not those of an edge. No angle is needed.
///
/// Refers to the points. Holds what one search after another needs: one for each thread.
class SheetFinder {
public:
    SheetFinder(const FitPoints& points, const PointGrid& grid) : fitPoints(points), pointGrid(grid) {}

    /// The sheets around a place, of the points that are seen from there. scale: of the radius that is looked at.
    VertexPlace find(const Vector3& place, const SurfaceSide& side, double scale = 1.0);

private:
    struct Near {
        Vector3 offset;  // from the place
        Vector3 normal;
        double weight;
        FitIndex sheet;
        double support;  // for the plane of its sheet
    };
    struct Sheet {
        Vector3 normal;
        double height = 0.0;     // of the place's foot: place + normal * height
        double sqNearest = 0.0;  // of the nearest of its points
    };
    static constexpr FitIndex ALL = NO_INDEX;

    bool gather(const Vector3& place, const SurfaceSide& side, double scale);
    Sheet fitSheet(FitIndex which) const;
    double spreadAroundSheet(const Sheet& sheet) const;
    double spreadAroundPlanes(const std::vector<Sheet>& vSheet) const;
    void partByNormals();
    void fitPlanes(std::vector<Sheet>& vSheet);
    void gatherOnPlanes(const std::vector<Sheet>& vPlane);
    double refit(FitIndex which, Sheet& plane);
    std::size_t farthestNormal(const Vector3& from, double& cosine) const;
    void gatherAroundMeans(std::vector<Vector3>& vMean);
    bool areSheets(const std::vector<Vector3>& vMean) const;
    void meetSheets(const std::vector<Sheet>& vSheet, const Vector3& place, VertexPlace& result) const;
    bool hasPointsNear(const Vector3& offset, FitIndex sheet, double distance) const;

    const FitPoints& fitPoints;
    const PointGrid& pointGrid;
    std::vector<Near> vNear;
    double sumOfWeights = 0.0;
    std::vector<Vector3> vMeanNormal;  // of each sheet that partByNormals() finds
};

}  // namespace TARN_KEL
