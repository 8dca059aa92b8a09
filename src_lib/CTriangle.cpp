// A triangle of the coarse mesh by itself: corners, orientation, the rough normal.
#include "CTriangle.h"

#include <utility>

#include "geometryFunctions.h"
#include "meshCore.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

double sign(VCD from, VCD to, VCD axisBits) {
    const VCD a = from & axisBits;
    const VCD b = to & axisBits;
    if (a == b) return 0.0;
    return a < b ? 1.0 : -1.0;
}

Vector3 signVector(VCD from, VCD to) {
    return {sign(from, to, CCD_X_BITS), sign(from, to, CCD_Y_BITS), sign(from, to, CCD_Z_BITS)};
}

}  // namespace

int CTriangle::getICI(VCD a, VCD b) const {
    const int sum = getICI(a) + getICI(b);
    ASSEX(a!=b);
    return 3 - sum;
}

void CTriangle::getOtherCCDs(VCD v, VCD& a, VCD& b) const {
    getEdgeCCDs(getICI(v), a, b);
}

void CTriangle::getSortedCorners(VCD& c0_, VCD& c1_, VCD& c2_) const {
    c0_ = c0;
    c1_ = c1;
    c2_ = c2;
    if (c0_ > c1_) std::swap(c0_, c1_);
    if (c1_ > c2_) std::swap(c1_, c2_);
    if (c0_ > c1_) std::swap(c0_, c1_);
    ASSEX(c0_<c1_ && c1_<c2_);
}

void CTriangle::getEdgeCCDs(int i, VCD& a, VCD& b) const {
    ASSEX(i>=0 && i<3);
    a = getCorner((i + 1) % 3);
    b = getCorner((i + 2) % 3);
}

int CTriangle::getHEDirection2(VCD a, VCD b) const {
    return halfEdgeDirection(*this, a, b);
}

bool CTriangle::needFlip(const CTriangle* pOther) const {
    return disagreesWith(*this, *pOther);
}

void CTriangle::flipNNV() {
    std::swap(c0, c1);
    std::swap(pCE12, pCE02);
    std::swap(aVertex[0], aVertex[1]);
}

Vector3 CTriangle::computeNNVcoarse() const {
    return normalize(crossProduct(signVector(c0, c1), signVector(c0, c2)));
}

}  // namespace TARN_KEL
