// Creates and finds the lattice corners of a field, and links neighbours.
#include "CornerStore.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "codeHash.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

constexpr int FIRST_BLOCK = 100;  // corners
constexpr RCC NO_CORNER = ~RCC{0};
constexpr std::size_t MIN_PARALLEL = 10000;  // corners

}  // namespace

Corner* CornerStore::createCorner(RCC rcc) {
    ASSEX_AS("bRegistered", find(rcc) == nullptr);
    ASSEX(corners.size()<static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()));
    if (corners.empty()) cornerPool.init(FIRST_BLOCK, -1);
    const auto idx = static_cast<std::int32_t>(corners.size());
    Corner* pCorner = std::construct_at(cornerPool.nextElement());
    pCorner->rcc = rcc;
    link(*pCorner, idx);
    rcc2Idx.insert(localHash_RCD(rcc), static_cast<std::uint32_t>(idx));
    corners.push_back(pCorner);
    return pCorner;
}

void CornerStore::link(Corner& corner, std::int32_t idx) {
    auto slot = corner.neigs.begin();
    for (const RCC step : RCD_FACE_STEPS) {
        const std::uint32_t neig = findIdx(corner.rcc + step);
        if (neig == HashIndex::NONE) continue;
        *slot++ = static_cast<std::int32_t>(neig);
        auto& slotsOfNeig = corners[neig]->neigs;
        *std::find(slotsOfNeig.begin(), slotsOfNeig.end(), Corner::NO_NEIG) = idx;
    }
}

std::uint32_t CornerStore::findIdx(RCC rcc) const {
    return rcc2Idx.find(localHash_RCD(rcc), [this, rcc](std::uint32_t idx) { return corners[idx]->rcc == rcc; });
}

Corner* CornerStore::find(RCC rcc) const {
    const std::uint32_t idx = findIdx(rcc);
    return idx == HashIndex::NONE ? nullptr : corners[idx];
}

void CornerStore::getNeigs(Corner* pCorner, std::vector<Corner*>& vNeigs) {
    ASSEX(vNeigs.empty());
    for (const std::int32_t neig : pCorner->neigs) {
        if (neig == Corner::NO_NEIG) return;
        vNeigs.push_back(corners[static_cast<std::size_t>(neig)]);
    }
}

void CornerStore::getFront(double thresh, VRCC& vOut) const {
    const auto rccIfInFront = [thresh](const Corner* pCorner) {
        const bool bInFront = pCorner->hasFreeSlot() && pCorner->val != 0 && std::fabs(pCorner->val) < thresh;
        return bInFront ? pCorner->rcc : NO_CORNER;
    };
    transform_MT(corners, vOut, rccIfInFront, MIN_PARALLEL);
    vOut.erase(std::remove(vOut.begin(), vOut.end(), NO_CORNER), vOut.end());
}

void CornerStore::getMissingNeigs(const Corner& corner, VRCC& vOut) const {
    const auto exists = [this, &corner](RCC rcc) {
        return std::any_of(corner.neigs.begin(), corner.neigs.end(), [this, rcc](std::int32_t neig) {
            return neig != Corner::NO_NEIG && corners[static_cast<std::size_t>(neig)]->rcc == rcc;
        });
    };
    for (const RCC step : RCD_FACE_STEPS)
        if (!exists(corner.rcc + step)) vOut.push_back(corner.rcc + step);
}

}  // namespace TARN_KEL
