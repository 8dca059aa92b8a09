#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "ChainFiller.h"

namespace TARN_KEL {

class Hole;

/// An experiment: finds the holes of a coarse mesh, draws their borders and hands each to the reconstruction of the volume
/// around it (Hole). Hole::run() ends the process, so only the first hole is reached.
///
/// run() and determineHoles() end the process, with exit status 0. A caller who wants to go on calls their steps instead:
/// chainBorder(), then for each chain examine() and a Hole of its own, or fill(). run() never fills.
/// Cost: O(n log n) up to the first hole.
class Holex : public ChainFiller {
public:
    /// Throws (assertion) for a code without a bundle, and for a bundle whose point isn't in its cell (CMesh::checkCCD).
    Holex(CMesh* pCMesh, Calc* pCalc);

    /// Draws the mesh with its edges by degree, then determineHoles(): the process ends. vOut stays as it is.
    [[noreturn]] void run(std::vector<Point3>& vOut);
    /// chainBorder(), then examine() for each chain with members and Hole::run() for a hole; the process ends.
    [[noreturn]] void determineHoles();

    /// Draws chain i. Returns true for a hole: a closed chain that is an opening of the surface.
    bool examine(std::size_t i) const;

    std::vector<std::shared_ptr<Hole>> vHoles;  ///< of determineHoles(); they refer to the chains
};

/// True when a has more triangles than b: sorts groups, the largest first.
inline bool gtVec(const std::vector<CTriangle*>& a, const std::vector<CTriangle*>& b) {
    return a.size() > b.size();
}

}  // namespace TARN_KEL
