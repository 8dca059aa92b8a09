// Pictures of feature chains, for debugging.
#include "FeatureMgr.h"
#include "Segment3.h"
#include "Visualizer3.h"
#include "tools.h"

namespace TARN_KEL {

void FeatureChain::show(Visualizer3* pVisualizer, const std::string& color) const {
    ASSEX(pVisualizer!=NULL);
    std::vector<Segment3> vSegments;
    for (const FeatureEdge* pFE : lEdges)
        vSegments.emplace_back(*pFE->pSrc, *pFE->pTrg);
    pVisualizer->writeSegments(vSegments, color, true);
}

void FeatureMgr::show(Visualizer3* pVisualizer) const {
    for (const FeatureChain& chain : dChains)
        chain.show(pVisualizer, Visualizer3::getNextColor());
}

}  // namespace TARN_KEL
