// Fills the hole inside a closed chain, by way of a copy of its surroundings.
#include "fillChain.h"

#include <algorithm>
#include <map>
#include <utility>

#include "Bundle.h"
#include "CMesh.h"
#include "handOver.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// The triangles with a corner on the chain, in order of creation.
std::vector<CTriangle*> trianglesAt(const Chain& chain) {
    std::vector<VCD> vVCD;
    chain.getVCD(vVCD);
    oneInstance(vVCD);
    std::vector<CTriangle*> vT;
    for (const VCD vcd : vVCD)
        chain.pCMesh->getIncidentT(vcd, vT);
    oneInstance(vT);
    return vT;
}

bool hasTriangles(const Chain& chain) {
    return std::all_of(chain.lMemberCE.begin(), chain.lMemberCE.end(),
                       [](const CEdge* pCE) { return pCE->getDegree() > 0; });
}

}  // namespace

void enterBorder(const CMesh* pCMesh, EdgesByEnd& mmVCD2CE) {
    std::vector<CEdge*> vCE;
    pCMesh->getDegN(1, vCE);
    enterBothEnds(mmVCD2CE, vCE);
}

std::unique_ptr<CMesh> copyBorder(const Chain& chain, Calc* pCalc, std::vector<CEdge*>& vBorderCE) {
    const Chain* pChain = &chain;
    ASSEX(pChain->isClosed());
    const std::vector<CTriangle*> vT = trianglesAt(chain);
    std::vector<VCD> vCorner;
    chain.pCMesh->extractAliveVCD(vT, vCorner);
    oneInstance(vCorner);

    auto pBorderMesh = std::make_unique<CMesh>(nullptr, pCalc, USE_LOCAL_CCD2BUNDLEMAP());
    const std::map<CCD, Bundle*>& mSource = chain.pCMesh->getRefToBundleMap();
    std::map<CCD, Bundle*>& mBundle = pBorderMesh->getRefToBundleMap();
    for (const VCD vcd : vCorner) {
        const auto it = mSource.find(vcd);
        ASSEX(it!=mSource.end());
        mBundle.insert(mBundle.end(), *it);
    }
    for (const CTriangle* pCT : vT)
        pBorderMesh->createT(pCT->c0, pCT->c1, pCT->c2, 0, 0);
    for (const CEdge* pCE : chain.lMemberCE) {
        CEdge* pBorderCE = pBorderMesh->getEdge(pCE->v0, pCE->v1);
        if (pBorderCE == nullptr) return nullptr;
        vBorderCE.push_back(pBorderCE);
    }
    return pBorderMesh;
}

std::unique_ptr<Loop> makeLoop(CMesh* pCMesh, Calc* pCalc, const std::vector<CEdge*>& vCE, LoopReach reach) {
    EdgesByEnd mmVCD2CE;
    enterBothEnds(mmVCD2CE, vCE);
    auto pLoop = std::make_unique<Loop>(mmVCD2CE, pCalc, pCMesh, reach);
    ASSEX(mmVCD2CE.size()==0);  // NOLINT(readability-container-size-empty): the text is printed
    return pLoop;
}

bool fillChain(const Chain& chain, Calc* pCalc, std::vector<Loop*>& vLoops, std::vector<CTriangle*>& vFilledT) {
    const Chain* pChain = &chain;
    ASSEX(pChain->isClosed());
    if (!hasTriangles(chain) || !chain.isGoodHole()) return false;
    std::vector<CEdge*> vBorderCE;
    const std::unique_ptr<CMesh> pBorderMesh = copyBorder(chain, pCalc, vBorderCE);
    if (!pBorderMesh) return false;
    std::unique_ptr<Loop> pLoop = makeLoop(pBorderMesh.get(), pCalc, vBorderCE);
    ASSEX(pLoop->isClosed());
    const bool bFilled = pLoop->fill();
    pLoop->carryOver(chain.pCMesh);  // the loop outlives the border mesh
    const std::size_t numBefore = vFilledT.size();
    if (bFilled) pLoop->getFillT(vFilledT);
    handOver(std::move(pLoop), vLoops);
    return vFilledT.size() != numBefore;
}

}  // namespace TARN_KEL
