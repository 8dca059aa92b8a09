#pragma once

#include <vector>

#include "crossing.h"

namespace TARN_KEL {

class REdge;
class RTriangle;

/// What a step on a fine mesh does to triangles.
struct Replacement {
    std::vector<const RTriangle*> vOld;  ///< Those that go or change: alive, none twice.
    std::vector<TriangleCorners> vNew;   ///< What is there instead, of finite coordinates or not.
};

/// Is told of all changes of a fine mesh, and says which steps on it are allowed: RMesh::pWatch. See CrossingWatch.
class StepWatch {
public:
    virtual ~StepWatch() = default;

    // ---- For the mesh ----

    virtual void noteCreated(const RTriangle& rt) = 0;
    virtual void noteKilled(const RTriangle& rt) = 0;
    virtual void noteChanged(const RTriangle& rt) = 0;

    // ---- Questions: whether a step is allowed ----

    virtual bool allows(const Replacement& step) = 0;
    /// pSrc collapses onto pTrg (RMesh::exchangeCorner).
    virtual bool allowsCollapse(const Point3* pSrc, const Point3* pTrg) = 0;
    /// An edge of two triangles is flipped (REdge::tryFlipEdge). True for any other edge, which can't be.
    virtual bool allowsFlip(const REdge& edge) = 0;
};

}  // namespace TARN_KEL
