#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <utility>
#include <vector>

#include "Forest.h"
#include "SheetPatches.h"

namespace TARN_KEL {

class RMesh;
class RTriangle;

/// Removes small patches from a fine mesh where that opens nothing.
///
/// A patch is connected through edges of degree 2. A membrane is a patch whose boundary edges all have degree 3 or more, so
/// that at least two triangles remain on each of them: a wall across a bubble, the floor under a bump. A flap has border
/// edges as well, which are removed with it; no new ones arise. A removal may leave boundary edges with two triangles, and
/// so join the patches beside it.
class MembraneRemover {
public:
    /// Finds the patches. Cost: O(n).
    /// mesh: must outlive this object, and nothing else may change it meanwhile.
    /// maxSize: size of the largest patch that may be removed, in triangles.
    MembraneRemover(RMesh& mesh, std::size_t maxSize);

    /// Removes membranes, the smallest one first, of equal ones the oldest, until none is left.
    /// bFlaps: remove flaps too.
    /// Returns the number of killed triangles.
    /// Cost: O(n log n).
    std::size_t run(bool bFlaps);

private:
    using Patch = SheetPatches::Patch;

    struct Members {
        std::size_t size = 0;
        std::vector<RTriangle*> vT;  // none in a patch that may not be removed
    };

    Patch patchOf(const RTriangle* pRT);
    bool isKept(Patch patch) const { return !vMembers[patch].vT.empty(); }
    void enqueue(Patch patch);
    bool isRemovable(Patch patch, bool bFlaps) const;
    std::size_t remove(Patch patch);
    void join(Patch a, Patch b);

    RMesh& mesh;
    const std::size_t maxSize;
    const SheetPatches patches;                      // as they were
    std::vector<Members> vMembers;                   // by root
    Forest joined;                                   // patches that became one
    std::set<std::pair<std::size_t, Patch>> sQueue;  // small patches by size that may be removable
};

}  // namespace TARN_KEL
