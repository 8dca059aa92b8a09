// No public function reaches it: it belongs to Holex and HoleToCCD.
#pragma once

#include <string>
#include <vector>

#include "ChainMgr.h"
#include "Loop.h"

namespace TARN_KEL {

class CMesh;

/// Cuts the border of a coarse mesh into chains and fills closed chains by ears (fillChain.h): what Holex and HoleToCCD have
/// in common. The mesh isn't owned and must outlive it.
class ChainFiller {
public:
    ChainFiller(const ChainFiller&) = delete;
    ChainFiller& operator=(const ChainFiller&) = delete;

    /// Chains the edges with one triangle, and closes open chains over edges of the mesh where possible. Replaces the former
    /// chains. Cost: O(n log n).
    void chainBorder();
    /// Fills one closed chain if it is a good hole. Returns true when it created triangles. Throws (assertion) for an open
    /// chain.
    bool fill(Chain* pChain);

    // ---- Steps of chainBorder() and fill()

    /// Enters the edges with one triangle under both their ends.
    static void mapDeg1(CMesh* pCMesh, EdgesByEnd& mmVCD2CE);
    /// copyBorder(); the mesh belongs to the caller. Null when an edge of the chain has no triangle.
    CMesh* createBorderMesh(Chain* pChain, std::vector<CEdge*>& vBorderCE) const;
    /// makeLoop(); the loop belongs to the caller.
    Loop* createLoop(CMesh* pBorderMesh, const std::vector<CEdge*>& vCE) const;

    /// For debugging.
    void showLoops(const std::string& filename) const;

    ChainMgr* pChainMgr = nullptr;     ///< of the last chainBorder(), owned
    CMesh* pCMesh;                     ///< not owned
    Calc* pCalc;                       ///< not owned
    std::vector<Loop*> vLoops;         ///< owned; they refer to pCMesh
    std::vector<CTriangle*> vFilledT;  ///< created in pCMesh

protected:
    ChainFiller(CMesh* pCMesh, Calc* pCalc);
    ~ChainFiller();
};

}  // namespace TARN_KEL
