#pragma once

#include <cstddef>
#include <vector>

#include "CollapseGuard.h"

namespace TARN_KEL {

/// Forbids collapses that take a surface too far away from what it was.
///
/// Each vertex of the original surface is kept in the list of a triangle that is near it, those on the border in the list of
/// one that has a border edge near them. A collapse is allowed if all vertices in the lists around it are within the limit
/// of the new triangles, or of the new border, and the new vertex and the middles of its edges are within the limit of the
/// original triangles nearby. That is an estimate, as places between are not looked at: distanceBound() proves it.
class DistanceGuard : public CollapseGuard {
public:
    using Index = FlatSurface::Index;

    /// surface: a copy of the original, which is changed between the calls. Both are referred to.
    /// maxDistance: in the units of the surface, above 0. Cost: O(n), 7 bytes for each triangle.
    DistanceGuard(const FlatSurface& surface, const FlatSurface& original, double maxDistance);

    bool allows(const Collapse& collapse) override;
    void accept() override;

private:
    struct NewTriangle {
        Index triangle;
        Vector3 next, previous;                         // the corners behind the moved one
        bool bFarBorder, bNextBorder, bPreviousBorder;  // its sides opposite the moved corner, to next, and to previous
    };
    struct Home {
        Index sample, triangle;
    };
    void gather(const Collapse& collapse);
    bool findHome(Home& home, const Vector3& place) const;
    bool isNearOriginal(const Vector3& place) const;

    const FlatSurface& surface;
    const FlatSurface& original;
    const double sqLimit;
    std::vector<char> vOnBorder;            // of the original, per vertex
    std::vector<Index> vFirst, vFollowing;  // the lists: per triangle the first sample; per sample the next one
    // Of the collapse that is looked at:
    std::vector<NewTriangle> vNew;
    std::vector<Index> vOld;  // the triangles around it
    std::vector<Home> vHome;
};

}  // namespace TARN_KEL
