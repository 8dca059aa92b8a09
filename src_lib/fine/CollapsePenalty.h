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

/// The side of a triangle opposite src, from a to b in the triangle's order, and what a collapse of src needs to know of the
/// triangle, whatever trg is.
struct RingSide {
    RingSide(const RTriangle& rt, const Point3* pSrc);
    void measure(const Point3* pSrc);
    /// Finds the third corner of the other triangle on this side.
    void findApex();
    bool has(const Point3* pTrg) const { return a == pTrg || b == pTrg; }
    /// Another triangle on this side has the corner pTrg. After findApex().
    bool isSideOf(const Point3* pTrg) const;

    const RTriangle* pRT;
    const Point3 *a, *b;
    const REdge* pRE;
    Vector3 side, unitNormal;
    const Point3* pApex = nullptr;
    bool bMeasured = false;    // side, unitNormal and bDegenerate are known
    bool bDegenerate = false;  // without a normal
    bool bCrowded = false;     // more than one other triangle
};

/// The triangles at a vertex that may be collapsed, gathered once for all its neighbours.
class SourceRing {
public:
    /// vIncT: the triangles at pSrc.
    void gather(const std::vector<RTriangle*>& vIncT, const Point3* pSrc);
    const std::vector<RingSide>& sides() const { return vSide; }
    /// The mean turn of the normals in a collapse onto pTrg, in units of 0.01 radians; FORBIDDEN when it isn't allowed.
    double meanTurn(const Point3* pTrg, double maxDevRad);

private:
    std::vector<RingSide> vSide;
    const Point3* pCentre = nullptr;
    bool bApexes = false;  // whether they are found; they aren't needed for a collapse that turns too much
};

/// Computes the penalties of collapses (RMesh::getPenalty), one after the other. It keeps what it found around a vertex for
/// the next question, so it is cheap to ask for all collapses of a vertex in turn.
class PenaltyMeter {
public:
    PenaltyMeter(const RMesh& theMesh, double theMaxSqLen, double theMaxDevRad)
        : mesh(theMesh), maxSqLen(theMaxSqLen), maxDevRad(theMaxDevRad) {}

    double penaltyOf(const REdge& edge, int iDir);
    /// Gathers the triangles at that vertex, as penaltyOf() does for a collapse of it.
    void lookAt(const Point3* pSrc);
    /// To be called when the mesh has changed.
    void forget() {
        pLookedAt = nullptr;
        vIncT.clear();
    }
    /// The triangles at the vertex last looked at, none when the mesh has changed since; and the sides opposite it.
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
