// Thins the occupied cells. A removal tests cells a step or two from the candidate, by coordinates inside its block; only
// those across a side of the block are looked up by code.
//
//        c+e          A cell c may be removed when c + e is free, and no cell n + e loses its only link: it must have n
//     n+e   n+e       below it. simplify() needs c - e set, and with a bundle c - 2e free; for slide() another cell of the
//      n  c  n        cube is there, or farther down.
//        c-e
#include "IsoStore.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <queue>
#include <utility>

#include "Bundle.h"
#include "runs.h"
#include "sortMT.h"
#include "sortedCodes.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr int BLOCK = 32;                // cells along each axis
constexpr int BLOCK_BITS = 15;           // of a code: five levels
constexpr std::size_t MOST_CORNERS = 4;  // of a cube that is left alone

using Step = std::array<int, 3>;  // cells along x, y, z

Step stepAlong(Axis axis, int length) {
    Step step{};
    step[numberOf(axis)] = length;
    return step;
}

/// A cell that simplify() may take out.
struct Candidate {
    Bundle* pBundle;  // null: a cell alone
    CCD ccd;
    int* pForbiddenAxes;  // below 0 once it went
};

/// The rounds of simplify(): in each round all candidates are tried along z, y, x, in their order. A candidate that failed
/// along an axis fails again until a cell that the test reads is removed, so only then is it tried again. Cost: O(n log n)
/// for n candidates.
class Thinning {
public:
    Thinning(IsoStore& theStore, std::vector<Candidate> theCandidates)
        : store(theStore), vCandidate(std::move(theCandidates)), vPending(vCandidate.size(), 0) {
        for (std::size_t i = 0; i < vCandidate.size(); ++i) {
            vCellNumber.emplace_back(vCandidate[i].ccd, i);
            wake(i);
        }
        sortMT(vCellNumber.begin(), vCellNumber.end());
    }
    /// Tries the given side first. Returns how many cells were removed.
    int runRound(int firstSide) {
        int numSucc = 0;
        for (std::size_t k = 0; k < AXES.size(); ++k)
            numSucc += runPass(k, firstSide);
        return numSucc;
    }

private:
    using Queue = std::priority_queue<std::size_t, std::vector<std::size_t>, std::greater<>>;  // the lowest first
    static constexpr std::array<int, 3> AXES{1, 2, 4};

    int runPass(std::size_t k, int firstSide) {
        int numSucc = 0;
        current = Pass{k, 0, Queue(std::greater<>(), std::exchange(vNext[k], {}))};
        while (!current.queue.empty()) {
            current.number = current.queue.top();
            current.queue.pop();
            vPending[current.number] &= static_cast<unsigned char>(~AXES[k]);
            const Candidate& candidate = vCandidate[current.number];
            if (*candidate.pForbiddenAxes < 0 || (*candidate.pForbiddenAxes & AXES[k]) != 0) continue;
            if (!store.tryKill(candidate.pBundle, candidate.ccd, AXES[k], firstSide) &&
                !store.tryKill(candidate.pBundle, candidate.ccd, AXES[k], -firstSide))
                continue;
            *candidate.pForbiddenAxes = -1;
            ++numSucc;
            wakeAround(candidate.ccd);
        }
        current.k = AXES.size();
        return numSucc;
    }

    /// The tests of these cells look at the given one: face and edge neighbours, and two steps along an axis.
    void wakeAround(CCD ccd) {
        const Iso* pIso = store.getIso(ccd);
        int x, y, z;
        IsoStore::getCoords(ccd, x, y, z);
        for (int dx = -2; dx <= 2; ++dx)
            for (int dy = -2; dy <= 2; ++dy)
                for (int dz = -2; dz <= 2; ++dz) {
                    const int distance = std::abs(dx) + std::abs(dy) + std::abs(dz);
                    if (distance == 0 || distance > 2 || !store.exists(pIso, x + dx, y + dy, z + dz)) continue;
                    const Packed neig = Packed(Morton(ccd)).moved(Axis::X, dx).moved(Axis::Y, dy).moved(Axis::Z, dz);
                    const CCD neigCCD = Morton(neig).code();
                    for (auto it = findFirstFrom(vCellNumber.begin(), vCellNumber.end(), neigCCD);
                         it != vCellNumber.end() && it->first == neigCCD; ++it)
                        wake(it->second);
                }
    }

    /// To be tried along all axes, in this pass where its turn is still to come.
    void wake(std::size_t number) {
        for (std::size_t k = 0; k < AXES.size(); ++k) {
            if ((vPending[number] & AXES[k]) != 0) continue;
            vPending[number] |= static_cast<unsigned char>(AXES[k]);
            if (k == current.k && number > current.number)
                current.queue.push(number);
            else
                vNext[k].push_back(number);
        }
    }

    struct Pass {
        std::size_t k;  // of its axis; none outside of passes
        std::size_t number;
        Queue queue;
    };

    IsoStore& store;
    std::vector<Candidate> vCandidate;
    std::vector<std::pair<CCD, std::size_t>> vCellNumber;  // sorted
    std::vector<unsigned char> vPending;                   // by number: the axes along which it waits
    std::array<std::vector<std::size_t>, 3> vNext;         // by axis: whose turn it is in the next pass
    Pass current{AXES.size(), 0, {}};
};

/// The eight keys of each cell with its bundle: equal keys are the occupied corners of a dual cube.
std::vector<std::pair<CCD, Bundle*>> cornersOfCubes(const std::vector<Bundle*>& vBundles, const Calc& calc) {
    std::vector<std::pair<CCD, Bundle*>> vCorner;
    vCorner.reserve(8 * vBundles.size());
    for (Bundle* pBundle : vBundles) {
        std::array<CCD, 8> array{pBundle->ccd};
        calc.completeArrayPlus(array.data());
        for (const CCD key : array)
            vCorner.emplace_back(key, pBundle);
    }
    sortMT(vCorner.begin(), vCorner.end());
    return vCorner;
}

/// Calls visit() with the bundles alive at each cube of more corners than are left alone.
template <typename Visit>
void forEachCrowdedCube(const std::vector<std::pair<CCD, Bundle*>>& vCorner, const Visit& visit) {
    std::vector<Bundle*> vAlive;
    const auto keyOf = [](const auto& corner) { return corner.first; };
    forEachRun(vCorner.begin(), vCorner.end(), keyOf, [&](auto first, auto end) {
        vAlive.clear();
        for (auto it = first; it != end; ++it)
            if (it->second->forbiddenDirection >= 0) vAlive.push_back(it->second);
        if (vAlive.size() > MOST_CORNERS) visit(vAlive);
    });
}

}  // namespace

// ---- Blocks -------------------------------------------------------------------------------------------------------------

IsoStore::IsoStore(Calc* pGrid, std::vector<Bundle*>& vAllBundles) : pCalc(pGrid), vBundles(vAllBundles) {}

IsoStore::~IsoStore() = default;

void IsoStore::init(CCD upper, std::vector<Bundle*>& vBlockBundles) {
    size += vBlockBundles.size();
    const bool bOK = findIso(upper) == nullptr;
    ASSEX(bOK);
    std::vector<CCD> vCCD;
    vCCD.reserve(vBlockBundles.size());
    for (const Bundle* pBundle : vBlockBundles)
        vCCD.push_back(pBundle->ccd);
    oneInstance(vCCD);
    setAll(upper, vCCD);
}

void IsoStore::add(CCD upper, std::vector<CCD>& vCCD) {
    size += vCCD.size();
    setAll(upper, vCCD);
}

void IsoStore::setAll(CCD upper, const std::vector<CCD>& vCCD) {
    upper &= ~Iso::LOWER_PART;
    Iso* pIso = mUpperQuad2Iso.try_emplace(upper, std::make_unique<Iso>(upper)).first->second.get();
    for (const CCD ccd : vCCD) {
        int x, y, z;
        getCoords(ccd, x, y, z);
        pIso->set(x, y, z, true);
    }
}

void IsoStore::getCoords(CCD ccd, int& x, int& y, int& z) {
    const Morton inBlock(ccd & Iso::LOWER_PART);
    x = static_cast<int>(inBlock.on(Axis::X));
    y = static_cast<int>(inBlock.on(Axis::Y));
    z = static_cast<int>(inBlock.on(Axis::Z));
}

Iso* IsoStore::findIso(CCD ccd) const {
    const auto it = mUpperQuad2Iso.find(ccd & ~Iso::LOWER_PART);
    return it != mUpperQuad2Iso.end() ? it->second.get() : nullptr;
}

Iso* IsoStore::getIso(CCD ccd) const {
    Iso* pIso = findIso(ccd);
    if (pIso == nullptr) {
        warning(KEL_PLACE, "No iso found");
        ASSEX(false);
    }
    return pIso;
}

bool IsoStore::isSet(CCD ccd) const {
    const Iso* pIso = findIso(ccd);
    ASSEX(pIso!=NULL);
    int x, y, z;
    getCoords(ccd, x, y, z);
    return pIso->get(x, y, z);
}

void IsoStore::set(CCD ccd, bool bSet) {
    Iso* pIso = findIso(ccd);
    ASSEX(pIso!=NULL);
    int x, y, z;
    getCoords(ccd, x, y, z);
    pIso->set(x, y, z, bSet);
}

bool IsoStore::exists(const Iso* pIso, int x, int y, int z) const {
    CCD block = pIso->getUpperPart() >> BLOCK_BITS;
    bool bOut = false;
    for (const auto& [pCoordinate, axis] : {std::pair<int*, Axis>(&x, Axis::X), {&y, Axis::Y}, {&z, Axis::Z}}) {
        int& coordinate = *pCoordinate;
        if (coordinate >= 0 && coordinate < BLOCK) continue;
        const bool bUp = coordinate >= BLOCK;
        const unsigned long long place = pCalc->sparseToNumber(block, triBit(axis));
        if (bUp ? (place + 1) * BLOCK >= pCalc->numCells : place == 0) return false;
        pCalc->manipOneAxis(block, bUp, triBit(axis));
        coordinate += bUp ? -BLOCK : BLOCK;
        bOut = true;
    }
    if (bOut) pIso = findIso(block << BLOCK_BITS);
    return pIso != nullptr && pIso->get(x, y, z);
}

void IsoStore::getCCD(std::vector<CCD>& vOut) const {
    for (const auto& [upper, pIso] : mUpperQuad2Iso)
        pIso->getCCD(vOut);
}

// ---- Removals -----------------------------------------------------------------------------------------------------------

bool IsoStore::tryKill(Bundle* pBundle, CCD ccd, int axis, int side) {
    const bool bAxis = axis == 1 || axis == 2 || axis == 4;
    if (!bAxis) out() << "Wrong axis: " << axis << std::endl;
    ASSEX(axis==1 || axis==2 || axis==4);
    const auto along = static_cast<Axis>(axis);
    if (!isSet(ccd)) return false;
    const Iso* pIso = getIso(ccd);
    int x, y, z;
    getCoords(ccd, x, y, z);
    const auto existsAt = [&](int length) {
        const Step step = stepAlong(along, length * side);
        return exists(pIso, x + step[0], y + step[1], z + step[2]);
    };
    if (existsAt(1)) return false;
    if (!existsAt(-1)) return false;
    if (pBundle != nullptr && existsAt(-2)) return false;  // not the outer one of two layers
    if (isOnlyLink(pIso, ccd, along, side)) return false;
    set(ccd, false);
    if (pBundle != nullptr) pBundle->forbiddenDirection = -1;
    return true;
}

/// A cell that lies above a neighbour place of this cell has nothing below it.
bool IsoStore::isOnlyLink(const Iso* pIso, CCD ccd, Axis axis, int side) const {
    int x, y, z;
    getCoords(ccd, x, y, z);
    const Step up = stepAlong(axis, side);
    for (const Axis otherAxis : otherAxes(axis))
        for (const int length : {-1, 1}) {
            const Step beside = stepAlong(otherAxis, length);
            const int nx = x + beside[0], ny = y + beside[1], nz = z + beside[2];
            if (exists(pIso, nx + up[0], ny + up[1], nz + up[2]) && !exists(pIso, nx, ny, nz)) return true;
        }
    return false;
}

bool IsoStore::tryKillWeakBundle(Bundle* pWeak, const Bundle* pOther) {
    const int component = pCalc->getUniqueDifferentComponent(pWeak->ccd, pOther->ccd);
    if (component < 0) return false;
    const Axis axis = AXES[static_cast<std::size_t>(component)];
    const int side = pOther->ccd >= pWeak->ccd ? -1 : 1;
    const Iso* pIso = getIso(pWeak->ccd);
    int x, y, z;
    getCoords(pWeak->ccd, x, y, z);
    const Step away = stepAlong(axis, side);
    if (exists(pIso, x + away[0], y + away[1], z + away[2])) return false;
    if (isOnlyLink(pIso, pWeak->ccd, axis, side)) return false;
    set(pWeak->ccd, false);
    pWeak->forbiddenDirection = -1;
    return true;
}

// ---- Thinning -----------------------------------------------------------------------------------------------------------

void IsoStore::announce(const char* opening) const {
    out() << opening << ", numIso=" << mUpperQuad2Iso.size() << " and size is " << size << std::endl;
}

void IsoStore::simplify() {
    announce("\n\n\n\n\n Hi, this is simplify");
    std::vector<Candidate> vCandidate;
    for (Bundle* pBundle : vBundles)
        vCandidate.push_back({pBundle, pBundle->ccd, &pBundle->forbiddenDirection});
    Thinning thinning(*this, std::move(vCandidate));
    do
        posNeg = -posNeg;
    while (thinning.runRound(posNeg) > 0);
}

void IsoStore::simplifyInflates(std::vector<std::pair<CCD, int>>& vInflCCD2forbDir) {
    announce("\n\n\n\n\n* Hi, this is simplifyInflates");
    out() << "vInflCCD2forbDir for loop is " << vInflCCD2forbDir.size() << std::endl;
    std::vector<Candidate> vCandidate;
    vCandidate.reserve(vInflCCD2forbDir.size());
    for (auto& [ccd, forbiddenAxes] : vInflCCD2forbDir)
        vCandidate.push_back({nullptr, ccd, &forbiddenAxes});
    Thinning thinning(*this, std::move(vCandidate));
    int numSucc = 0;
    do {
        numSucc = thinning.runRound(1);
        out() << "simplifyInflates, numSucc=" << numSucc << std::endl;
    } while (numSucc > 0);
}

/// 0 for a point at the midpoint of its cell, 32 in a corner; more for one that was moved out of its cell, up to 255.
void IsoStore::scoreBundles() {
    const double factor = 32.0 / (pCalc->getSideLen() * 0.5 * std::sqrt(3.0));
    for (Bundle* pBundle : vBundles) {
        const double score = factor * (*pBundle->pVtx - pCalc->getMidPoint(pBundle->ccd)).length();
        pBundle->score = score < 255.0 ? static_cast<std::uint8_t>(score) : std::uint8_t{255};
    }
}

void IsoStore::slide() {
    announce("\n\n\n\n\n Hi, this is slide");
    scoreBundles();
    const auto vCorner = cornersOfCubes(vBundles, *pCalc);
    std::size_t numSucc2 = 0;
    forEachCrowdedCube(vCorner, [&](std::vector<Bundle*>& vAlive) { numSucc2 += killWeakest(vAlive) ? 1 : 0; });
    forEachCrowdedCube(vCorner, [&](std::vector<Bundle*>& vAlive) { numSucc2 += killWeakOnes(vAlive); });
    out() << "tryKillWeakBundle, numSucc2=" << numSucc2 << std::endl;
}

/// Tries the bundle of the lowest score, of equal ones the first, against all others.
bool IsoStore::killWeakest(std::vector<Bundle*>& vCorners) {
    for ([[maybe_unused]] const Bundle* pB : vCorners)
        ASSEX(pB->forbiddenDirection>=0);
    const auto isWeaker = [](const Bundle* a, const Bundle* b) { return a->score < b->score; };
    std::iter_swap(std::min_element(vCorners.begin(), vCorners.end(), isWeaker), vCorners.end() - 1);
    Bundle* pCandidate = vCorners.back();
    return std::any_of(vCorners.begin(), vCorners.end() - 1,
                       [&](const Bundle* pOther) { return tryKillWeakBundle(pCandidate, pOther); });
}

/// Tries the bundles from the lowest score on, until few enough are left. Returns how many were removed.
std::size_t IsoStore::killWeakOnes(std::vector<Bundle*>& vCorners) {
    std::stable_sort(vCorners.begin(), vCorners.end(), [](const Bundle* a, const Bundle* b) { return a->score < b->score; });
    const std::size_t numBefore = vCorners.size();
    for (std::size_t i = 0; i < vCorners.size() && vCorners.size() > MOST_CORNERS;) {
        Bundle* pBundle = vCorners[i];
        const bool bKilled = std::any_of(vCorners.begin(), vCorners.end(), [&](const Bundle* pOther) {
            return pOther != pBundle && tryKillWeakBundle(pBundle, pOther);
        });
        if (bKilled)
            vCorners.erase(vCorners.begin() + static_cast<std::ptrdiff_t>(i));
        else
            ++i;
    }
    return numBefore - vCorners.size();
}

}  // namespace TARN_KEL
