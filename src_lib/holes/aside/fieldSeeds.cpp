// Computes the first values of a hole's field.
#include "fieldSeeds.h"

#include <algorithm>
#include <array>
#include <unordered_map>

#include "CMesh.h"
#include "signedField.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// -1, 0 or 1 on each axis: where b lies as seen from a.
std::array<int, 3> signs(VCD a, VCD b) {
    const auto compare = [a, b](CCD axisBits) {
        return ((b & axisBits) > (a & axisBits)) - ((b & axisBits) < (a & axisBits));
    };
    return {compare(CCD_X_BITS), compare(CCD_Y_BITS), compare(CCD_Z_BITS)};
}

}  // namespace

int getGeneratingVCDs(Calc* pCalc, CTriangle* pCT, VCD& a, VCD& b) {
    constexpr std::size_t NUM_CUBES = 8;  // that a cell is in
    VVCD vKeys(3 * NUM_CUBES), vCommon;
    for (std::size_t i = 0; i < 3; ++i) {
        vKeys[i * NUM_CUBES] = pCT->getCorner(static_cast<int>(i));
        pCalc->completeArrayPlus(&vKeys[i * NUM_CUBES]);
    }
    std::sort(vKeys.begin(), vKeys.end());
    filterN(vKeys, 3, vCommon);
    ASSEX(vCommon.size()<=2);
    if (!vCommon.empty()) a = vCommon.front();
    if (vCommon.size() == 2) b = vCommon.back();
    return static_cast<int>(vCommon.size());
}

void singleToDualGenerators(Calc* pCalc, CTriangle* pCT, VCD gen, VCD& a, VCD& b) {
    const auto u = signs(pCT->c0, pCT->c1), w = signs(pCT->c0, pCT->c2);
    constexpr std::array<CCD, 3> axTriBits = {4, 2, 1};
    a = b = 0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::size_t next = (axis + 1) % 3, last = (axis + 2) % 3;
        const auto step = static_cast<unsigned long long>(static_cast<long long>(u[next] * w[last] - u[last] * w[next]));
        const CCD coordinate = pCalc->sparseToNumber(gen, axTriBits[axis]);
        // A single key has cells on both sides along every axis, so a step stays on the grid.
        a |= pCalc->numberToSparse(coordinate - step, axTriBits[axis]);
        b |= pCalc->numberToSparse(coordinate + step, axTriBits[axis]);
    }
}

void pushAddress(int a, int b, std::vector<std::pair<int, int>>& v) {
    if (a >= 0 && b >= 0) v.emplace_back(std::min(a, b), std::max(a, b));
}

std::vector<PlaneDistance> distancesToPlane(CTriangle* pCT, const CMesh& mesh, Calc* pCalc) {
    bool ok = false;
    const Plane plane = pCT->getRealPlane(&mesh, ok);
    if (!ok) return {};
    VCD a = 0, b = 0;
    const int numGen = getGeneratingVCDs(pCalc, pCT, a, b);
    if (numGen == 0) return {};
    ASSEX(numGen==1 || numGen==2);
    VVCD vPoints = {a};
    if (numGen == 1) singleToDualGenerators(pCalc, pCT, vPoints.front(), a, b);
    if (numGen == 1) vPoints.push_back(a);
    vPoints.push_back(b);
    std::vector<PlaneDistance> vDistances;
    for (const VCD vcd : vPoints)
        vDistances.push_back({vcd, plane.signedDistance(pCalc->getRefPoint(vcd))});
    return vDistances;
}

void seedByPlane(CTriangle* pCT, const CMesh& mesh, Calc* pCalc, bool bReliable, Field& field) {
    for (const auto& [vcd, distance] : distancesToPlane(pCT, mesh, pCalc)) {
        const int address = field.getAddress(*pCalc, vcd);
        if (address >= 0) field.seed(address, distance, bReliable);
    }
}

std::vector<std::pair<int, int>> outerEdges(const VCCD& vCells, const Box& box, const Calc& calc) {
    constexpr std::array<std::pair<unsigned, unsigned>, 12> EDGES = {
        {{0, 1}, {1, 3}, {3, 2}, {2, 0}, {4, 5}, {5, 7}, {7, 6}, {6, 4}, {0, 4}, {1, 5}, {3, 7}, {2, 6}}};
    std::vector<std::pair<int, int>> vEdgeAddressPairs, vUniqueEdges;
    for (const CCD ccd : vCells) {
        const Box::Point low = box.toBox(calc, ccd);
        if (!box.isInBox(low)) continue;
        std::array<int, 8> addresses{};
        for (int i = 0; i < 8; ++i) {
            const Box::Point p = {low[0] + (i & 1), low[1] + (i >> 1 & 1), low[2] + (i >> 2)};
            addresses[static_cast<std::size_t>(i)] = box.isInBox(p) ? box.getAddress(p[0], p[1], p[2]) : -1;
        }
        for (const auto& [from, to] : EDGES)
            pushAddress(addresses[from], addresses[to], vEdgeAddressPairs);
    }
    sortMT(vEdgeAddressPairs.begin(), vEdgeAddressPairs.end());
    filterN(vEdgeAddressPairs, 1, vUniqueEdges);
    out() << "vEdgeAddressPairs: " << vEdgeAddressPairs.size() << "\nvUniqueEdges: " << vUniqueEdges.size() << std::endl;
    return vUniqueEdges;
}

void carryValues(const std::vector<std::pair<int, int>>& vEdges, Field& field) {
    std::unordered_map<int, float> mCarried;
    const auto carry = [&](int source, int target) {
        if (!field.hasValue(source) || field.hasValue(target)) return;
        const float val = field.pArray[source].val;
        const auto [it, bNew] = mCarried.try_emplace(target, val);
        if (!bNew && haveOppositeSigns(it->second, val)) it->second = FLT_UNDEF;  // two sides meet here
    };
    for (const auto& [a0, a1] : vEdges) {
        ASSEX(a0<a1);
        carry(a1, a0);
    }
    for (const auto& [a0, a1] : vEdges)
        carry(a0, a1);
    for (const auto& [address, val] : mCarried)
        field.pArray[address] = {val, 1.0F};
}

}  // namespace TARN_KEL
