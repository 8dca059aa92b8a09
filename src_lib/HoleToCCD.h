#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "ChainMgr.h"
#include "Loop.h"

namespace TARN_KEL {

class CMesh;

/// Closes the holes of a coarse mesh by ears (Loop) and tells where: the corners of the new triangles.
///
/// A hole is a closed chain of border edges that is an opening of the surface (Chain::isGoodHole); open chains are closed
/// over edges of the mesh where that can be done. Strips with a half twist lose it first. Triangles of the mesh stay as they
/// are, turned or not, but for those of such strips; each new one comes from a copy of its hole's surroundings. So the new
/// triangles of a hole agree with each other, and with the mesh up to a turn of all of them.
///
/// For one mesh and one run. Only refers to the mesh, which must outlive it. O(n log n), and the triangles at the borders.
class HoleToCCD {
public:
    HoleToCCD(CMesh* pCMesh, Calc* pCalc);
    ~HoleToCCD();
    HoleToCCD(const HoleToCCD&) = delete;
    HoleToCCD& operator=(const HoleToCCD&) = delete;

    /// Makes patches of the connected components, closes what can be closed, and appends three corners for each new triangle
    /// to vOut. True when vOut has any afterwards.
    bool run(std::vector<Point3>& vOut);

    // ---- Steps of run()

    /// Chains the border, takes the twists out and fills the closed chains in their order. Chains with a twist that is still
    /// there have it cut instead.
    void strategyForMesh();
    /// Fills one closed chain (assertion), if it is a good hole. True when it made triangles.
    bool fill(Chain* pChain);

    // ---- Steps of fill(); see fillChain.h

    static void mapDeg1(CMesh* pCMesh, EdgesByEnd& mmVCD2CE);
    /// The caller's; null when an edge of the chain has no triangle.
    CMesh* createBorderMesh(Chain* pChain, std::vector<CEdge*>& vBorderCE) const;
    /// The caller's.
    Loop* createLoop(CMesh* pBorderMesh, const std::vector<CEdge*>& vCE) const;

    /// For debugging.
    void showLoops(const std::string& filename) const;

    ChainMgr* pChainMgr = nullptr;     ///< of the last strategyForMesh(), owned
    CMesh* pCMesh;                     ///< not owned
    Calc* pCalc;                       ///< not owned
    std::vector<Loop*> vLoops;         ///< owned; they refer to pCMesh
    std::vector<CTriangle*> vFilledT;  ///< made in pCMesh

private:
    void chainBorder();
    bool fixTwists();
};

}  // namespace TARN_KEL
