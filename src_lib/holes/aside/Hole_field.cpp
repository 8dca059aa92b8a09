// The field of a hole: grown ring by ring across the gap, smoothed, and read where its sign changes.
//
// This is the growth of Component_inflation.cpp on a dense matrix. There the front stays near zero and meets itself; here
// every free point next to a spreading value is taken, in as many rings as the gap needs, so the two sides of the surface
// fill the space above and below it and meet over the gap:
//
//         + + + + + + + + + + + + + + +
//         + + + + + + + +(-+)+ + + + +        in the gap the first value is a guess; the smoothing draws the border
//       --- chain - - - -/- - - chain ---     between the signs over to where a tense membrane would be
//         - - - - - - -(-+)- - - - - -
//         - - - - - - - - - - - - - - -
//
// Seeded points are fixed, and a ring starts with slightly less weight than they have, so that the field leans on them.
// Values are in single precision, in the cloud's unit.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "CEdge.h"
#include "Hole.h"
#include "RemoveDecider.h"
#include "drawings.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double GROWN_WEIGHT = 0.97;      // of that of a seed, for what grows from it
constexpr double UNFIXED_WEIGHT = 0.9954;  // of a mean weight that happens to be that of a seed
constexpr int FINAL_ROUNDS = 150;          // of smoothing behind the last ring

bool isFixed(float weight) {
    return weight == WEIGHT_REL || weight == WEIGHT_REL_LOW;
}

/// The rounds of smoothing behind a ring.
int roundsAfter(int ring) {
    return ring >= 3 && ring <= 10 ? 2 : 1;
}

/// visit(slot, address) for the face neighbours in the matrix; slots are in the order -x, +x, -y, +y, -z, +z.
template <typename Visit>
void forEachNeig(const Hole& hole, int address, const Visit& visit) {
    const int layerRow = address / hole.rgx, x = address - layerRow * hole.rgx, z = layerRow / hole.rgy,
              y = layerRow - z * hole.rgy;
    if (x > 0) visit(0U, address - 1);
    if (x + 1 < hole.rgx) visit(1U, address + 1);
    if (y > 0) visit(2U, address - hole.rgx);
    if (y + 1 < hole.rgy) visit(3U, address + hole.rgx);
    if (z > 0) visit(4U, address - hole.rgxy);
    if (z + 1 < hole.rgz) visit(5U, address + hole.rgxy);
}

/// The smoothing of a list of points. No point gets or loses a value meanwhile, so the neighbours that count are found once.
class LowPass {
public:
    LowPass(Hole& hole, const std::vector<int>& vAddr, bool bUseWeights_)
        : pArray(hole.pArray), steps{-1, 1, -hole.rgx, hole.rgx, -hole.rgxy, hole.rgxy}, bUseWeights(bUseWeights_) {
        for (const int address : vAddr) {
            if (isFixed(pArray[address].weight)) continue;
            vFree.push_back({address, 0});
            forEachNeig(hole, address, [this](unsigned slot, int neig) {
                if (pArray[neig].val != FLT_UNDEF) vFree.back().neigMask |= 1U << slot;
            });
        }
        vMean.resize(vFree.size());
    }
    void runRound() {
        std::transform(vFree.begin(), vFree.end(), vMean.begin(), [this](const Free& point) { return meanAt(point); });
        for (std::size_t i = 0; i < vFree.size(); ++i) {
            const auto [val, weight] = vMean[i];
            ASSEX(val!=0 && weight!=WEIGHT_REL && weight!=WEIGHT_REL_LOW);
            pArray[vFree[i].address] = vMean[i];
        }
    }

private:
    /// A point that isn't fixed.
    struct Free {
        int address;
        std::uint32_t neigMask;  // by slot: the neighbour is in the matrix and has a value
    };

    MatrixEntry meanAt(const Free& point) const {
        double sum = 0.0, sumW = 0.0, count = 0.0;
        const auto add = [&](const MatrixEntry& entry) {
            const float weight = bUseWeights ? entry.weight : 1.0F;
            sum += static_cast<double>(entry.val * weight);
            sumW += static_cast<double>(weight);
            count += 1.0;
        };
        add(pArray[point.address]);
        for (unsigned slot = 0; slot < steps.size(); ++slot)
            if ((point.neigMask >> slot & 1U) != 0) add(pArray[point.address + steps[slot]]);
        MatrixEntry mean;
        mean.weight = static_cast<float>(sumW / count);
        if (isFixed(mean.weight)) mean.weight = static_cast<float>(static_cast<double>(mean.weight) * UNFIXED_WEIGHT);
        mean.val = static_cast<float>(sum / sumW);
        if (mean.val == 0.0F) mean.val = std::numeric_limits<float>::min();
        return mean;
    }

    Matrix& pArray;
    std::array<int, 6> steps;  // of addresses, by slot
    bool bUseWeights;
    std::vector<Free> vFree;
    std::vector<MatrixEntry> vMean;  // of the round, in the order of vFree
};

}  // namespace

void Hole::run(std::vector<std::pair<VCD, Point3>>&) {
    out() << "Hole::run() does not use vCCD2Zero currently" << std::endl;
    makeField();
    extractStrategy();
    getZeroCbs();
    deliberateExit(KEL_PLACE);
}

void Hole::makeField(int ringFactor) {
    ASSEX(ringFactor >= 1);
    setRanges();
    numGrowSteps *= ringFactor;
    determineTriangles();
    setBoundaryAndUnrelT();
    drawOnTheWay([this] { show(name + "holeMeshR.list", VT_REAL); });
    initializeFirstRow();
    inflate();
}

// ---- Growth -------------------------------------------------------------------------------------------------------------

void Hole::inflate() {
    oneInstance(vAddr);
    std::vector<int> vRing = vAddr, vNextRing;
    out() << "numGrowSteps: " << numGrowSteps << std::endl;
    for (int i = 0; i < numGrowSteps; ++i) {
        vNextRing.clear();
        inflateOneStep(i, vRing, vNextRing);
        lowPassFor(vAddr, roundsAfter(i), true);
        vRing.swap(vNextRing);
    }
    stopWatch("inflate lp");
    lowPassFor(vAddr, FINAL_ROUNDS, true);
    stopWatch("inflate lp");
}

void Hole::inflateOneStep(int, std::vector<int>& vAddrIn, std::vector<int>& vNextAddr) {
    ASSEX(vNextAddr.empty());
    std::vector<std::pair<int, MatrixEntry>> vOffers;  // target, and what it may become
    for (const int srcAddr : vAddrIn) {
        ASSEX(srcAddr<int(arrSiz));
        const float ownVal = pArray[srcAddr].val, ownWeight = pArray[srcAddr].weight;
        ASSEX(ownVal!=FLT_UNDEF);
        if (ownVal == 0 || ownWeight == WEIGHT_REL_LOW) continue;
        const float val = ownVal > 0 ? ownVal + sideLen : ownVal - sideLen;
        const float weight =
            ownWeight == WEIGHT_REL ? static_cast<float>(static_cast<double>(ownWeight) * GROWN_WEIGHT) : ownWeight;
        forEachNeig(*this, srcAddr, [&](unsigned, int neig) {
            if (pArray[neig].val == FLT_UNDEF) vOffers.emplace_back(neig, MatrixEntry{val, weight});
        });
    }
    sortByFirstMT(vOffers);
    for (auto it = vOffers.cbegin(); it != vOffers.cend();) {
        const int address = it->first;
        MatrixEntry& target = pArray[address];
        ASSEX(target.val==FLT_UNDEF);
        double sumW = 0.0, count = 0.0;
        for (; it != vOffers.cend() && it->first == address; ++it, count += 1.0) {
            sumW += static_cast<double>(it->second.weight);
            if (std::fabs(it->second.val) < std::fabs(target.val)) target.val = it->second.val;
        }
        target.weight = static_cast<float>(sumW / count);
        vAddr.push_back(address);
        vNextAddr.push_back(address);
    }
}

void Hole::lowPassFor(std::vector<int>& vAddresses, int numIter, bool bUseWeights) {
    // Behind a ring the list is the sorted one of before and the sorted ring.
    const auto itRing = std::is_sorted_until(vAddresses.begin(), vAddresses.end());
    if (std::is_sorted(itRing, vAddresses.end()))
        std::inplace_merge(vAddresses.begin(), itRing, vAddresses.end());
    else
        sortMT(vAddresses.begin(), vAddresses.end());
    if (numIter < 1) return;
    LowPass lowPass(*this, vAddresses, bUseWeights);
    for (int i = 0; i < numIter; ++i)
        lowPass.runRound();
}

// ---- Zeros --------------------------------------------------------------------------------------------------------------

Hole::VCCDPoint Hole::getZeroCbs() {
    out() << fatBar("getZeroCbs");
    liftZeros();
    VRCDPoint vNotes;
    for (const Crossing& crossing : findCrossings())
        for (const RCD rcd : cellsAround(crossing))
            vNotes.emplace_back(rcd, crossing.zero);
    VCCDPoint vZeros = meansOfCells(std::move(vNotes));

    VCCD vBlue = vCCD;
    addThirdCorners(vBlue);
    const VCCD vTriCCD = cornersOfRegion();
    VCCD vSeen = vTriCCD, vRed;  // what the removal test sees, and what it may take out
    for (const auto& [ccd, point] : vZeros) {
        vSeen.push_back(ccd);
        if (!std::binary_search(vTriCCD.begin(), vTriCCD.end(), ccd)) vRed.push_back(ccd);
    }
    VCCD vExistingCCD = vRed;
    vExistingCCD.insert(vExistingCCD.end(), vBlue.begin(), vBlue.end());
    oneInstance(vExistingCCD);
    out() << "vExistingCCD.size()=" << vExistingCCD.size() << "\nvRed: " << vRed.size() << "\nvBlue: " << vBlue.size()
          << std::endl;
    oneInstance(vSeen);
    VCCD vKept, vDoomed;
    RemoveDecider(vSeen, pCalc).pruneStrong(vRed, vKept, vDoomed);
    out() << "vRemoveCandidates start: " << vRed.size() << "\nDoomed ones: " << vDoomed.size()
          << "\nvRemoveCandidates final: " << vKept.size() << std::endl;
    vRed = std::move(vKept);
    drawOnTheWay([&] { drawCells(name + "prunedCandidates.list", pCalc, vRed, vBlue); });
    std::sort(vRed.begin(), vRed.end());
    std::erase_if(vZeros, [&](const auto& zero) { return !std::binary_search(vRed.begin(), vRed.end(), zero.first); });
    return vZeros;
}

void Hole::getCbsAroundEdge(RCD a, RCD b, int x, int y, int z, int axis, VRCD& vOut) const {
    constexpr std::array<std::array<std::size_t, 2>, 3> OTHER_AXES = {{{1, 2}, {0, 2}, {0, 1}}};
    ASSEX(axis>=0 && axis<3);
    const std::array<RCD, 3> steps = {RCD_STEP_X, RCD_STEP_Y, RCD_STEP_Z};
    const auto axisIndex = static_cast<std::size_t>(axis);
    ASSEX(b==a+steps[axisIndex]);
    const std::size_t first = OTHER_AXES[axisIndex][0], second = OTHER_AXES[axisIndex][1];
    const std::array<int, 3> at = {x, y, z};
    const bool bLowerOnFirst = at[first] > 1, bLowerOnSecond = at[second] > 1;
    const auto append = [&](int onFirst, int onSecond) {
        std::array<int, 3> p = at;
        p[first] -= onFirst;
        p[second] -= onSecond;
        vOut.push_back(addressToRCD(getAddress(p[0], p[1], p[2])));
    };
    append(0, 0);
    if (bLowerOnFirst) append(1, 0);
    if (bLowerOnSecond) append(0, 1);
    if (bLowerOnFirst && bLowerOnSecond) append(1, 1);
}

}  // namespace TARN_KEL
