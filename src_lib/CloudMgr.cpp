// Takes the input of a run and carries its cloud through the point stages.
#include "CloudMgr.h"

#include <utility>

#include "Cloud.h"
#include "runs.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

const double FILE_FEATURE_ANGLE = 10.0;  // degrees
const double NO_SPACING = -1.0;          // none was estimated

}  // namespace

CloudMgr::CloudMgr() = default;
CloudMgr::~CloudMgr() = default;

std::optional<double> CloudMgr::setInput(std::vector<Point3> vPoints, const RunInput& input) {
    Cloud& cloud = addCloud("inputPointsViaMemory", input);
    cloud.take(std::move(vPoints));
    return cloud.prepare(input);
}

double CloudMgr::setInputPoints(std::vector<Point3>& vPoints, double spacingAbs, double spacingFactor, bool bMelt,
                                double featureAngle, bool bLapTreatment, Calc* pCalc, int numGrowSteps) {
    RunInput input = runInputOf(spacingAbs, spacingFactor, bMelt, numGrowSteps);
    input.featureAngle = featureAngle;
    input.bLapTreatment = bLapTreatment;
    if (pCalc != nullptr) input.grid = *pCalc;
    return setInput(vPoints, input).value_or(NO_SPACING);
}

void CloudMgr::readFiles(const std::vector<std::string>& vNames, double spacingAbs, double spacingFactor, bool bMelt,
                         bool bLapTreatment, int numGrowSteps) {
    if (vNames.size() > 1) {
        out() << "\nSorry, the current implementation state allows only one input file." << std::endl;
        out() << "Multiple input point clouds will be supported in later versions" << std::endl;
        ASSEX(false);
    }
    RunInput input = runInputOf(spacingAbs, spacingFactor, bMelt, numGrowSteps);
    input.bLapTreatment = bLapTreatment;
    input.featureAngle = FILE_FEATURE_ANGLE;
    for (const std::string& filename : vNames) {
        Cloud& cloud = addCloud(filename, input);
        cloud.load();
        sumTimeInputIO += cloud.getInputIOTime();
        cloud.prepare(input);
    }
}

Cloud& CloudMgr::addCloud(const std::string& name, const RunInput& input) {
    return *vClouds.emplace_back(std::make_unique<Cloud>(name, input));
}

void CloudMgr::getBundles(std::vector<Bundle*>& vOut, Calc*& pCalc) {
    ASSEX(!vClouds.empty());
    pCalc = vClouds.front()->getCalc();
    std::vector<std::pair<CCD, Bundle*>> vCodeBundle;
    vClouds.front()->getBundles3(vCodeBundle);
    sortMT(vCodeBundle.begin(), vCodeBundle.end(), std::less<>());
    vOut.reserve(vOut.size() + vCodeBundle.size());
    const auto codeOfBundle = [](const auto& entry) { return entry.first; };
    forEachRun(vCodeBundle.begin(), vCodeBundle.end(), codeOfBundle,
               [&vOut](auto first, auto) { vOut.push_back(first->second); });
}

std::size_t CloudMgr::getNumBundles() const {
    ASSEX(!vClouds.empty());
    return vClouds.front()->vBundles.size();
}

const SoupFigures& CloudMgr::getSoupFigures() const {
    ASSEX(!vClouds.empty());
    return vClouds.front()->getSoupFigures();
}

void CloudMgr::getBorders(std::vector<std::pair<CCD, CCD>>& vOut) const {
    ASSEX(!vClouds.empty());
    vClouds.front()->getBorders(vOut);
}

void CloudMgr::getFeatures(std::vector<std::pair<CCD, CCD>>& vOut) const {
    ASSEX(!vClouds.empty());
    vClouds.front()->getFeatures(vOut);
}

}  // namespace TARN_KEL
