// The field of a hole: grown ring by ring across the gap and smoothed.
//
// Unlike the sparse field of a gap between sheets, the front here doesn't stay near zero: every free point next to a
// spreading value is taken, in as many rings as the gap needs, so the two sides of the surface fill the space above and
// below it and meet over the gap:
//
//         + + + + + + + + + + + + + + +
//         + + + + + + + +(-+)+ + + + +        in the gap the first value is a guess; the smoothing draws the border
//       --- chain - - - -/- - - chain ---     between the signs over to where a tense membrane would be
//         - - - - - - -(-+)- - - - - -
//         - - - - - - - - - - - - - - -
//
// Seeded points are fixed, and a ring starts with slightly less weight than they have, so that they count more in the means.
// Sums are in double precision.
#include "Field.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "geometryFunctions.h"
#include "runs.h"
#include "signedField.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double GROWN_WEIGHT = 0.97;      // factor from the weight of a seed to that of a point grown from it
constexpr double UNFIXED_WEIGHT = 0.9954;  // factor for a mean weight that happens to equal that of a seed
constexpr int FINAL_ROUNDS = 150;          // of smoothing after the last ring
constexpr std::size_t ONE_THREAD = std::numeric_limits<std::size_t>::max();

bool isFixed(float weight) {
    return weight == WEIGHT_REL || weight == WEIGHT_REL_LOW;
}

/// The rounds of smoothing after a ring.
int roundsAfter(int ring) {
    return ring >= 3 && ring <= 10 ? 2 : 1;
}

/// The free points around those of a list, ascending, and what they are offered (a ring for growRing()).
class OfferedRing {
public:
    using Real = double;
    static constexpr std::size_t MIN_PARALLEL = ONE_THREAD;

    OfferedRing(Field& theField, const std::vector<int>& vFrom) : field(theField) {
        for (const int srcAddr : vFrom)
            offerFrom(srcAddr);
        sortByFirstMT(vOffers);
        const auto addressOf = [](const Offer& offer) { return offer.first; };
        forEachRun(vOffers.cbegin(), vOffers.cend(), addressOf,
                   [this](auto first, auto last) { vRuns.emplace_back(&*first, last - first); });
    }
    std::size_t size() const { return vRuns.size(); }
    template <typename See>
    void forEachSeen(std::size_t i, const See& see) const {
        for (std::ptrdiff_t k = 0; k < vRuns[i].second; ++k)
            see(vRuns[i].first[k].second.val, vRuns[i].first[k].second.weight);
    }
    FieldValue valueOf(std::size_t, const SeenValues<Real>& seen) const {
        return {seen.nearestVal, static_cast<float>(seen.weights / static_cast<double>(seen.num))};
    }
    void store(std::size_t i, const FieldValue& value) {
        MatrixEntry& target = field.pArray[addressOf(i)];
        ASSEX(target.val==FLT_UNDEF);
        target = {value.val, value.weight};
    }
    int addressOf(std::size_t i) const { return vRuns[i].first->first; }

private:
    using Offer = std::pair<int, FieldValue>;  // to an address

    void offerFrom(int srcAddr) {
        const int arrSiz = field.arrSiz;
        ASSEX(srcAddr<int(arrSiz));
        const float ownVal = field.pArray[srcAddr].val, ownWeight = field.pArray[srcAddr].weight;
        ASSEX(ownVal!=FLT_UNDEF);
        if (ownVal == 0 || ownWeight == WEIGHT_REL_LOW) return;
        const float val = ownVal > 0 ? ownVal + field.sideLen : ownVal - field.sideLen;
        const float weight =
            ownWeight == WEIGHT_REL ? static_cast<float>(static_cast<double>(ownWeight) * GROWN_WEIGHT) : ownWeight;
        field.forEachNeig(srcAddr, [&](unsigned, int neig) {
            if (field.pArray[neig].val == FLT_UNDEF) vOffers.emplace_back(neig, FieldValue{val, weight});
        });
    }

    Field& field;
    std::vector<Offer> vOffers;
    std::vector<std::pair<const Offer*, std::ptrdiff_t>> vRuns;  // of each address: the first offer, and how many
};

/// The points of a list that aren't fixed (a lattice for smoothRound()). No point gets or loses a value meanwhile, so the
/// neighbours that count are found once.
class DenseLattice {
public:
    using Real = double;
    static constexpr std::size_t MIN_PARALLEL = ONE_THREAD;

    DenseLattice(Field& field, const std::vector<int>& vAddresses, bool bWeights)
        : pArray(field.pArray), steps(field.addressSteps()), bUseWeights(bWeights) {
        for (const int address : vAddresses) {
            if (isFixed(pArray[address].weight)) continue;
            Free& point = vFree.emplace_back(Free{address, 0, 1});
            field.forEachNeig(address, [&](unsigned slot, int neig) {
                if (pArray[neig].val == FLT_UNDEF) return;
                point.neigMask = static_cast<std::uint16_t>(point.neigMask | 1U << slot);
                ++point.numTerms;
            });
        }
        vMean.resize(vFree.size());
    }
    std::size_t size() const { return vFree.size(); }
    int numTerms(std::size_t i) const { return vFree[i].numTerms; }
    template <typename Add>
    void forEachTerm(std::size_t i, const Add& add) const {
        const auto addEntry = [&](const MatrixEntry& entry) {
            const float weight = bUseWeights ? entry.weight : 1.0F;
            add(entry.val * weight, weight);
        };
        const Free& point = vFree[i];
        addEntry(pArray[point.address]);
        for (unsigned slot = 0; slot < steps.size(); ++slot)
            if ((point.neigMask >> slot & 1U) != 0) addEntry(pArray[point.address + steps[slot]]);
    }
    void settle(std::size_t i, const FieldValue& mean) {
        const float weight =
            isFixed(mean.weight) ? static_cast<float>(static_cast<double>(mean.weight) * UNFIXED_WEIGHT) : mean.weight;
        vMean[i] = {mean.val, weight};
    }
    void endRound() {
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
        std::uint16_t neigMask;  // by slot: the neighbour is in the box and has a value
        std::int16_t numTerms;   // with its own
    };

    Matrix& pArray;
    std::array<int, 6> steps;  // of addresses, by slot
    bool bUseWeights;
    std::vector<Free> vFree;
    std::vector<MatrixEntry> vMean;  // of the round, in the order of vFree
};

}  // namespace

void Field::seed(int address, double distance, bool bReliable) {
    MatrixEntry& entry = pArray[address];
    if (entry.weight != (bReliable ? WEIGHT_REL_LOW : WEIGHT_REL)) entry.weight = bReliable ? WEIGHT_REL : WEIGHT_REL_LOW;
    if (entry.val == FLT_UNDEF) {
        vAddr.push_back(address);
        entry.val = static_cast<float>(distance);
    } else if (std::fabs(static_cast<double>(entry.val)) > std::fabs(distance)) {
        entry.val = static_cast<float>(distance);
    }
}

void Field::inflate() {
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

void Field::inflateOneStep(int, std::vector<int>& vAddrIn, std::vector<int>& vNextAddr) {
    ASSEX(vNextAddr.empty());
    OfferedRing ring(*this, vAddrIn);
    growRing(ring);
    for (std::size_t i = 0; i < ring.size(); ++i)
        vNextAddr.push_back(ring.addressOf(i));
    vAddr.insert(vAddr.end(), vNextAddr.begin(), vNextAddr.end());
}

void Field::lowPassFor(std::vector<int>& vAddresses, int numIter, bool bUseWeights) {
    // After a ring the list is the former one, sorted, and then the ring, sorted.
    const auto itRing = std::is_sorted_until(vAddresses.begin(), vAddresses.end());
    if (std::is_sorted(itRing, vAddresses.end()))
        std::inplace_merge(vAddresses.begin(), itRing, vAddresses.end());
    else
        sortMT(vAddresses.begin(), vAddresses.end());
    if (numIter < 1) return;
    DenseLattice lattice(*this, vAddresses, bUseWeights);
    for (int i = 0; i < numIter; ++i)
        smoothRound(lattice);
}

void Field::liftZeros() {
    for (const int address : vAddr)
        if (pArray[address].val == 0.0F) pArray[address].val = std::numeric_limits<float>::min();
}

void Field::checkIntegrity(const std::string& text) const {
    out() << "CheckIntegrity(" << text << ") starts" << std::endl;
    for (const int addr : vAddr) {
        ASSEX(tools_isVal(pArray[addr].val));
        ASSEX(tools_isVal(pArray[addr].weight));
    }
    out() << "CheckIntegrity(" << text << ") survived" << std::endl;
}

}  // namespace TARN_KEL
