#include "CloudMgr.h"

#include <memory>

#include "Cloud.h"
#include "handOver.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

const double FILE_FEATURE_ANGLE = 10.0;  // degrees

}  // namespace

CloudMgr::~CloudMgr() {
    for (Cloud* pCloud : vClouds)
        delete pCloud;
}

double CloudMgr::setInputPoints(std::vector<Point3>& vPoints, double absoluteSpacing, double factor, bool bSoup,
                                double featureAngle, bool bLapTreatment, Calc* pCalc, int numGrowSteps) {
    spacingAbs = absoluteSpacing;
    spacingFactor = factor;
    bMelt = bSoup;
    Cloud* pCloud = addCloud("inputPointsViaMemory", numGrowSteps);
    pCloud->setInputPoints(vPoints);
    prepare(pCloud, featureAngle, bLapTreatment, pCalc);
    return pCloud->getDetectedSpacing();
}

void CloudMgr::readFiles(const std::vector<std::string>& vNames, double absoluteSpacing, double factor, bool bSoup,
                         bool bLapTreatment, int numGrowSteps) {
    if (vNames.size() > 1) {
        out() << "\nSorry, the current implementation state allows only one input file." << std::endl;
        out() << "Multiple input point clouds will be supported in later versions" << std::endl;
        ASSEX(false);
    }
    vFilenames = vNames;
    spacingAbs = absoluteSpacing;
    spacingFactor = factor;
    bMelt = bSoup;
    for (const std::string& filename : vFilenames) {
        Cloud* pCloud = addCloud(filename, numGrowSteps);
        pCloud->load();
        sumTimeInputIO += pCloud->getInputIOTime();
        prepare(pCloud, FILE_FEATURE_ANGLE, bLapTreatment, nullptr);
    }
}

Cloud* CloudMgr::addCloud(const std::string& name, int numGrowSteps) {
    return handOver(std::make_unique<Cloud>(name, spacingAbs, spacingFactor, bMelt, numGrowSteps), vClouds);
}

void CloudMgr::prepare(Cloud* pCloud, double featureAngle, bool bLapTreatment, Calc* pCalc) {
    if (pCloud->isPixelizer())
        pCloud->preparePixelsAndFeatures(featureAngle);
    else
        pCloud->prepareScanPoints(bLapTreatment, pCalc);
}

void CloudMgr::getBundles(std::vector<Bundle*>& vOut, Calc*& pCalc) {
    ASSEX(!vClouds.empty());
    pCalc = vClouds.front()->getCalc();
    std::vector<std::pair<CCD, Bundle*>> vCodeBundle;
    vClouds.front()->getBundles3(vCodeBundle);
    sortMT(vCodeBundle.begin(), vCodeBundle.end(), std::less<>());
    vOut.reserve(vOut.size() + vCodeBundle.size());
    for (std::size_t i = 0; i < vCodeBundle.size(); ++i)
        if (i == 0 || vCodeBundle[i].first != vCodeBundle[i - 1].first) vOut.push_back(vCodeBundle[i].second);
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
