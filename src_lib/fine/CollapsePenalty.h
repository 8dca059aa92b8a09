#pragma once

#include <limits>
#include <utility>
#include <vector>

#include "RMesh.h"

namespace TARN_KEL {

/// The penalty of a collapse that isn't allowed.
constexpr double FORBIDDEN = std::numeric_limits<double>::max();

inline bool isAllowed(double penalty) {
    return penalty != FORBIDDEN;
}

/// The side of a triangle opposite src, from a to b in the triangle's orientation, with what a collapse of src needs to know
/// about the triangle and what doesn't depend on trg.
struct RingSide {
    RingSide(const RTriangle& rt, const Point3* pSrc);
    void measure(const Point3* pSrc);
    /// Finds the third corner of the other triangle on this side.
    void findApex();
    bool has(const Point3* pTrg) const { return a == pTrg || b == pTrg; }
    /// Whether another triangle on this side has the corner pTrg. Requires findApex().
    bool isSideOf(const Point3* pTrg) const;

    const RTriangle* pRT;
    const Point3 *a, *b;
    const REdge* pRE;
    Vector3 side, unitNormal;
    const Point3* pApex = nullptr;
    bool bMeasured = false;    // side, unitNormal and bDegenerate are known
    bool bDegenerate = false;  // the triangle has no normal
    bool bCrowded = false;     // there are several other triangles on this side
};

/// The triangles at a vertex that may collapse. They are gathered once and serve for the collapses onto all neighbours.
class SourceRing {
public:
    /// vIncT: the triangles at pSrc.
    void gather(const std::vector<RTriangle*>& vIncT, const Point3* pSrc);
    const std::vector<RingSide>& sides() const { return vSide; }
    /// The mean turn of the normals when the vertex collapses onto pTrg, in units of 0.01 radians; FORBIDDEN when that isn't
    /// allowed.
    double meanTurn(const Point3* pTrg, double maxDevRad);

private:
    std::vector<RingSide> vSide;
    const Point3* pCentre = nullptr;
    bool bApexes = false;  // findApex() was called; a collapse that turns a normal too far doesn't need it
};

/// Computes the penalties of collapses (RMesh::getPenalty). It remembers the surroundings of the last vertex, so asking for
/// all collapses of one vertex in a row is cheap.
class PenaltyMeter {
public:
    PenaltyMeter(const RMesh& theMesh, double theMaxSqLen, double theMaxDevRad)
        : mesh(theMesh), maxSqLen(theMaxSqLen), maxDevRad(theMaxDevRad) {}

    double penaltyOf(const REdge& edge, int iDir);
    /// Gathers the triangles at a vertex, as penaltyOf() does for the vertex that collapses.
    void lookAt(const Point3* pSrc);
    /// Must be called after each change of the mesh.
    void forget() {
        pLookedAt = nullptr;
        vIncT.clear();
    }
    /// The triangles at the vertex of the last lookAt(), and their sides opposite it. No triangles after forget().
    const std::vector<RTriangle*>& trianglesLookedAt() const { return vIncT; }
    const std::vector<RingSide>& sidesLookedAt() const { return ring.sides(); }

private:
    const RMesh& mesh;
    const double maxSqLen, maxDevRad;
    const Point3* pLookedAt = nullptr;
    std::vector<RTriangle*> vIncT;
    SourceRing ring;
};

}  // namespace TARN_KEL
