// The patches are found once. Afterwards only the boundaries of removed patches are looked at: an edge that is left with two
// triangles joins their patches, and every small patch beside it is tested again. Large patches are recognised by their size
// alone, so the work depends on the small ones.
#include "MembraneRemover.h"

#include <algorithm>

#include "RMesh.h"
#include "runs.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t MAX_STAR = 64;  // on an edge of more triangles a removal doesn't cause others to be tested again

}  // namespace

MembraneRemover::MembraneRemover(RMesh& theMesh, std::size_t theMaxSize)
    : mesh(theMesh), maxSize(theMaxSize), patches(mesh), vMembers(patches.size()), joined(patches.size()) {
    for (Patch patch = 0; patch < patches.size(); ++patch) {
        const auto triangles = patches.trianglesOf(patch);
        vMembers[patch].size = triangles.size();
        if (triangles.size() <= maxSize) vMembers[patch].vT.assign(triangles.begin(), triangles.end());
    }
}

MembraneRemover::Patch MembraneRemover::patchOf(const RTriangle* pRT) {
    return joined.findRoot(patches[mesh.poolRT.indexOf(pRT)]);
}

void MembraneRemover::enqueue(Patch patch) {
    if (isKept(patch)) sQueue.emplace(vMembers[patch].size, patch);
}

std::size_t MembraneRemover::run(bool bFlaps) {
    for (Patch patch = 0; patch < vMembers.size(); ++patch)
        enqueue(patch);
    std::size_t numRemoved = 0;
    while (!sQueue.empty()) {
        const Patch patch = sQueue.begin()->second;
        sQueue.erase(sQueue.begin());
        if (isRemovable(patch, bFlaps)) numRemoved += remove(patch);
    }
    return numRemoved;
}

/// No edge is left with one triangle, and more edges come to an even number than to an odd one. So a body that touches
/// others along edges isn't a wall: it comes to each of them with two triangles.
bool MembraneRemover::isRemovable(Patch patch, bool bFlaps) const {
    const std::vector<const REdge*> vBoundary = boundaryOf(vMembers[patch].vT);
    int gain = 0;
    bool bBorderLeft = false;
    const auto visit = [&](auto first, auto end) {
        const auto numOwn = static_cast<std::size_t>(end - first), degree = (*first)->vRT.size();
        if ((degree == 1 && !bFlaps) || numOwn + 1 == degree) bBorderLeft = true;
        if (degree > 1 && numOwn % 2 == 1) gain += degree % 2 == 1 ? 1 : -1;
    };
    forEachRun(
        vBoundary.begin(), vBoundary.end(), [](const REdge* pRE) { return pRE; }, visit);
    return !bBorderLeft && gain > 0;
}

/// Returns the number of triangles.
std::size_t MembraneRemover::remove(Patch patch) {
    std::vector<RTriangle*> vT;
    vT.swap(vMembers[patch].vT);
    vMembers[patch].size = 0;
    std::vector<const REdge*> vBoundary = boundaryOf(vT);
    dropRepeats(vBoundary);
    for (RTriangle* pRT : vT)
        pRT->kill(&mesh);
    for (const REdge* pRE : vBoundary)
        if (pRE->vRT.size() == 2) join(patchOf(pRE->vRT[0]), patchOf(pRE->vRT[1]));
    for (const REdge* pRE : vBoundary)
        if (pRE->vRT.size() <= MAX_STAR)
            for (const RTriangle* pRT : pRE->vRT)
                enqueue(patchOf(pRT));
    return vT.size();
}

void MembraneRemover::join(Patch a, Patch b) {
    if (a == b) return;
    for (const Patch patch : {a, b})
        sQueue.erase({vMembers[patch].size, patch});
    joined.join(a, b);
    const auto [root, other] = std::minmax(a, b);
    Members& members = vMembers[root];
    Members& gone = vMembers[other];
    const bool bKept = isKept(a) && isKept(b) && members.size + gone.size <= maxSize;
    members.size += gone.size;
    if (members.vT.size() < gone.vT.size()) members.vT.swap(gone.vT);
    if (bKept)
        members.vT.insert(members.vT.end(), gone.vT.begin(), gone.vT.end());
    else
        members.vT = {};
    gone = {};
}

}  // namespace TARN_KEL
