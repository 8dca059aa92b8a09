#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Bundle.h"
#include "Calc.h"
#include "RunInput.h"
#include "kel.h"
#include "soupCells.h"

namespace TARN_KEL {

class Cloud;

/// Takes the input of a run, makes its one cloud and carries it through the point stages.
///
/// It owns the cloud, and through it the grid, the bundles and their points: objects that refer to these (the driver of the
/// run) must be destroyed first.
class CloudMgr {
public:
    CloudMgr();
    ~CloudMgr();
    CloudMgr(const CloudMgr&) = delete;
    CloudMgr& operator=(const CloudMgr&) = delete;

    /// Takes points from memory and runs all point stages. Cost: O(n log n).
    /// Returns the detected spacing; none when none was estimated.
    /// Throws KelBugException when the resulting spacing isn't positive or allows no grid (makeGrid()), and for a soup
    /// without three points per triangle.
    std::optional<double> setInput(std::vector<Point3> vPoints, const RunInput& input);
    /// The same, with single parameters.
    /// spacingAbs: edge of a grid cell; not greater than 0: the detected spacing times spacingFactor.
    /// bMelt: the points are triangle corners.
    /// featureAngle: in degrees; only read with bMelt.
    /// bLapTreatment: the smoothing of noisy input.
    /// pCalc: null, or a grid that a scan uses unchanged; copied.
    /// numGrowSteps: of the gap closing; not greater than 0: none.
    /// Returns the detected spacing; -1.0 when none was estimated.
    double setInputPoints(std::vector<Point3>& vPoints, double spacingAbs, double spacingFactor, bool bMelt,
                          double featureAngle, bool bLapTreatment, Calc* pCalc, int numGrowSteps);
    /// The same from one point file, or an STL file for a soup; the feature angle is 10 degrees. For a file that can't be
    /// read it prints a line, and the cloud has no points.
    /// Throws KelBugException for more than one name.
    void readFiles(const std::vector<std::string>& vNames, double spacingAbs, double spacingFactor, bool bMelt,
                   bool bLapTreatment, int numGrowSteps);

    /// Appends one bundle per cell, by ascending code. Bundles, points and grid are owned by the cloud.
    /// pCalc: set to the grid; null when none was made.
    /// Throws KelBugException before any input.
    void getBundles(std::vector<Bundle*>& vOut, Calc*& pCalc);
    /// The number of bundles that getBundles() appends. Throws as it does.
    std::size_t getNumBundles() const;
    /// What is known of a soup beside its cells. Throws as it does.
    const SoupFigures& getSoupFigures() const;
    /// Append the pairs of neighbouring cells on borders, or on feature edges, of a rasterised soup. Throw like
    /// getBundles().
    void getBorders(std::vector<std::pair<CCD, CCD>>& vOut) const;
    void getFeatures(std::vector<std::pair<CCD, CCD>>& vOut) const;
    /// Seconds spent reading files.
    double getSumTimeInputIO() const { return sumTimeInputIO; }

private:
    Cloud& addCloud(const std::string& name, const RunInput& input);

    double sumTimeInputIO = 0.0;
    std::vector<std::unique_ptr<Cloud>> vClouds;  // one in practice
};

}  // namespace TARN_KEL
