#pragma once

#include <vector>

#include "crossing.h"

namespace TARN_KEL {

class REdge;
class RTriangle;

/// Is told of all changes of a fine mesh, and says which steps on it are allowed: RMesh::pWatch. See CrossingWatch.
class StepWatch {
public:
    using Triangles = std::vector<const RTriangle*>;

    virtual ~StepWatch() = default;

    // ---- For the mesh ----

    virtual void noteCreated(const RTriangle& rt) = 0;
    virtual void noteKilled(const RTriangle& rt) = 0;
    virtual void noteChanged(const RTriangle& rt) = 0;

    // ---- Questions: whether a step is allowed ----

    /// Triangles are replaced by others.
    /// vOld: alive, none twice. vNew: of finite coordinates or not.
    virtual bool allows(const Triangles& vOld, const std::vector<TriangleCorners>& vNew) = 0;
    /// pSrc collapses onto pTrg (RMesh::exchangeCorner).
    virtual bool allowsCollapse(const Point3* pSrc, const Point3* pTrg) = 0;
    /// An edge of two triangles is flipped (REdge::tryFlipEdge). True for any other edge, which can't be.
    virtual bool allowsFlip(const REdge& edge) = 0;
};

}  // namespace TARN_KEL
