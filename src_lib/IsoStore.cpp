// Each removal asks for cells a step or two from the one that may go, by coordinates inside its block; only those across a
// side of the block are looked up by code.
//
//         e           c may go when c + e is free and c - e is set; with a bundle, c - 2e must be free as well. A cell
//     n+e ? n+e       above a neighbour n must have n below it: it would lose its only link otherwise.
//      n  c  n
//        c-e
#include "IsoStore.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iostream>

#include "Bundle.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr int BLOCK = 32;                // cells along each axis
constexpr int BLOCK_BITS = 15;           // of a code: five levels
constexpr CCD LOWER_PART = 0x7fff;       // the cell inside its block
constexpr std::size_t MOST_CORNERS = 4;  // of a cube that is left alone

using Step = std::array<int, 3>;  // cells along x, y, z

/// axis: 4, 2, 1 for x, y, z.
Step stepAlong(int axis, int length) {
    return {axis == 4 ? length : 0, axis == 2 ? length : 0, axis == 1 ? length : 0};
}

/// A cell that simplify() may take out.
struct Candidate {
    Bundle* pBundle;  // null: a cell alone
    CCD ccd;
    int& forbiddenAxes;  // below 0 once it went
};

/// Tries all candidates along each axis that they don't forbid, from the given side first. Returns how many went.
template <typename Element, typename CandidateOf>
int killRound(IsoStore& store, std::vector<Element>& vElement, int firstSide, const CandidateOf& candidateOf) {
    int numSucc = 0;
    for (const int axis : {1, 2, 4})
        for (Element& element : vElement) {
            const Candidate candidate = candidateOf(element);
            if (candidate.forbiddenAxes < 0 || (candidate.forbiddenAxes & axis) != 0) continue;
            if (!store.tryKill(candidate.pBundle, candidate.ccd, axis, firstSide) &&
                !store.tryKill(candidate.pBundle, candidate.ccd, axis, -firstSide))
                continue;
            candidate.forbiddenAxes = -1;
            ++numSucc;
        }
    return numSucc;
}

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
    for (auto it = vCorner.begin(); it != vCorner.end();) {
        const CCD key = it->first;
        vAlive.clear();
        for (; it != vCorner.end() && it->first == key; ++it)
            if (it->second->forbiddenDirection >= 0) vAlive.push_back(it->second);
        if (vAlive.size() > MOST_CORNERS) visit(vAlive);
    }
}

}  // namespace

// ---- Blocks -------------------------------------------------------------------------------------------------------------

IsoStore::IsoStore(Calc* pGrid, std::vector<Bundle*>& vAllBundles) : pCalc(pGrid), vBundles(vAllBundles) {}

IsoStore::~IsoStore() = default;

Iso* IsoStore::makeIso(CCD upper) {
    const auto [it, bOK] = mUpperQuad2Iso.try_emplace(upper, std::make_unique<Iso>(upper));
    return bOK ? it->second.get() : nullptr;
}

void IsoStore::init(CCD upper, std::vector<Bundle*>& vBlockBundles) {
    size += vBlockBundles.size();
    Iso* pIso = makeIso(upper);
    const bool bOK = pIso != nullptr;
    ASSEX(bOK);
    std::vector<CCD> vCCD;
    vCCD.reserve(vBlockBundles.size());
    for (const Bundle* pBundle : vBlockBundles)
        vCCD.push_back(pBundle->ccd);
    oneInstance(vCCD);
    for (const CCD ccd : vCCD) {
        int x, y, z;
        getCoords(ccd, x, y, z);
        pIso->set(x, y, z, true);
    }
}

void IsoStore::add(CCD upper, std::vector<CCD>& vCCD) {
    size += vCCD.size();
    Iso* pIso = findIso(upper);
    if (pIso == nullptr) pIso = makeIso(upper);
    for (const CCD ccd : vCCD) {
        int x, y, z;
        getCoords(ccd, x, y, z);
        pIso->set(x, y, z, true);
    }
}

void IsoStore::getCoords(CCD ccd, int& x, int& y, int& z) {
    const CCD inBlock = ccd & LOWER_PART;
    x = static_cast<int>(compressBits(inBlock >> 2));
    y = static_cast<int>(compressBits(inBlock >> 1));
    z = static_cast<int>(compressBits(inBlock));
}

Iso* IsoStore::findIso(CCD ccd) const {
    const auto it = mUpperQuad2Iso.find(ccd & ~LOWER_PART);
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
    for (const auto& [pCoordinate, axis] : {std::pair<int*, CCD>(&x, 4), {&y, 2}, {&z, 1}}) {
        int& coordinate = *pCoordinate;
        if (coordinate >= 0 && coordinate < BLOCK) continue;
        const bool bUp = coordinate >= BLOCK;
        const CCD place = pCalc->sparseToNumber(block, axis);
        if (bUp ? (place + 1) * BLOCK >= pCalc->numCells : place == 0) return false;
        pCalc->manipOneAxis(block, bUp, axis);
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
    if (!bAxis) std::cout << "Wrong axis: " << axis << std::endl;
    ASSEX(axis==1 || axis==2 || axis==4);
    if (!isSet(ccd)) return false;
    const Iso* pIso = getIso(ccd);
    int x, y, z;
    getCoords(ccd, x, y, z);
    const auto existsAt = [&](int length) {
        const Step step = stepAlong(axis, length * side);
        return exists(pIso, x + step[0], y + step[1], z + step[2]);
    };
    if (existsAt(1)) return false;
    if (!existsAt(-1)) return false;
    if (pBundle != nullptr && existsAt(-2)) return false;  // not the outer one of two layers
    if (isOnlyLink(pIso, ccd, axis, side)) return false;
    set(ccd, false);
    if (pBundle != nullptr) pBundle->forbiddenDirection = -1;
    return true;
}

/// A cell that lies above a neighbour place of this cell has nothing below it.
bool IsoStore::isOnlyLink(const Iso* pIso, CCD ccd, int axis, int side) const {
    int x, y, z;
    getCoords(ccd, x, y, z);
    const Step up = stepAlong(axis, side);
    for (const int otherAxis : {4, 2, 1}) {
        if (otherAxis == axis) continue;
        for (const int length : {-1, 1}) {
            const Step beside = stepAlong(otherAxis, length);
            const int nx = x + beside[0], ny = y + beside[1], nz = z + beside[2];
            if (exists(pIso, nx + up[0], ny + up[1], nz + up[2]) && !exists(pIso, nx, ny, nz)) return true;
        }
    }
    return false;
}

bool IsoStore::tryKillWeakBundle(Bundle* pWeak, const Bundle* pOther) {
    const int component = pCalc->getUniqueDifferentComponent(pWeak->ccd, pOther->ccd);
    if (component < 0) return false;
    const int axis = 4 >> component;
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
    std::cout << opening << ", numIso=" << mUpperQuad2Iso.size() << " and size is " << size << std::endl;
}

void IsoStore::simplify() {
    announce("\n\n\n\n\n Hi, this is simplify");
    int numSucc = 0;
    do {
        posNeg = -posNeg;
        numSucc = killRound(*this, vBundles, posNeg, [](Bundle* pBundle) {
            return Candidate{pBundle, pBundle->ccd, pBundle->forbiddenDirection};
        });
    } while (numSucc > 0);
}

void IsoStore::simplifyInflates(std::vector<std::pair<CCD, int>>& vInflCCD2forbDir) {
    announce("\n\n\n\n\n* Hi, this is simplifyInflates");
    std::cout << "vInflCCD2forbDir for loop is " << vInflCCD2forbDir.size() << std::endl;
    int numSucc = 0;
    do {
        numSucc = killRound(*this, vInflCCD2forbDir, 1, [](std::pair<CCD, int>& cell) {
            return Candidate{nullptr, cell.first, cell.second};
        });
        std::cout << "simplifyInflates, numSucc=" << numSucc << std::endl;
    } while (numSucc > 0);
}

/// 0 for a point at the midpoint of its cell, 32 in a corner.
void IsoStore::scoreBundles() {
    const double factor = 32.0 / (pCalc->getSideLen() * 0.5 * std::sqrt(3.0));
    for (Bundle* pBundle : vBundles) {
        const double score = factor * (*pBundle->pVtx - pCalc->getMidPoint(pBundle->ccd)).length();
        pBundle->score = static_cast<std::uint8_t>(std::clamp(score, 0.0, 255.0));
    }
}

void IsoStore::slide() {
    announce("\n\n\n\n\n Hi, this is slide");
    scoreBundles();
    const auto vCorner = cornersOfCubes(vBundles, *pCalc);
    std::size_t numSucc2 = 0;
    forEachCrowdedCube(vCorner, [&](std::vector<Bundle*>& vAlive) { numSucc2 += killWeakest(vAlive) ? 1 : 0; });
    forEachCrowdedCube(vCorner, [&](std::vector<Bundle*>& vAlive) { numSucc2 += killWeakOnes(vAlive); });
    std::cout << "tryKillWeakBundle, numSucc2=" << numSucc2 << std::endl;
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

/// Tries the bundles from the lowest score on, until few enough are left. Returns how many went.
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
