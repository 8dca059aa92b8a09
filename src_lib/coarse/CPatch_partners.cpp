// The partners of a patch: other patches at its MEs, which for the sheets of a double layer lie one cell away.
#include <utility>

#include "CPatch.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t MAX_TESTED = 500;

/// The third corners of the triangles on an ME, as far as the map knows their patches.
struct EdgeCells {
    bool bOwn = false;
    CCD ownCCD = 0;  // the last one of the patch itself, if any
    std::vector<std::pair<CPatch*, CCD>> vForeign;
};

EdgeCells lookAround(const CEdge& edge, const CPatch* pPatch, const std::map<VCD, CPatch*>& mVCD2Patch) {
    EdgeCells cells;
    for (const CTriangle* pCT : edge.vCT) {
        const CCD ccd = pCT->getThirdCCD(edge.v0, edge.v1);
        const auto q_it = mVCD2Patch.find(ccd);
        if (q_it == mVCD2Patch.end()) continue;
        if (q_it->second == pPatch) {
            cells.bOwn = true;
            cells.ownCCD = ccd;
        } else {
            cells.vForeign.emplace_back(q_it->second, ccd);
        }
    }
    return cells;
}

}  // namespace

void CPatch::setPartnerCertainty(const std::map<VCD, CPatch*>& mVCD2Patch) {
    if (vDegNot2CE.size() > MAX_TESTED) {
        if (partnerCertainty != 0.0 && !(partnerCertainty > 0.1)) return;
        for (std::size_t i = 1; i < vDegNot2CE.size(); ++i)
            std::swap(vDegNot2CE[i], vDegNot2CE[static_cast<std::size_t>(random.next()) % (i + 1)]);
    }
    std::size_t numTested = 0;
    std::size_t numGood = 0;
    for (const CEdge* pCE : vDegNot2CE) {
        if (pCE->getDegree() <= 2) continue;
        if (++numTested > MAX_TESTED) break;
        const EdgeCells cells = lookAround(*pCE, this, mVCD2Patch);
        const CCD ownCCD = cells.ownCCD;
        for (const auto& [pPartner, ccd1] : cells.vForeign) {
            sPartnerPatches.insert(pPartner);
            if (!cells.bOwn) continue;
            ASSEX(ownCCD!=ccd1);
            numGood += pCalc->getNeigType(ownCCD, ccd1) == NT_FACE ? 1 : 0;
        }
    }
    partnerCertainty = numTested == 0 ? 0.0 : static_cast<double>(numGood) / static_cast<double>(numTested);
}

}  // namespace TARN_KEL
