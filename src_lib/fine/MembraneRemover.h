#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <utility>
#include <vector>

#include "Forest.h"

namespace TARN_KEL {

class REdge;
class RMesh;
class RTriangle;

/// Removes small patches from a fine mesh where that opens nothing.
///
/// A patch is connected through edges of degree 2. A membrane is a patch whose boundary edges all have degree 3 or more, so
/// that at least two triangles remain on each of them: a wall across a bubble, the floor under a bump. A flap has border
/// edges as well, which are removed with it; no new ones arise. A removal may leave boundary edges with two triangles, and
/// so join the patches beside it.
///
/// A strip is a patch of any size that is narrow: it has few triangles for its boundary. Where two sheets come closer than a
/// cell along a line, as those at an acute edge do, the cells make a strip of one sheet of them.
class MembraneRemover {
public:
    /// Finds the patches. Cost: O(n).
    /// mesh: must outlive this object, and nothing else may change it meanwhile.
    /// maxSize: size of the largest patch that may be removed, in triangles.
    /// bStrips: larger ones may be removed as well if they are strips.
    MembraneRemover(RMesh& mesh, std::size_t maxSize, bool bStrips = false);

    /// Removes membranes, the smallest one first, of equal ones the oldest, until none is left.
    /// bFlaps: remove flaps too.
    /// Returns the number of killed triangles.
    /// Cost: O(n log n). With strips a joined patch is looked at again after each removal beside it; the whole melt of thin
    /// fins took 18 to 32 microseconds a cell from 67,000 to 4.8 million cells.
    std::size_t run(bool bFlaps);

private:
    using Patch = Forest::Member;

    struct Members {
        std::size_t size = 0;
        std::vector<RTriangle*> vT;  // none in a patch that may not be removed
    };

    void growPatch(RTriangle* pSeed);
    Patch patchOf(const RTriangle* pRT);
    bool isKept(Patch patch) const { return !vMembers[patch].vT.empty(); }
    bool mayGo(std::size_t numTriangles, std::size_t numBoundary) const;
    void enqueue(Patch patch);
    bool isRemovable(Patch patch, bool bFlaps) const;
    std::size_t remove(Patch patch);
    void join(Patch a, Patch b);

    RMesh& mesh;
    const std::size_t maxSize;
    const bool bStrips;
    std::vector<Patch> vPatchOf;                     // by triangle; the first name of a patch
    std::vector<Members> vMembers;                   // by root
    Forest joined;                                   // patches that became one; at first each triangle counts as one
    std::set<std::pair<std::size_t, Patch>> sQueue;  // small patches by size that may be removable
};

}  // namespace TARN_KEL
