#pragma once

#include <vector>

#include "ChainFiller.h"

namespace TARN_KEL {

/// Closes the holes of a coarse mesh by ears (Loop) and returns the corners of the new triangles.
///
/// A hole is a closed chain of border edges that is an opening of the surface (Chain::isGoodHole). Open chains are closed
/// over edges of the mesh where possible. Where the strip of triangles along a chain has a half twist, the twist is taken
/// out first. Ears are cut in a copy of the hole's surroundings, so the new triangles of a hole agree with each other, but
/// all of them may disagree with the mesh.
///
/// An object serves one mesh and one run. Cost: O(n log n), and the triangles at the borders.
class HoleToCCD : public ChainFiller {
public:
    HoleToCCD(CMesh* pCMesh, Calc* pCalc);

    /// Cuts the mesh into patches (CMesh::createCCPatches) and closes what can be closed.
    /// vOut: three corners for each new triangle are appended.
    /// Returns true when vOut isn't empty afterwards.
    bool run(std::vector<Point3>& vOut);

    /// The filling of run(): chains the border, takes the twists out and fills the closed chains in their order. A chain
    /// that still has a twist isn't filled; its twist is taken out.
    void strategyForMesh();

private:
    bool fixTwists();
};

}  // namespace TARN_KEL
