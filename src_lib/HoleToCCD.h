#pragma once

#include <vector>

#include "ChainFiller.h"

namespace TARN_KEL {

/// Closes the holes of a coarse mesh by ears (Loop) and tells where: the corners of the new triangles.
///
/// A hole is a closed chain of border edges that is an opening of the surface (Chain::isGoodHole); open chains are closed
/// over edges of the mesh where that can be done. Strips with a half twist lose it first. Triangles of the mesh stay as they
/// are, turned or not, but for those of such strips; each new one comes from a copy of its hole's surroundings. So the new
/// triangles of a hole agree with each other, and with the mesh up to a turn of all of them.
///
/// For one mesh and one run. O(n log n), and the triangles at the borders.
class HoleToCCD : public ChainFiller {
public:
    HoleToCCD(CMesh* pCMesh, Calc* pCalc);

    /// Makes patches of the connected components, closes what can be closed, and appends three corners for each new triangle
    /// to vOut. True when vOut has any afterwards.
    bool run(std::vector<Point3>& vOut);

    /// The filling of run(): chains the border, takes the twists out and fills the closed chains in their order. Chains with
    /// a twist that is still there have it cut instead.
    void strategyForMesh();

private:
    bool fixTwists();
};

}  // namespace TARN_KEL
