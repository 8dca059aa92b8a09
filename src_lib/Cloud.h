#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Bundle.h"
#include "BundleStore.h"
#include "Calc.h"
#include "RunInput.h"
#include "inputPoints.h"
#include "kel.h"
#include "soupCells.h"

namespace TARN_KEL {

class ProgressStep;
class RemoveDecider_RCD;
class Smooth;

/// One input point set on its way to the grid: points, their bounds, the spacing, the grid, and in the end one bundle for
/// each occupied cell. It keeps the results of the point stages; the steps themselves are free functions: inputPoints.h,
/// runGrid.h, nodeCells.h, cleanCells.h, soupCells.h, BundleStore.h.
///
/// Invariants once the points are prepared: cells are cubes of edge usedSpacing, every point is about 5000 cells away from
/// the sides of the grid (so each neighbour of an occupied cell exists), and no two bundles have the same code. Input points
/// with a coordinate that isn't finite are left out, with one warning that counts them. A triangle of a soup with such a
/// corner becomes flat, with all corners in one place, and is dropped with the other flat ones.
class Cloud {
public:
    /// cloudName: as below. input: for prepare().
    Cloud(const std::string& cloudName, const RunInput& input);
    /// cloudName: the name in messages; the file name for a cloud from a file.
    /// absoluteSpacing: edge of a grid cell; not greater than 0: the detected spacing times factor.
    /// bSoup: the points are triangle corners, three per triangle.
    /// growSteps: of the gap closing; not greater than 0: none.
    Cloud(const std::string& cloudName, double absoluteSpacing, double factor, bool bSoup, int growSteps);
    /// Frees grid, bundles and points.
    ~Cloud();
    Cloud(const Cloud&) = delete;
    Cloud& operator=(const Cloud&) = delete;

    // ---- Input
    /// Takes over the points, without those that aren't finite, and computes their bounds. Cost: O(n).
    void take(std::vector<Point3> vInput);
    /// The same with a copy of the points.
    void setInputPoints(std::vector<Point3>& vInput) { take(vInput); }
    /// Sets the bounds to those of the points.
    /// Throws KelBugException when there are none.
    void setBounds(std::vector<Point3>& vOfPoints);
    /// Reads the file of the cloud's name into vPoints and measures the time. Returns false when it can't be read.
    bool load();
    /// Appends the points of a file; its type follows from the extension.
    /// Returns false, after a printed line, when it can't be read; for an empty file it prints a line and returns true.
    /// Throws KelBugException for an STL file unless the cloud is a soup with an absolute spacing.
    bool readPoints(const std::string& filename, std::vector<Point3>& vOut);

    // ---- The way to bundles
    /// Makes the grid and the bundles as the input says; the cloud's own single parameters aren't read. For an empty cloud
    /// it warns and makes no grid.
    /// A scan is smoothed and cleaned, its points are freed. A soup is rasterised (rasteriseSoup()): vPoints is replaced by
    /// the points of the cells, to which the bundles refer; one of flat triangles only gives a grid and no bundles.
    /// Returns the detected spacing; none when none was estimated. Throws KelBugException for a soup without three points
    /// per triangle. Cost: O(n log n).
    std::optional<double> prepare(const RunInput& input);
    /// prepare() for a scan, by the cloud's own parameters. pGivenCalc: null, or RunInput::grid.
    void prepareScanPoints(bool bLapTreatment, Calc* pGivenCalc);
    /// prepare() for a soup, by the cloud's own parameters.
    void preparePixelsAndFeatures(double featureAngle);

    // ---- Its steps, by the cloud's own parameters: growth isn't careful
    /// Sets usedSpacing; unless the caller gave a spacing, also detectedSpacing, by estimateSpacing().
    void estimateRes2();
    /// Makes the grid from bounds and usedSpacing (makeGrid()), and moves the bounds out by the margin.
    void createCalc();
    /// Makes the bundles: one point per cell from the smoothed nodes, then the cleaning. To be called once per cloud.
    void createBundles(Smooth* pSmooth);

    // ---- The cleaning: cleanCells.h on this cloud's grid. Lists of cells with points are sorted by code, one pair per cell
    using VRCDPoint = std::vector<std::pair<RCD, Point3>>;
    /// vOut: replaced by the result of cleanCells(), with interleaved codes.
    void cleanPoints_RCD(std::vector<Point3>& vNodePoints, std::vector<std::pair<CCD, Point3>>& vOut);
    /// onePointPerCell(). vAllRCDOut: replaced by the codes.
    void getRCD2Point(std::vector<Point3>& vNodePoints, VRCDPoint& vRCDPoint, VRCD& vAllRCDOut);
    /// thinToSheet(); sorts vAllRCDOut.
    void orgPruning(VRCDPoint& vRCDPoint, VRCD& vAllRCDOut, VRCD& vRemainingRCDPoint);
    /// doomFlatRims().
    void postBorderPruning(RemoveDecider_RCD& decider, VRCDPoint& vRCDPoint);
    /// selectCells().
    void copyRmg(VRCDPoint& vRCDPoint, VRCD& vRemainingRCDPoint, VRCDPoint& vAllRmg);
    /// Appends the result of acceptProposed() to vAllRmg. Sorts vRCD2ZeroPoint, clears vLocalArea and vLocalBorder.
    void pruneZeros(VRCD& vLocalArea, VRCD& vLocalBorder, VRCDPoint& vRCD2ZeroPoint, VRCDPoint& vAllRmg);
    /// Appends the result of scoreComponents().
    void getZeroComponents(VRCD& vZeroRCD, VRCD& vLocalBorder, std::vector<std::pair<double, VRCD>>& vOut);
    /// medianWedge().
    double getMedianWedge(std::vector<Point3>& vAxPlusNeigs);

    // ---- Results
    /// Appends (code, bundle) in the order of creation.
    void getBundles3(std::vector<std::pair<CCD, Bundle*>>& vOut);
    /// vOut: replaced by the pairs (key, bundle), sorted. The key is the code moved by (dx, dy, dz) cells, then reduced to
    /// blocks of 2^level cells along each axis.
    void getOrderedBundles(int dx, int dy, int dz, int level, std::vector<std::pair<CCD, Bundle*>>& vOut);
    /// What is known of a soup beside its cells.
    const SoupFigures& getSoupFigures() const { return soupFigures; }
    /// Append the pairs of neighbouring cells on features and borders of a rasterised soup.
    void getFeatures(std::vector<std::pair<CCD, CCD>>& vOut) const;
    void getBorders(std::vector<std::pair<CCD, CCD>>& vOut) const;
    bool isPixelizer() const { return bMelt; }
    /// The grid, owned by the cloud; null until there is one.
    Calc* getCalc() { return pCalc; }
    double getDetectedSpacing() const { return detectedSpacing; }
    double getInputIOTime() const { return inputIOTime; }
    void printStatistics() const;

    // The parameters of the second constructor; the first one fills them in for readers alone.
    int numGrowSteps;
    double inputIOTime = 0.0;  ///< seconds
    std::string name;
    double spacingAbs;     ///< length set by the caller; not greater than 0: estimate it
    double spacingFactor;  ///< factor of the detected spacing
    bool bMelt;            ///< the input is a triangle soup
    std::size_t numInputPoints = 0;
    double detectedSpacing = -1.0;
    double usedSpacing = -1.0;  ///< edge of a grid cell
    Calc* pCalc = nullptr;      ///< owned
    std::vector<Point3> vPoints;
    std::vector<Bundle*> vBundles;  ///< in the cloud's store
    std::vector<std::pair<CCD, CCD>> vFeatures, vBorders;

private:
    RunInput ownInput() const;
    std::optional<double> chooseGrid(const RunInput& input);
    std::optional<double> takeSpacing(const RunInput& input);
    void makeScanBundles(const RunInput& input);
    void makeSoupBundles(const RunInput& input);
    // The second half of createBundles(): before it the nodes can be freed.
    void createBundlesOf(const std::vector<Point3>& vNodePoints, const std::optional<GapClosing>& gapClosing,
                         const ProgressStep& progress);
    void setGrid(const Calc& grid);

    SoupFigures soupFigures;
    PointBounds bounds;
    BundleStore bundleStore;
};

}  // namespace TARN_KEL
