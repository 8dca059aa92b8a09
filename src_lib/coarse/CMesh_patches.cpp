// The mesh cut into patches.
//
// Both ways are a flood over the alive triangles. They differ in the edges that they cross. Repair cuts the mesh again in
// every pass, so the neighbours are found beforehand, by all workers, and the flood goes over numbers. What is found at MEs,
// which are few, is appended to plain lists, and these are sorted once at the end. A map filled on the way would be asked
// again and again for the same corners.
#include <cstdint>
#include <iterator>
#include <memory>
#include <span>
#include <utility>

#include "CMesh.h"
#include "CPatch.h"
#include "FloodTable.h"
#include "FreshVector.h"
#include "floodTriangles.h"
#include "handOver.h"
#include "lookUp.h"
#include "meshCore.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

/// Adds to the patch what can be reached from a triangle over the edges for which cross(triangle, i) is true.
template <typename Cross>
void fillPatch(CTriangle* pStartCT, CPatch& patch, std::vector<CTriangle*>& vStack, Cross&& cross) {
    floodTriangles(pStartCT, vStack, cross, [&patch](CTriangle* pCT) { patch.add(pCT); });
}

constexpr unsigned AT_ME = 1;  // for FloodTable

/// A flood over the numbers of all triangles, depth first. What it reaches from one start after the other is in one list,
/// so that patches don't grow lists of their own.
class NumberFlood {
public:
    /// theTable: must outlive this object.
    explicit NumberFlood(FloodTable<CTriangle>& theTable, std::size_t numTriangles)
        : table(theTable), vReached(numTriangles) {}

    /// The triangles that can be reached, in the order of the flood. vAtME: gets those among them at an ME, likewise.
    std::span<const std::uint32_t> takeAllFrom(std::uint32_t start, std::vector<std::uint32_t>& vAtME) {
        const std::size_t first = numReached;
        table.set(start, table.TAKEN);
        vStack.push_back(start);
        const auto forEachNext = [&](std::uint32_t number, const auto& offer) {
            looking.step();
            vReached[numReached++] = number;
            if (table.has(number, AT_ME)) vAtME.push_back(number);
            for (std::size_t i = 0; i < 3; ++i)
                if (table.next(number, i) != table.NONE) offer(table.next(number, i));
        };
        const auto claim = [this](std::uint32_t number) {
            if (table.has(number, table.TAKEN)) return false;
            table.set(number, table.TAKEN);
            return true;
        };
        flood(vStack, forEachNext, claim);
        return std::span(vReached).subspan(first, numReached - first);
    }

private:
    FloodTable<CTriangle>& table;
    FreshVector<std::uint32_t> vReached;
    std::size_t numReached = 0;
    std::vector<std::uint32_t> vStack;
    LookingUp looking{100000};
};

/// Fills an empty patch, and marks its members visited.
void addMembers(std::vector<CTriangle*> vMemberCT, CPatch& patch) {
    patch.vMemberCT = std::move(vMemberCT);  // whole before a wait that may throw: the patch looks at each as it goes
    const auto claim = [&patch](CTriangle* pCT) {
        pCT->setPatch(&patch);
        pCT->bVisited = true;
    };
    forEach_MT(patch.vMemberCT, claim, WORTH_A_TASK);
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
    const auto nextAcross = [pFences](const CTriangle* pCT, int i, unsigned& bits) -> const CTriangle* {
        CEdge* pCE = pCT->getCE(i);
        if (pCE->getDegree() > 2) bits |= AT_ME;
        if (pCE->getDegree() != 2 || (pFences != nullptr && pFences->count(pCE) != 0)) return nullptr;
        return pCE->vCT[pCE->vCT[0] == pCT ? 1 : 0];
    };
    FloodTable<CTriangle> table(*poolCT, nextAcross);
    NumberFlood reach(table, poolCT->size());
    std::vector<std::uint32_t> vAtME;
    for (const CTriangle* pCT : vAllCT) {
        if (table.has(table.numberOf(pCT), table.TAKEN)) continue;
        CPatch* pPatch = startPatch(vOwnerPatches);
        vAtME.clear();
        const std::span<const std::uint32_t> members = reach.takeAllFrom(table.numberOf(pCT), vAtME);
        for (const std::uint32_t number : vAtME)
            noteMEs(table.at(number), pPatch);
        addMembers(table.elements(members), *pPatch);
    }
    enterLast(vCornerOffME, mVCD2Patch);
    oneInstanceMT(vMECE);
}

}  // namespace TARN_KEL
