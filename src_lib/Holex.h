#pragma once

#include <cstddef>
#include <vector>

#include "ChainFiller.h"

namespace TARN_KEL {

/// An experiment: finds the holes of a coarse mesh, draws their borders and hands each to a reconstruction of the volume
/// around it. That one isn't built yet: a warning tells of each hole.
///
/// run() and determineHoles() end the process, with exit status 0. A caller who wants the holes and goes on takes their
/// steps: chainBorder(), then examine() or fill() for each chain. run() never fills. O(n log n).
class Holex : public ChainFiller {
public:
    /// Codes without a bundle or with one whose point lies elsewhere are an assertion (CMesh::checkCCD).
    Holex(CMesh* pCMesh, Calc* pCalc);

    /// Draws the mesh with its edges by degree, then determineHoles(): the process ends. vOut stays as it is.
    [[noreturn]] void run(std::vector<Point3>& vOut);
    /// chainBorder(), then examine() for each chain with members; the process ends.
    [[noreturn]] void determineHoles();

    /// Draws the chain of that number. True for a hole: a closed chain that is an opening of the surface.
    bool examine(std::size_t i) const;
};

/// True when a has more triangles than b: for groups, the largest first.
inline bool gtVec(const std::vector<CTriangle*>& a, const std::vector<CTriangle*>& b) {
    return a.size() > b.size();
}

}  // namespace TARN_KEL
