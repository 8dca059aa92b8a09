#pragma once

#include <cstddef>
#include <vector>

#include "CollapseGuard.h"
#include "CrossingIndex.h"

namespace TARN_KEL {

/// Forbids collapses by which more triangles would cross than before.
///
/// It looks at the coordinates that the mesh will have, so that what it tells is exact. Cost: O(n) for the start, with about
/// 100 bytes per triangle; O(k^2 + k m) for a collapse with k triangles around it and m near them.
class CrossingGuard : public CollapseGuard {
public:
    /// surface: only referred to. Its vertices are where their sources are.
    explicit CrossingGuard(const FlatSurface& surface);

    bool allows(const Collapse& collapse) override;
    void accept() override;

private:
    using Index = FlatSurface::Index;

    TriangleCorners cornersOf(Index triangle) const;

    const FlatSurface& surface;
    std::vector<Point3> vPlace;  // of each vertex
    CrossingIndex index;         // by number of the triangle
    // Of the collapse that is looked at:
    Index remaining = 0;
    Point3 place;
    std::vector<Index> vOld;  // the triangles around it, sorted
    std::vector<Index> vKept;
    std::vector<TriangleCorners> vNew;  // of vKept
};

}  // namespace TARN_KEL
