// The angle and the normal at a corner of a border that is being filled.
//
// A corner that many ears share, such as the hub of a fan, is computed again with each of them. Summing up all its triangles
// every time would cost the square of their number, so the sum is kept. New triangles are appended to a vertex's list, and
// adding them in this order gives the same bits as a new sum.
#include "AngleEntry.h"

#include <vector>

#include "CMesh.h"
#include "CTriangle.h"
#include "geometryFunctions.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double FLAT_ANGLE = 179.9;  // degrees; from here on an ear would be a sliver
constexpr double NO_ANGLE = 720.0;

}  // namespace

AngleEntry::AngleEntry(CMesh* pMesh, VCD vcd, Point3* pVtx, AngleEntry* pPrev, AngleEntry* pNext, bool bBoth)
    : pCMesh(pMesh), ownVCD(vcd), pCommonVtx(pVtx), pPrevAE(pPrev), pNextAE(pNext), bBothBorder(bBoth) {}

void AngleEntry::setPrevAE(AngleEntry* pAE) {
    ASSEX(pAE!=NULL);
    pPrevAE = pAE;
}

void AngleEntry::setNextAE(AngleEntry* pAE) {
    ASSEX(pAE!=NULL);
    pNextAE = pAE;
}

double AngleEntry::getBorderAngle(bool bRecompute, AngleEntryState& newState) {
    double result = angle;
    if (pPrevAE == pNextAE) {
        state = AES_TWO_LEFT;
        result = NO_ANGLE;
    } else if (bRecompute) {
        state = computeAngle(result);
    }
    newState = state;
    return result;
}

AngleEntryState AngleEntry::computeAngle(double& result) {
    result = NO_ANGLE;
    const Vector3 a = normalize(*pNextAE->pCommonVtx - *pCommonVtx);
    const Vector3 b = normalize(*pPrevAE->pCommonVtx - *pCommonVtx);
    const Vector3 c = crossProduct(a, b);
    if (c.isDegenerate()) return AES_REFLEX;
    crossNV = normalize(c);
    const bool bInward = getVertexNNV(true) * crossNV > 0.0 && bBothBorder;
    angle = bInward ? getAngleDegree(a, b) : 360.0 - getAngleDegree(a, b);
    result = angle;
    return FLAT_ANGLE > angle ? AES_CONVEX : AES_REFLEX;
}

Vector3 AngleEntry::getVertexNNV(bool bRecompute) {
    if (!bRecompute) return vertexNNV;
    addNewNormals();
    vertexNNV = normalize(normalSum);
    return normalSum.isDegenerate() ? Vector3(1.0, 0.0, 0.0) : vertexNNV;
}

void AngleEntry::addNewNormals() {
    if (!bGrowthOnly) {
        normalSum = Vector3();
        pNewestT = nullptr;
    }
    std::vector<CTriangle*> vNewT;
    pCMesh->getIncidentTSince(ownVCD, pNewestT, vNewT);
    for (const CTriangle* pCT : vNewT) {
        VCD afterVCD, beforeVCD;
        pCT->getOtherCCDs(ownVCD, afterVCD, beforeVCD);
        bool bOK = false;
        const Vector3 nnv = getNormalVector(*pCommonVtx, *pCMesh->getVtx(afterVCD), *pCMesh->getVtx(beforeVCD), bOK);
        if (bOK) normalSum += nnv;
        pNewestT = pCT;
    }
}

double AngleEntry::getPrevNextDihedral() {
    ASSEX(isAlive());
    ASSEX(pNextAE->isAlive());
    ASSEX(pPrevAE->isAlive());
    ASSEX(pPrevAE!=this && pNextAE!=this && pPrevAE!=pNextAE);
    const Vector3 nextNNV = pNextAE->getVertexNNV(true);
    const Vector3 prevNNV = pPrevAE->getVertexNNV(true);
    ASSEX(!prevNNV.isDegenerate());
    ASSEX(!nextNNV.isDegenerate());
    return getAngleDegree(nextNNV, prevNNV);
}

}  // namespace TARN_KEL
