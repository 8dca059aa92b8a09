#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "Bundle.h"
#include "BundleStore.h"
#include "Calc.h"
#include "inputPoints.h"
#include "kel.h"

namespace TARN_KEL {

class RemoveDecider_RCD;
class Smooth;

/// One input point set on its way to the grid: points, their bounds, the spacing, the grid, and in the end one bundle for
/// each occupied cell. It holds what the steps of the point stages make of each other's results; the steps themselves are
/// free functions: inputPoints.h, runGrid.h, nodeCells.h, cleanCells.h, soupCells.h, BundleStore.h.
///
/// Invariants once the points are prepared: cells are cubes of edge usedSpacing, every point lies about 5000 cells off the
/// sides of the grid (so each neighbour of an occupied cell exists), and no two bundles have the same code. Input points
/// with a coordinate that isn't finite never get in: they are left out with one warning that counts them. A triangle of a
/// soup that has one becomes flat, all corners in one place, and goes with the other flat ones.
class Cloud {
public:
    /// cloudName: what messages call it, the file name for a cloud from a file.
    /// absoluteSpacing: edge of a grid cell; not greater than 0: the detected spacing times factor.
    /// bSoup: the points are triangle corners, three per triangle. growSteps: of the gap closing; not greater than 0: none.
    Cloud(const std::string& cloudName, double absoluteSpacing, double factor, bool bSoup, int growSteps);
    /// Frees grid, bundles and points.
    ~Cloud();
    Cloud(const Cloud&) = delete;
    Cloud& operator=(const Cloud&) = delete;

    // ---- Input
    /// Takes the points, without those that aren't finite, and their bounds. O(n).
    void take(std::vector<Point3> vInput);
    /// The same with a copy of the points.
    void setInputPoints(std::vector<Point3>& vInput) { take(vInput); }
    /// Bounds of the points, which must not be empty (KelBugException).
    void setBounds(std::vector<Point3>& vOfPoints);
    /// Reads the file of the cloud's name into vPoints and measures the time. Returns false when it can't be read.
    bool load();
    /// Appends the points of a file; its type follows from the extension.
    /// Returns false, after a printed line, when it can't be read; an empty one prints a line and gives true.
    /// Throws KelBugException for an STL without a soup or an absolute spacing.
    bool readPoints(const std::string& filename, std::vector<Point3>& vOut);

    // ---- The roads to bundles
    /// Spacing, grid, smoothing and bundles of scan points. An empty cloud gives a warning and no grid.
    /// pGivenCalc: null, or a grid to copy in place of an estimate; it must hold all points with some cells to spare on each
    /// side. O(n log n).
    void prepareScanPoints(bool bLapTreatment, Calc* pGivenCalc);
    /// The same for a soup, by rasteriseSoup(); vPoints becomes the points of the cells, to which the bundles refer. A soup
    /// of flat triangles only gives a grid and no bundles. Throws KelBugException when the points aren't three per triangle.
    void preparePixelsAndFeatures(double featureAngle);

    // ---- Steps of both
    /// Sets usedSpacing, and unless the caller gave a spacing detectedSpacing, as estimateSpacing() has it.
    void estimateRes2();
    /// The grid from bounds and usedSpacing, as makeGrid() has it; moves the bounds out by the margin.
    void createCalc();
    /// One point per cell from the smoothed nodes, through the cleaning, to bundles. Once per cloud.
    void createBundles(Smooth* pSmooth);

    // ---- The cleaning: cleanCells.h on this cloud's grid. Lists of cells with points are sorted by code, one pair per cell
    using VRCDPoint = std::vector<std::pair<RCD, Point3>>;
    /// vOut becomes what cleanCells() gives, with interleaved codes.
    void cleanPoints_RCD(std::vector<Point3>& vNodePoints, std::vector<std::pair<CCD, Point3>>& vOut);
    /// onePointPerCell(); vAllRCDOut becomes the codes.
    void getRCD2Point(std::vector<Point3>& vNodePoints, VRCDPoint& vRCDPoint, VRCD& vAllRCDOut);
    /// thinToSheet().
    void orgPruning(VRCDPoint& vRCDPoint, VRCD& vAllRCDOut, VRCD& vRemainingRCDPoint);
    /// doomFlatRims().
    void postBorderPruning(RemoveDecider_RCD& decider, VRCDPoint& vRCDPoint);
    /// selectCells().
    void copyRmg(VRCDPoint& vRCDPoint, VRCD& vRemainingRCDPoint, VRCDPoint& vAllRmg);
    /// Appends what acceptProposed() gives to vAllRmg. Sorts vRCD2ZeroPoint, clears vLocalArea and vLocalBorder.
    void pruneZeros(VRCD& vLocalArea, VRCD& vLocalBorder, VRCDPoint& vRCD2ZeroPoint, VRCDPoint& vAllRmg);
    /// Appends what scorePieces() gives.
    void getZeroComponents(VRCD& vZeroRCD, VRCD& vLocalBorder, std::vector<std::pair<double, VRCD>>& vOut);
    /// medianWedge().
    double getMedianWedge(std::vector<Point3>& vAxPlusNeigs);

    // ---- Results
    /// Appends (code, bundle) in the order of creation.
    void getBundles3(std::vector<std::pair<CCD, Bundle*>>& vOut);
    /// vOut becomes the pairs (key, bundle), sorted: the key is the code moved by (dx, dy, dz) cells, then cut to blocks of
    /// 2^level cells along each axis.
    void getOrderedBundles(int dx, int dy, int dz, int level, std::vector<std::pair<CCD, Bundle*>>& vOut);
    /// Append the pairs of neighbouring cells on features and borders of a rasterised soup.
    void getFeatures(std::vector<std::pair<CCD, CCD>>& vOut) const;
    void getBorders(std::vector<std::pair<CCD, CCD>>& vOut) const;
    bool isPixelizer() const { return bMelt; }
    /// Stays the cloud's; null until there is a grid.
    Calc* getCalc() { return pCalc; }
    double getDetectedSpacing() const { return detectedSpacing; }
    double getInputIOTime() const { return inputIOTime; }
    void printStatistics() const;

    int numGrowSteps;
    double inputIOTime = 0.0;  ///< seconds
    std::string name;
    double spacingAbs;     ///< length set by the caller; not greater than 0: estimate it
    double spacingFactor;  ///< on the detected spacing
    bool bMelt;            ///< the input is a triangle soup
    std::size_t numInputPoints = 0;
    double detectedSpacing = -1.0;
    double usedSpacing = -1.0;  ///< edge of a grid cell
    Calc* pCalc = nullptr;      ///< owned
    std::vector<Point3> vPoints;
    std::vector<Bundle*> vBundles;  ///< in the cloud's store
    std::vector<std::pair<CCD, CCD>> vFeatures, vBorders;

private:
    void setGrid(const Calc& grid);

    PointBounds bounds;
    BundleStore bundleStore;
};

}  // namespace TARN_KEL
