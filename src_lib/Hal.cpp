#include "Hal.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "CMesh.h"
#include "CloudMgr.h"
#include "Progress.h"
#include "RMesh.h"
#include "RTop.h"
#include "ThreadSingleton.h"
#include "Top.h"
#include "Voro.h"
#include "freeFunctions.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

const char* const NOTHING_TO_DO = "Nothing to do (bad input? wrong resolution?)";

void finishStep(Progress* pStep) {
    pStep->setDone(true);
}

/// The angle between a direction and an axis, 0 to 90 degrees. w: the direction's component on that axis.
double angleToAxis(double w) {
    double angle = w >= 1.0 ? 0.0 : w <= -1.0 ? 180.0 : std::acos(w) * DEGREES_PER_RADIAN;
    return angle > 90.0 ? 180.0 - angle : angle;
}

int forbiddenAxes(const Vector3& normal) {
    const double maxAngle = 50.0;
    return (angleToAxis(normal.x()) > maxAngle ? 4 : 0) + (angleToAxis(normal.y()) > maxAngle ? 2 : 0) +
           (angleToAxis(normal.z()) > maxAngle ? 1 : 0);
}

}  // namespace

Hal::Hal(CloudMgr* pCloudMgr_) : pCloudMgr(pCloudMgr_) {}

Hal::~Hal() = default;

MeshPtr Hal::reconstruct() {
    Progress* pStep = ThreadSingleton<Progress>::getInstance()->getChildProgressSetTodo("HL_st", 9);
    if (!takeBundles(NOTHING_TO_DO)) return nullptr;
    pStep->incProgressByOne();
    mapCCD();
    pStep->incProgressByOne();
    finishStep(pStep);

    Voro voro(pCalc, mCCD2Bundle, TM_FAT);
    voro.fatExtractTriangles();
    pCMesh.reset(voro.getCMesh());
    Top top(pCMesh.get(), pCalc);
    top.finalizeReconstructedMesh(&voro);
    return convertToFineMesh();
}

MeshPtr Hal::oneMelt() {
    if (!takeBundles("MELT: Nothing to do")) return nullptr;
    mapCCD();
    Voro voro(pCalc, mCCD2Bundle, TM_FAT);
    voro.fatExtractTriangles();
    pCMesh.reset(voro.getCMesh());
    Top top(pCMesh.get(), pCalc);
    top.finalizeOneMelted(&voro);
    return convertToFineMesh();
}

void Hal::toCloud(std::vector<Point3*>& vOut) {
    Progress* pStep = ThreadSingleton<Progress>::getInstance()->getChildProgressSetTodo("hal-part", 2);
    const bool bCells = takeBundles("toCloud: Nothing to do");
    pStep->incProgressByOne();
    if (!bCells) return;
    vOut.reserve(vOut.size() + vBundles.size());
    for (const Bundle* pBundle : vBundles)
        vOut.push_back(pBundle->pVtx);
    pStep->incProgressByOne();
    finishStep(pStep);
}

CMesh* Hal::reconstructInHole() {
    if (!takeBundles(NOTHING_TO_DO)) return nullptr;
    mapCCD();
    Voro voro(pCalc, mCCD2Bundle, TM_FAT);
    voro.fatExtractTriangles();
    pCMesh.reset(voro.getCMesh());
    Top top(pCMesh.get(), pCalc);
    top.finalizeHoleMesh(&voro);
    return pCMesh.release();
}

bool Hal::takeBundles(const std::string& nothingToDo) {
    pCloudMgr->getBundles(vBundles, pCalc);
    if (vBundles.empty()) warning(KEL_PLACE, nothingToDo);
    return !vBundles.empty();
}

MeshPtr Hal::convertToFineMesh() {
    auto pRMesh = std::make_unique<RMesh>(pCMesh.get());
    RTop(pRMesh.get()).finalizeBase();
    auto pMesh = std::make_shared<Mesh>(pRMesh.get());
    pRMesh.release();
    return pMesh;
}

void Hal::mapCCD() {
    const auto byCode = [](const Bundle* a, const Bundle* b) { return a->ccd < b->ccd; };
    // The cloud hands them out in order, and so does an earlier call.
    if (!std::is_sorted(vBundles.begin(), vBundles.end(), byCode))
        std::stable_sort(vBundles.begin(), vBundles.end(), byCode);
    for (Bundle* pBundle : vBundles)
        mCCD2Bundle.emplace_hint(mCCD2Bundle.end(), pBundle->ccd, pBundle);
}

CMesh* Hal::getCMesh() const {
    CMesh* pCMesh = this->pCMesh.get();
    ASSEX(pCMesh!=NULL);
    return pCMesh;
}

void Hal::integrateFillPixels(std::vector<Point3>& vPoints) {
    std::vector<std::pair<CCD, Point3>> vCodePoint;
    vCodePoint.reserve(vPoints.size());
    for (const Point3& p : vPoints)
        vCodePoint.emplace_back(pCalc->getCCD(&p), p);
    std::sort(vCodePoint.begin(), vCodePoint.end());

    for (auto itRun = vCodePoint.begin(); itRun != vCodePoint.end();) {
        const CCD ccd = itRun->first;
        Vector3 sum;
        double count = 0.0;
        for (; itRun != vCodePoint.end() && itRun->first == ccd; ++itRun, count += 1.0)
            sum += itRun->second - Point3();
        vFillPoints.push_back(std::make_unique<Point3>(Point3() + sum / count));
        if (mCCD2Bundle.count(ccd) != 0) continue;
        vFillBundles.push_back(std::make_unique<Bundle>());
        vFillBundles.back()->pVtx = vFillPoints.back().get();
        vFillBundles.back()->ccd = ccd;
        mCCD2Bundle.emplace(ccd, vFillBundles.back().get());
    }
}

std::shared_ptr<IsoStore> Hal::getIsoStore() {
    warning(KEL_PLACE, "The iso slices aren't built yet");
    return nullptr;
}

void Hal::setForbiddenDirections() {
    for (Bundle* pBundle : vBundles) {
        float* n = pBundle->normal;
        Vector3 normal(n[0], n[1], n[2]);
        if (normal.length() > 0.0) normal = normalize(normal);
        n[0] = static_cast<float>(normal.x());
        n[1] = static_cast<float>(normal.y());
        n[2] = static_cast<float>(normal.z());
        pBundle->forbiddenDirection = forbiddenAxes(normal);
    }
}

}  // namespace TARN_KEL
