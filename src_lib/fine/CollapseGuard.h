#pragma once

#include <vector>

#include "FlatSurface.h"

namespace TARN_KEL {

/// A collapse on a flat surface that is looked at.
struct Collapse {
    FlatSurface::Index remaining;              ///< the vertex that remains
    std::vector<FlatSurface::Index> vKept;     ///< the corners, at the two vertices of the edge, of triangles that remain
    std::vector<FlatSurface::Index> vRemoved;  ///< one corner of each triangle that doesn't: that opposite the edge
    Vector3 place;                             ///< where the vertex that remains will be
    Point3 inMesh;                             ///< the same in the coordinates of the mesh, exactly
};

/// Forbids collapses. SurfaceReducer asks before each.
class CollapseGuard {
public:
    virtual ~CollapseGuard() = default;
    /// The surface is as it was after the last accept(), or at first as it was when the guard was made.
    virtual bool allows(const Collapse& collapse) = 0;
    /// The collapse that was allowed last is done now.
    virtual void accept() = 0;
};

}  // namespace TARN_KEL
