// The entry functions of whole runs. Each opens the thread's progress tree, creates a CloudMgr and a Hal,
// runs them, and destroys them before it makes the mesh to return. They differ only in the RunInput that they make.
#include <iomanip>
#include <memory>
#include <optional>
#include <sstream>
#include <utility>

#include "CloudMgr.h"
#include "Hal.h"
#include "Progress.h"
#include "ThreadSingleton.h"
#include "kel.h"
#include "messages.h"

namespace TARN_KEL {

namespace {

const int VERSION_MAJOR = 1;
const int VERSION_MINOR = 12;

Progress* progressRoot() {
    return ThreadSingleton<Progress>::getInstance();
}

RunInput soupInput(double spacing, double featureAngle) {
    return {.bSoup = true, .spacing = spacing, .featureAngle = featureAngle};
}

MeshPtr reconstructScan(const std::vector<Point3>& vPoints, const RunInput& input) {
    progressForReco();
    OwnRun run(true);
    auto pCloudMgr = std::make_unique<CloudMgr>();
    pCloudMgr->setInput(vPoints, input);
    MeshPtr pMesh = reconstructFrom(std::move(pCloudMgr));
    run.close();
    return pMesh;
}

}  // namespace

MeshPtr reconstruct_auto(std::vector<Point3>& vPoints, bool bLapTreatment, double spacingFactor, int numGrowSteps) {
    return reconstructScan(
        vPoints, {.spacingFactor = spacingFactor, .bLapTreatment = bLapTreatment, .gapClosing = gapClosingOf(numGrowSteps)});
}

MeshPtr reconstruct_abs(std::vector<Point3>& vPoints, bool bLapTreatment, double spacingAbs, int numGrowSteps) {
    return reconstructScan(
        vPoints, {.spacing = spacingAbs, .bLapTreatment = bLapTreatment, .gapClosing = gapClosingOf(numGrowSteps)});
}

MeshPtr melt(std::vector<Point3>& vPoints, double spacingAbs, double featureAngle) {
    progressForMelt();
    OwnRun run(true);
    auto pCloudMgr = std::make_unique<CloudMgr>();
    pCloudMgr->setInput(vPoints, soupInput(spacingAbs, featureAngle));
    MeshPtr pMesh = meltFrom(std::move(pCloudMgr));
    run.close();
    return pMesh;
}

void toCloud(std::vector<Point3>& vPoints, double spacingAbs, double featureAngle, std::vector<Point3>& vOut) {
    progressForToCloud();
    OwnRun run(true);
    CloudMgr cloudMgr;
    cloudMgr.setInput(vPoints, soupInput(spacingAbs, featureAngle));
    Hal hal(&cloudMgr);
    std::vector<Point3*> vCellPoints;
    hal.toCloud(vCellPoints);
    vOut.reserve(vOut.size() + vCellPoints.size());
    for (const Point3* pPoint : vCellPoints)
        vOut.push_back(*pPoint);
    run.close();
}

double estimateAvgSpacing(std::vector<Point3>& vPoints) {
    progressForEstimation();
    CloudMgr cloudMgr;
    return cloudMgr.setInput(vPoints, {}).value_or(-1.0);
}

void subscribe(ProgressBase* pProgress) {
    if (pProgress != nullptr) progressRoot()->setListener(pProgress);
}

void unsubscribe() {
    progressRoot()->setListener(nullptr);
}

void getVersion(int& major, int& minor) {
    major = VERSION_MAJOR;
    minor = VERSION_MINOR;
}

void printVersion() {
    std::ostringstream text;
    text << "KEL, version " << VERSION_MAJOR << "." << std::setw(2) << std::setfill('0') << VERSION_MINOR << "\n";
    printText(MK_TEXT, text.str());
}

bool isRelease() {
    return true;
}

}  // namespace TARN_KEL
