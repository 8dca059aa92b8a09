// The run frames: each entry function opens the thread's progress tree, builds a CloudMgr and a Hal on its own stack, runs
// them and tears them down in reverse order. What it hands to CloudMgr::setInputPoints is the whole difference between them.
#include <iomanip>
#include <sstream>

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

const double ESTIMATE_SPACING = -1.0;   // not greater than 0: the cloud estimates it
const double NO_FACTOR = -1.0;          // never used, because the absolute spacing wins; a bad spacing makes it fail
const double NO_FEATURE_ANGLE = 361.0;  // above every angle
const int NO_GROWTH = -1;

Progress* progressRoot() {
    return ThreadSingleton<Progress>::getInstance();
}

MeshPtr reconstruct(std::vector<Point3>& vPoints, bool bLapTreatment, double spacingAbs, double spacingFactor,
                    int numGrowSteps) {
    progressForReco();
    OwnRun run(true);
    CloudMgr cloudMgr;
    cloudMgr.setInputPoints(vPoints, spacingAbs, spacingFactor, false, NO_FEATURE_ANGLE, bLapTreatment, nullptr,
                            numGrowSteps);
    Hal hal(&cloudMgr);
    MeshPtr pMesh = hal.reconstruct();
    run.close();
    return pMesh;
}

}  // namespace

MeshPtr reconstruct_auto(std::vector<Point3>& vPoints, bool bLapTreatment, double spacingFactor, int numGrowSteps) {
    return reconstruct(vPoints, bLapTreatment, ESTIMATE_SPACING, spacingFactor, numGrowSteps);
}

MeshPtr reconstruct_abs(std::vector<Point3>& vPoints, bool bLapTreatment, double spacingAbs, int numGrowSteps) {
    return reconstruct(vPoints, bLapTreatment, spacingAbs, NO_FACTOR, numGrowSteps);
}

MeshPtr melt(std::vector<Point3>& vPoints, double spacingAbs, double featureAngle) {
    progressForMelt();
    OwnRun run(true);
    CloudMgr cloudMgr;
    cloudMgr.setInputPoints(vPoints, spacingAbs, NO_FACTOR, true, featureAngle, false, nullptr, NO_GROWTH);
    Hal hal(&cloudMgr);
    MeshPtr pMesh = hal.oneMelt();
    run.close();
    return pMesh;
}

void toCloud(std::vector<Point3>& vPoints, double spacingAbs, double featureAngle, std::vector<Point3>& vOut) {
    progressForToCloud();
    OwnRun run(true);
    CloudMgr cloudMgr;
    cloudMgr.setInputPoints(vPoints, spacingAbs, NO_FACTOR, true, featureAngle, false, nullptr, NO_GROWTH);
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
    return cloudMgr.setInputPoints(vPoints, ESTIMATE_SPACING, 1.0, false, NO_FEATURE_ANGLE, false, nullptr, NO_GROWTH);
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
