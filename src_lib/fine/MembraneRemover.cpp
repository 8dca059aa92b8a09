// The patches are found once. Afterwards only the boundaries of removed patches are looked at: an edge that is left with two
// triangles joins their patches, and every small patch beside it is tested again. Large patches are recognised by their size
// alone, so the work depends on the small ones.
#include "MembraneRemover.h"

#include <algorithm>

#include "RMesh.h"
#include "flood.h"
#include "runs.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

constexpr double NARROW = 2.5;  // triangles for each edge of the boundary; a strip of w triangles' width has w
constexpr Forest::Member NO_PATCH = ~Forest::Member{0};
constexpr std::size_t MAX_STAR =
    64;  // on an edge of more triangles a removal doesn't cause other patches to be tested again

/// The edges of the triangles that aren't inner ones of a sheet, in order of creation, each as often as the triangles come
/// to it.
std::vector<const REdge*> boundaryOf(const std::vector<RTriangle*>& vT) {
    std::vector<const REdge*> vBoundary;
    for (const RTriangle* pRT : vT)
        for (const REdge* pRE : {pRT->pRE12, pRT->pRE02, pRT->pRE01})
            if (pRE->vRT.size() != 2) vBoundary.push_back(pRE);
    std::sort(vBoundary.begin(), vBoundary.end());
    return vBoundary;
}

}  // namespace

MembraneRemover::MembraneRemover(RMesh& theMesh, std::size_t theMaxSize, bool bTakeStrips)
    : mesh(theMesh),
      maxSize(theMaxSize),
      bStrips(bTakeStrips),
      vPatchOf(mesh.vRT.size(), NO_PATCH),
      joined(mesh.vRT.size()) {
    for (RTriangle* pRT : mesh.vRT)
        if (pRT->isAlive() && vPatchOf[mesh.poolRT.indexOf(pRT)] == NO_PATCH) growPatch(pRT);
}

/// Its name is the number of patches so far, so that older patches have lower names.
void MembraneRemover::growPatch(RTriangle* pSeed) {
    const auto patch = static_cast<Patch>(vMembers.size());
    Members& members = vMembers.emplace_back();
    vPatchOf[mesh.poolRT.indexOf(pSeed)] = patch;
    std::vector<RTriangle*> vT{pSeed};
    const auto forEachNext = [](const RTriangle* pRT, auto&& offer) {
        for (const REdge* pRE : {pRT->pRE12, pRT->pRE02, pRT->pRE01})
            if (RTriangle* pNeigT = pRE->getUniqueOtherTriangle(pRT)) offer(pNeigT);
    };
    floodInOrder(vT, forEachNext, [&](const RTriangle* pRT) {
        Patch& patchOfIt = vPatchOf[mesh.poolRT.indexOf(pRT)];
        return patchOfIt == NO_PATCH ? (patchOfIt = patch, true) : false;
    });
    members.size = vT.size();
    if (mayGo(vT.size(), bStrips ? boundaryOf(vT).size() : 0)) members.vT = std::move(vT);
}

bool MembraneRemover::mayGo(std::size_t numTriangles, std::size_t numBoundary) const {
    if (numTriangles <= maxSize) return true;
    return bStrips && static_cast<double>(numTriangles) <= NARROW * static_cast<double>(numBoundary);
}

MembraneRemover::Patch MembraneRemover::patchOf(const RTriangle* pRT) {
    return joined.findRoot(vPatchOf[mesh.poolRT.indexOf(pRT)]);
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
    if (!mayGo(vMembers[patch].vT.size(), vBoundary.size())) return false;
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
    const bool bKept = isKept(a) && isKept(b) && (bStrips || members.size + gone.size <= maxSize);
    members.size += gone.size;
    if (members.vT.size() < gone.vT.size()) members.vT.swap(gone.vT);
    if (bKept)
        members.vT.insert(members.vT.end(), gone.vT.begin(), gone.vT.end());
    else
        members.vT = {};
    gone = {};
}

}  // namespace TARN_KEL
