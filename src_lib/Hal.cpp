// The order of the pipeline after the point stages, from bundles to the fine mesh.
#include "Hal.h"

#include <algorithm>
#include <utility>

#include "CMesh.h"
#include "CloudMgr.h"
#include "Extractor.h"
#include "IsoStore.h"
#include "Progress.h"
#include "RMesh.h"
#include "RTop.h"
#include "geometryFunctions.h"
#include "processMemory.h"
#include "repairMesh.h"
#include "runs.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

const char* const NOTHING_TO_DO = "Nothing to do (bad input? wrong resolution?)";

/// Bits of the axes that are more than 50 degrees away from a unit vector's line.
int forbiddenAxes(const Vector3& normal) {
    const auto isForbidden = [&](const Vector3& axis) {
        const double angle = getAngleDegree(normal, axis);
        return (angle > 90.0 ? 180.0 - angle : angle) > 50.0;
    };
    return (isForbidden({1.0, 0.0, 0.0}) ? 4 : 0) + (isForbidden({0.0, 1.0, 0.0}) ? 2 : 0) +
           (isForbidden({0.0, 0.0, 1.0}) ? 1 : 0);
}

MeshPtr makeMeshFrom(std::unique_ptr<CloudMgr> pCloudMgr, std::optional<CoarseSurface> (Hal::*makeSurface)()) {
    const std::size_t numCells = pCloudMgr->getNumBundles();
    returnFreedMemory(numCells);
    const std::optional<CoarseSurface> surface = (Hal(pCloudMgr.get()).*makeSurface)();
    pCloudMgr.reset();
    returnFreedMemory(numCells);
    return surface ? Hal::makeFineMesh(*surface) : nullptr;
}

}  // namespace

Hal::Hal(CloudMgr* pCloudMgr_) : pCloudMgr(pCloudMgr_) {}

Hal::~Hal() = default;

MeshPtr reconstructFrom(std::unique_ptr<CloudMgr> pCloudMgr) {
    return makeMeshFrom(std::move(pCloudMgr), &Hal::reconstructCoarse);
}

MeshPtr meltFrom(std::unique_ptr<CloudMgr> pCloudMgr) {
    return makeMeshFrom(std::move(pCloudMgr), &Hal::meltCoarse);
}

MeshPtr Hal::reconstruct() {
    const std::optional<CoarseSurface> surface = reconstructCoarse();
    return surface ? makeFineMesh(*surface) : nullptr;
}

MeshPtr Hal::oneMelt() {
    const std::optional<CoarseSurface> surface = meltCoarse();
    return surface ? makeFineMesh(*surface) : nullptr;
}

std::optional<CoarseSurface> Hal::reconstructCoarse() {
    ProgressStep step("HL_st", 9);
    if (!takeBundles(NOTHING_TO_DO)) return std::nullopt;
    step.advance();
    mapCCD();
    step.advance();
    step.finish();
    extractAndRepair(repairReconstructedMesh);
    return CoarseSurface(pCMesh.get());
}

std::optional<CoarseSurface> Hal::meltCoarse() {
    if (!takeBundles("MELT: Nothing to do")) return std::nullopt;
    mapCCD();
    extractAndRepair(repairMeltedMesh);
    return CoarseSurface(pCMesh.get());
}

void Hal::toCloud(std::vector<Point3*>& vOut) {
    ProgressStep step("hal-part", 2);
    takeBundles("toCloud: Nothing to do");
    step.advance();
    vOut.reserve(vOut.size() + vBundles.size());
    for (const Bundle* pBundle : vBundles)
        vOut.push_back(pBundle->pVtx);
    step.advance();
    step.finish();
}

CMesh* Hal::reconstructInHole() {
    if (!takeBundles(NOTHING_TO_DO)) return nullptr;
    mapCCD();
    extractAndRepair(repairHoleMesh);
    return new CMesh(*pCMesh, SELF_CONTAINED());
}

bool Hal::takeBundles(const std::string& nothingToDo) {
    pCloudMgr->getBundles(vBundles, pCalc);
    if (vBundles.empty()) warning(KEL_PLACE, nothingToDo);
    return !vBundles.empty();
}

void Hal::extractAndRepair(void (*repair)(CMesh&, const ExtractAgain&)) {
    std::optional<Extractor> extractor(std::in_place, pCalc, mCCD2Bundle, TM_FAT);
    pCMesh = extractor->extract();
    repair(*pCMesh, [&](VCCD& vKeys) -> CMesh& {
        ASSEX(extractor.has_value());
        extractor->extractAgain(*pCMesh, vKeys);
        extractor.reset();  // each repair extracts again once; what follows needs much memory
        return *pCMesh;
    });
}

MeshPtr Hal::makeFineMesh(const CoarseSurface& surface) {
    auto pRMesh = std::make_unique<RMesh>(surface);
    RTop(pRMesh.get()).finalizeBase();
    auto pMesh = std::make_shared<Mesh>(pRMesh.get());
    static_cast<void>(pRMesh.release());  // the new one owns it
    return pMesh;
}

void Hal::sortBundles() {
    const auto byCode = [](const Bundle* a, const Bundle* b) { return a->ccd < b->ccd; };
    // The cloud hands them out in order, and so does an earlier call.
    if (!std::is_sorted(vBundles.begin(), vBundles.end(), byCode))
        std::stable_sort(vBundles.begin(), vBundles.end(), byCode);
}

void Hal::mapCCD() {
    sortBundles();
    for (Bundle* pBundle : vBundles)
        mCCD2Bundle.emplace_hint(mCCD2Bundle.end(), pBundle->ccd, pBundle);
}

CMesh* Hal::getCMesh() const {
    ASSEX(pCMesh!=NULL);
    return pCMesh.get();
}

void Hal::integrateFillPixels(std::vector<Point3>& vPoints) {
    ASSEX(pCalc!=NULL);
    std::vector<std::pair<CCD, Point3>> vCodePoint;
    vCodePoint.reserve(vPoints.size());
    for (const Point3& p : vPoints)
        vCodePoint.emplace_back(pCalc->getCCD(&p), p);
    std::sort(vCodePoint.begin(), vCodePoint.end());

    const auto cellOf = [](const auto& codePoint) { return codePoint.first; };
    forEachRun(vCodePoint.begin(), vCodePoint.end(), cellOf, [&](auto first, auto end) {
        const CCD ccd = first->first;
        Vector3 sum;
        for (auto it = first; it != end; ++it)
            sum += it->second - Point3();
        vFillPoints.push_back(std::make_unique<Point3>(Point3() + sum / static_cast<double>(end - first)));
        if (mCCD2Bundle.count(ccd) != 0) return;
        vFillBundles.push_back(std::make_unique<Bundle>());
        vFillBundles.back()->pVtx = vFillPoints.back().get();
        vFillBundles.back()->ccd = ccd;
        mCCD2Bundle.emplace(ccd, vFillBundles.back().get());
    });
}

std::shared_ptr<IsoStore> Hal::getIsoStore() {
    ASSEX(pCalc!=NULL);
    sortBundles();
    auto pStore = std::make_shared<IsoStore>(pCalc, vBundles);
    const auto upperOf = [](const Bundle* p) { return p->ccd & ~Iso::LOWER_PART; };
    forEachRun(vBundles.begin(), vBundles.end(), upperOf, [&](auto first, auto end) {
        std::vector<Bundle*> vSlice(first, end);
        pStore->init(upperOf(*first), vSlice);
    });
    return pStore;
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
