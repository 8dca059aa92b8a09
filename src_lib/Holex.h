#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "ChainMgr.h"
#include "Loop.h"

namespace TARN_KEL {

class CMesh;

/// An experiment: finds the holes of a coarse mesh, draws their borders and hands each to a reconstruction of the volume
/// around it. That one isn't built yet: a warning tells of each hole.
///
/// run() and determineHoles() end the process, with exit status 0. A caller who wants the holes and goes on takes their
/// steps: chainBorder(), then isHole() or fill() for each chain.
///
/// Only refers to the mesh, which must outlive it. O(n log n).
class Holex {
public:
    /// Codes without a bundle or with one whose point lies elsewhere are an assertion (CMesh::checkCCD).
    Holex(CMesh* pCMesh, Calc* pCalc);
    ~Holex();
    Holex(const Holex&) = delete;
    Holex& operator=(const Holex&) = delete;

    /// Draws the mesh with its edges by degree, then determineHoles(): the process ends. vOut stays as it is.
    [[noreturn]] void run(std::vector<Point3>& vOut);
    /// chainBorder(), then examine() for each chain with members; the process ends.
    [[noreturn]] void determineHoles();

    // ---- Their steps

    /// Chains the edges with one triangle, and closes open chains over edges of the mesh where that can be done.
    void chainBorder();
    /// Draws the chain of that number. True for a hole: a closed chain that is an opening of the surface.
    bool examine(std::size_t i) const;

    // ---- Filling by ears, which run() doesn't do; see fillChain.h

    /// Fills one closed chain (assertion), if it is a good hole. True when it made triangles.
    bool fill(Chain* pChain);
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
};

/// True when a has more triangles than b: for groups, the largest first.
inline bool gtVec(const std::vector<CTriangle*>& a, const std::vector<CTriangle*>& b) {
    return a.size() > b.size();
}

}  // namespace TARN_KEL
