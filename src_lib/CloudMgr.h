#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Bundle.h"
#include "Calc.h"
#include "kel.h"

namespace TARN_KEL {

class Cloud;

/// Takes the input of a run, makes its one cloud and carries it through the point stages.
///
/// It owns the cloud, and through it the grid, the bundles and their points: whatever refers to these (the driver of the
/// run) must die first. The progress tree of the calling thread must have a name before input comes.
class CloudMgr {
public:
    CloudMgr() = default;
    ~CloudMgr();
    CloudMgr(const CloudMgr&) = delete;
    CloudMgr& operator=(const CloudMgr&) = delete;

    /// Points in memory, copied: all point stages run here. O(n log n).
    ///
    /// spacingAbs: edge of a grid cell; not greater than 0 takes the detected spacing times spacingFactor. bMelt: the points
    /// are triangle corners, three a triangle; featureAngle (degrees) is read then only. bLapTreatment: the smoothing of
    /// noisy input. pCalc: null, or a grid to use as it is; copied. numGrowSteps: handed to the gap closing.
    /// Returns the detected spacing; -1.0 when none was estimated.
    double setInputPoints(std::vector<Point3>& vPoints, double spacingAbs, double spacingFactor, bool bMelt,
                          double featureAngle, bool bLapTreatment, Calc* pCalc, int numGrowSteps);
    /// The same from one point file, or STL for a soup. More than one name throws KelBugException; a file that can't be read
    /// prints a line and leaves a cloud without points.
    void readFiles(const std::vector<std::string>& vNames, double spacingAbs, double spacingFactor, bool bMelt,
                   bool bLapTreatment, int numGrowSteps);

    /// Appends one bundle a cell, by ascending code, and sets pCalc to the grid, null when none was made. Bundles, points
    /// and grid stay the cloud's. Throws KelBugException before any input.
    void getBundles(std::vector<Bundle*>& vOut, Calc*& pCalc);
    /// Appends the pairs of neighbouring cells on borders, or on feature edges, of a rasterised soup. Throw as getBundles().
    void getBorders(std::vector<std::pair<CCD, CCD>>& vOut) const;
    void getFeatures(std::vector<std::pair<CCD, CCD>>& vOut) const;
    /// Seconds spent reading files.
    double getSumTimeInputIO() const { return sumTimeInputIO; }

private:
    Cloud* addCloud(const std::string& name, int numGrowSteps);
    void prepare(Cloud* pCloud, double featureAngle, bool bLapTreatment, Calc* pCalc);

    double sumTimeInputIO = 0.0;
    std::vector<std::string> vFilenames;
    std::vector<Cloud*> vClouds;  // owned; one in practice
    double spacingAbs = -1.0;
    double spacingFactor = -1.0;
    bool bMelt = false;
};

}  // namespace TARN_KEL
