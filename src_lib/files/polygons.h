// Polygons of mesh files, which become triangles.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

/// Cuts polygons into triangles.
///
/// At first each polygon is a fan around its first corner. That fills convex polygons rightly, and needs no coordinates,
/// which some files have behind their faces. In the end, when these are known, flat polygons whose fan folds back on itself
/// are cut anew by ears, into as many triangles. Polygons that aren't flat, or cross themselves, stay fans.
class PolygonCutter {
public:
    /// vIndices: the triangles are appended, three corners each; must outlive this object.
    explicit PolygonCutter(std::vector<int>& vIndices_) : vIndices(vIndices_) {}

    /// Adds a corner to the polygon at hand.
    void add(int corner) {
        if (numCorners == 0) first = corner;
        if (numCorners >= 2) vIndices.insert(vIndices.end(), {first, last, corner});
        last = corner;
        ++numCorners;
    }
    /// How many corners the polygon at hand has.
    std::size_t size() const { return numCorners; }
    /// Ends the polygon at hand. Of fewer than three corners nothing is left but their count.
    void endPolygon();

    /// Cuts anew what must be. vVertices: all of the file, behind numOlder others. Cost: linear in the corners, for a
    /// polygon of n corners that is cut anew about n^2, with n up to MAX_EARS; longer ones stay fans.
    void finish(const std::vector<Point3>& vVertices, std::size_t numOlder = 0);
    /// Prints a line for the polygons that were left out, and one for those that finish() couldn't cut rightly.
    void warn(const std::string& filename) const;

    static constexpr std::size_t MAX_EARS = 1000;

private:
    /// A polygon of four corners or more.
    struct Fan {
        std::size_t firstIndex;  ///< of its triangles
        std::size_t numCorners;
    };
    std::vector<int> cornersOf(const Fan& fan) const;

    std::vector<int>& vIndices;
    std::vector<Fan> vFan;
    std::size_t numCorners = 0;
    int first = 0, last = 0;
    std::uint64_t numTooSmall = 0, numFolded = 0;
};

}  // namespace TARN_KEL
