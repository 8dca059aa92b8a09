// A patch of the fine mesh: its members, edges and boundary.
#include "RPatch.h"

#include <atomic>

#include "RTriangle.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

int RPatch::getSeqNum() {
    static std::atomic<int> i{0};
    return i++;
}

RPatch::RPatch(RMesh* pRMesh_) : label(getSeqNum()), pRMesh(pRMesh_) {}

RPatch::~RPatch() {
    for (RTriangle* pRT : sRT)
        pRT->setPatch(nullptr);
}

void RPatch::add(RTriangle* pRT) {
    sRT.insert(pRT);
    pRT->setPatch(this);
}

std::size_t RPatch::getSize() const {
    std::size_t numAlive = 0;
    for (const RTriangle* pRT : sRT)
        numAlive += pRT->bAlive ? 1 : 0;
    return numAlive;
}

std::vector<REdge*> RPatch::edgesOfAlive() const {
    std::vector<REdge*> vRE;
    vRE.reserve(3 * sRT.size());
    for (const RTriangle* pRT : sRT)
        if (pRT->bAlive) pRT->get3RE(vRE);
    return vRE;
}

void RPatch::setBoundary() {
    ASSEX(isAlive());
    sBoundary.clear();
    std::vector<REdge*> vRE = edgesOfAlive();
    sortMT(vRE.begin(), vRE.end(), std::less<>());
    filterN(vRE, 1, sBoundary);
}

void RPatch::getAllRE(std::vector<REdge*>& vRE) const {
    ASSEX(vRE.empty());
    vRE = edgesOfAlive();
    oneInstanceMT(vRE);
}

}  // namespace TARN_KEL
