// The mesh cut into patches.
//
// Both ways are a flood over the alive triangles. They differ in the edges that they cross. Repair cuts the mesh again in
// every pass, so the neighbours are found beforehand, by all workers, and the flood goes over numbers. What is found at MEs,
// which are few, is appended to plain lists, and these are sorted once at the end. A map filled on the way would be asked
// again and again for the same corners.
#include <array>
#include <cstdint>
#include <iterator>
#include <memory>
#include <utility>

#include "CMesh.h"
#include "CPatch.h"
#include "floodTriangles.h"
#include "handOver.h"
#include "lookUp.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t MIN_PARALLEL = 5000;  // triangles; below, they aren't worth a task

/// Takes the alive triangles out of their patches and clears their marks.
void forgetPatches_MT(std::vector<CTriangle*>& vCT) {
    forEach_MT(vCT, [](CTriangle* pCT) {
        if (!pCT->isAlive()) return;
        pCT->setPatch(nullptr);
        pCT->bVisited = false;
    });
}

/// Adds to the patch what can be reached from a triangle over the edges for which cross(triangle, i) is true.
template <typename Cross>
void fillPatch(CTriangle* pStartCT, CPatch& patch, std::vector<CTriangle*>& vStack, Cross&& cross) {
    floodTriangles(pStartCT, vStack, cross, [&patch](CTriangle* pCT) { patch.add(pCT); });
}

/// The neighbours of all triangles over edges that a flood crosses, as numbers. Finding them takes most of the time of a
/// flood, and all workers do it; what is left jumps through 13 bytes a triangle instead of two hundred.
class Neighbours {
public:
    /// pFences: edges that aren't crossed; null for none.
    Neighbours(const TARN_TOOLS::SimplePool<CTriangle>& pool, const std::set<CEdge*>* pFences)
        : vNeighbour(pool.size()), vState(pool.size()) {
        const auto find = [&](std::size_t begin, std::size_t end) {
            for (std::size_t t = begin; t < end; ++t)
                for (int i = 0; i < 3; ++i) {
                    const CTriangle* pCT = pool.at(t);
                    CEdge* pCE = pCT->getCE(i);
                    const int degree = pCE->getDegree();
                    if (!pCT->isAlive() || pCT->bVisited) vState[t] = TAKEN;
                    if (degree > 2) vState[t] |= AT_ME;
                    const bool bCrossed = degree == 2 && (pFences == nullptr || pFences->count(pCE) == 0);
                    const CTriangle* pNext = bCrossed ? pCE->vCT[pCE->vCT[0] == pCT ? 1 : 0] : nullptr;
                    vNeighbour[t][static_cast<std::size_t>(i)] =
                        pNext != nullptr ? static_cast<std::uint32_t>(pool.indexOf(pNext)) : NONE;
                }
        };
        forChunks_MT(pool.size(), find, MIN_PARALLEL);
    }
    /// Dead and visited triangles, and those of former patches.
    bool isTaken(std::uint32_t triangle) const { return (vState[triangle] & TAKEN) != 0; }
    bool isAtME(std::uint32_t triangle) const { return (vState[triangle] & AT_ME) != 0; }
    /// The triangles that can be reached, in the order of a flood depth first.
    std::vector<std::uint32_t> takeAllFrom(std::uint32_t start) {
        std::vector<std::uint32_t> vReached, vStack{start};
        vState[start] |= TAKEN;
        LookingUp looking(100000);
        for (; !vStack.empty(); looking.step()) {
            const std::uint32_t triangle = vStack.back();
            vStack.pop_back();
            vReached.push_back(triangle);
            for (const std::uint32_t next : vNeighbour[triangle]) {
                if (next == NONE || isTaken(next)) continue;
                vState[next] |= TAKEN;
                vStack.push_back(next);
            }
        }
        return vReached;
    }

private:
    static constexpr std::uint32_t NONE = ~std::uint32_t{0};
    enum State : unsigned char { TAKEN = 1, AT_ME = 2 };

    std::vector<std::array<std::uint32_t, 3>> vNeighbour;
    std::vector<unsigned char> vState;
};

/// Adds them, in that order, to an empty patch, and marks them visited.
void addMembers(const TARN_TOOLS::SimplePool<CTriangle>& pool, const std::vector<std::uint32_t>& vMember, CPatch& patch) {
    patch.vMemberCT.reserve(vMember.size());
    for (const std::uint32_t member : vMember)  // all of them before a wait that may throw, as the patch looks at each then
        patch.vMemberCT.push_back(pool.at(member));
    const auto claim = [&patch](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            patch.vMemberCT[i]->setPatch(&patch);
            patch.vMemberCT[i]->bVisited = true;
        }
    };
    forChunks_MT(vMember.size(), claim, MIN_PARALLEL);
}

/// Enters pairs into a map; of equal corners the last pair stays.
void enterLast(std::vector<std::pair<VCD, CPatch*>>& vPair, std::map<VCD, CPatch*>& mVCD2Patch) {
    sortByFirstMT(vPair);
    auto itHint = mVCD2Patch.end();
    for (const auto& [vcd, pPatch] : vPair)
        itHint = std::next(mVCD2Patch.insert_or_assign(itHint, vcd, pPatch));
}

}  // namespace

void CMesh::deletePatches() {
    deleteAll(vPatches);
}

CPatch* CMesh::startPatch(std::vector<CPatch*>& vOwnerPatches) {
    return handOver(std::make_unique<CPatch>(this, pCalc), vOwnerPatches);
}

void CMesh::createCCPatches() {
    AnyEdge cross;
    deletePatches();
    forgetPatches_MT(vAllCT);
    std::vector<CTriangle*> vStack;
    for (CTriangle* pCT : vAllCT)
        if (pCT->isAlive() && !pCT->bVisited) fillPatch(pCT, *startPatch(vPatches), vStack, cross);
}

void CMesh::createPatches(std::set<CEdge*>* pFences, std::vector<CPatch*>& vOutPatches, std::map<VCD, CPatch*>& mVCD2Patch,
                          std::vector<CEdge*>& vMECE) {
    deletePatches();
    forgetPatches_MT(vAllCT);
    cutUnvisited(pFences, vPatches, mVCD2Patch, vMECE);
    vOutPatches.insert(vOutPatches.end(), vPatches.begin(), vPatches.end());
}

void CMesh::cutUnvisited(const std::set<CEdge*>* pFences, std::vector<CPatch*>& vOwnerPatches,
                         std::map<VCD, CPatch*>& mVCD2Patch, std::vector<CEdge*>& vMECE) {
    std::vector<std::pair<VCD, CPatch*>> vCornerOffME;
    const auto noteMEs = [&](const CTriangle* pCT, CPatch* pPatch) {
        for (int i = 0; i < 3; ++i) {
            if (pCT->getCE(i)->getDegree() <= 2) continue;
            vMECE.push_back(pCT->getCE(i));
            vCornerOffME.emplace_back(pCT->getCorner(i), pPatch);
        }
    };
    Neighbours neighbours(*poolCT, pFences);
    for (const CTriangle* pCT : vAllCT) {
        const auto start = static_cast<std::uint32_t>(poolCT->indexOf(pCT));
        if (neighbours.isTaken(start)) continue;
        CPatch* pPatch = startPatch(vOwnerPatches);
        const std::vector<std::uint32_t> vMember = neighbours.takeAllFrom(start);
        for (const std::uint32_t member : vMember)
            if (neighbours.isAtME(member)) noteMEs(poolCT->at(member), pPatch);
        addMembers(*poolCT, vMember, *pPatch);
    }
    enterLast(vCornerOffME, mVCD2Patch);
    oneInstanceMT(vMECE);
}

}  // namespace TARN_KEL
