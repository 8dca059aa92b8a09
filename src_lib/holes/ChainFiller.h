#pragma once

#include <string>
#include <vector>

#include "ChainMgr.h"
#include "Loop.h"

namespace TARN_KEL {

class CMesh;

/// The border of a coarse mesh as chains, and the filling of its closed chains by ears (fillChain.h): what Holex and
/// HoleToCCD have in common.
///
/// Only refers to the mesh, which must outlive it.
class ChainFiller {
public:
    ChainFiller(const ChainFiller&) = delete;
    ChainFiller& operator=(const ChainFiller&) = delete;

    /// Chains the edges with one triangle, and closes open chains over edges of the mesh where that can be done. Takes the
    /// place of the chains before. O(n log n).
    void chainBorder();
    /// Fills one closed chain (assertion), if it is a good hole. True when it made triangles.
    bool fill(Chain* pChain);

    // ---- Steps of chainBorder() and fill()

    /// Enters the edges with one triangle under both their ends.
    static void mapDeg1(CMesh* pCMesh, EdgesByEnd& mmVCD2CE);
    /// The caller's; null when an edge of the chain has no triangle.
    CMesh* createBorderMesh(Chain* pChain, std::vector<CEdge*>& vBorderCE) const;
    /// The caller's.
    Loop* createLoop(CMesh* pBorderMesh, const std::vector<CEdge*>& vCE) const;

    /// For debugging.
    void showLoops(const std::string& filename) const;

    ChainMgr* pChainMgr = nullptr;     ///< of the last chainBorder(), owned
    CMesh* pCMesh;                     ///< not owned
    Calc* pCalc;                       ///< not owned
    std::vector<Loop*> vLoops;         ///< owned; they refer to pCMesh
    std::vector<CTriangle*> vFilledT;  ///< made in pCMesh

protected:
    ChainFiller(CMesh* pCMesh, Calc* pCalc);
    ~ChainFiller();
};

}  // namespace TARN_KEL
