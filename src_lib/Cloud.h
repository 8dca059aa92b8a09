#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "Bundle.h"
#include "Calc.h"
#include "SimplePool.h"
#include "kel.h"

namespace TARN_KEL {

class ProgressStep;
class RemoveDecider_RCD;
class Smooth;

/// One input point set on its way to the grid: points, their bounds, the spacing, the grid, and in the end one bundle for
/// each occupied cell.
///
/// Invariants once the points are prepared: cells are cubes of edge usedSpacing, every point lies about 5000 cells off the
/// sides of the grid (so each neighbour of an occupied cell exists), and no two bundles have the same code. Input points
/// with a coordinate that isn't finite never get in: they are left out with one warning that counts them. A triangle of a
/// soup that has one becomes flat, all corners in one place, and goes with the other flat ones.
class Cloud {
public:
    /// name: what messages call it, the file name for a cloud from a file. The other values as in CloudMgr::setInputPoints.
    Cloud(const std::string& cloudName, double absoluteSpacing, double factor, bool bSoup, int growSteps);
    /// Frees grid, bundles and points.
    ~Cloud();
    Cloud(const Cloud&) = delete;
    Cloud& operator=(const Cloud&) = delete;

    // ---- Input
    /// Copies the points, without those that aren't finite, and takes their bounds.
    void setInputPoints(std::vector<Point3>& vInput);
    /// Bounds of the points, which must not be empty.
    void setBounds(std::vector<Point3>& vOfPoints);
    /// Reads the file of the cloud's name into vPoints and measures the time. False when it can't be read.
    bool load();
    /// Appends the points of a file; its type goes by the extension. An STL needs a soup and an absolute spacing, else
    /// KelBugException. False after a printed line when the file can't be read; an empty one prints a line and gives true.
    bool readPoints(const std::string& filename, std::vector<Point3>& vOut);

    // ---- The roads to bundles
    /// Spacing, grid, smoothing and bundles of scan points. An empty cloud gives a warning and no grid. pGivenCalc: null, or
    /// a grid to copy in place of an estimate; it must hold all points with some cells to spare on each side.
    void prepareScanPoints(bool bLapTreatment, Calc* pGivenCalc);
    /// The same for a soup, by the rasteriser; vPoints becomes the points of the cells, which the bundles refer to. A soup
    /// of flat triangles only gives a grid and no bundles. featureAngle: as in Pixel::pixelTriangles. Throws KelBugException
    /// when the points aren't three a triangle.
    void preparePixelsAndFeatures(double featureAngle);

    // ---- Steps of prepareScanPoints
    /// Sets usedSpacing, and unless the caller gave a spacing detectedSpacing. Counts occupied blocks of a list sorted by
    /// interleaved code, no neighbour search: O(n log n), 8 bytes a point. Points that all but coincide give their extent,
    /// or 1.0 for an extent of 0.
    void estimateRes2();
    /// The grid from bounds and usedSpacing; moves the bounds out by the margin. Throws KelBugException for a spacing that
    /// isn't a positive number, for more than 2^21 cells along an axis, and for a spacing that the coordinates can't
    /// resolve.
    void createCalc();
    /// One point a cell from the smoothed nodes, through the cleaning, to bundles.
    void createBundles(Smooth* pSmooth);

    // ---- Cleaning on packed codes. Lists of cells with points are sorted by code, one pair a cell
    using VRCDPoint = std::vector<std::pair<RCD, Point3>>;
    /// vOut becomes one pair for each cell that stays: the occupied cells thinned to a sheet one cell thick, by packed
    /// code. With numGrowSteps above 0 the cells follow that the volume labelling proposes for the gaps and pruneZeros()
    /// accepts. O(n log n), and the field of the labelling for each step.
    void cleanPoints_RCD(std::vector<Point3>& vNodePoints, std::vector<std::pair<CCD, Point3>>& vOut);
    /// One point a cell, the first of its points in the order of vNodePoints: vRCDPoint sorted by code, vAllRCDOut its
    /// codes.
    void getRCD2Point(std::vector<Point3>& vNodePoints, VRCDPoint& vRCDPoint, VRCD& vAllRCDOut);
    /// Thins the cells vAllRCDOut, the codes of vRCDPoint. vRemainingRCDPoint becomes what stays, sorted.
    void orgPruning(VRCDPoint& vRCDPoint, VRCD& vAllRCDOut, VRCD& vRemainingRCDPoint);
    /// Dooms the rim cells that lie in a flat face, no cell of a corner around them, unless that creates a gap. Neighbours
    /// count as long as vRCDPoint has them, doomed or not.
    void postBorderPruning(RemoveDecider_RCD& decider, VRCDPoint& vRCDPoint);
    /// vAllRmg becomes the pairs whose codes are in vRemainingRCDPoint. Both inputs sorted. Linear.
    void copyRmg(VRCDPoint& vRCDPoint, VRCD& vRemainingRCDPoint, VRCDPoint& vAllRmg);
    /// Thins the proposed cells vRCD2ZeroPoint, none of which is in the old sheet vLocalArea and vLocalBorder, and appends
    /// those that stay to vAllRmg. Sorts vRCD2ZeroPoint, clears vLocalArea and vLocalBorder. O(n log n).
    void pruneZeros(VRCD& vLocalArea, VRCD& vLocalBorder, VRCDPoint& vRCD2ZeroPoint, VRCDPoint& vAllRmg);
    /// Appends the components of the proposed cells, each sorted, with the part of their rim cells that touch the rim of the
    /// old sheet; 1.0 for a component of at most 9 rim cells. O(n log n).
    void getZeroComponents(VRCD& vZeroRCD, VRCD& vLocalBorder, std::vector<std::pair<double, VRCD>>& vOut);
    /// How far the surface opens round the first point as its neighbours, the other points, show it: of the neighbour in the
    /// middle of the list (the last one aside), the largest angle to another one, in degrees. 0.0 for fewer than two
    /// neighbours; there must be a point. O(n).
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
    std::vector<Bundle*> vBundles;  ///< in the cloud's pool
    std::vector<std::pair<CCD, CCD>> vFeatures, vBorders;

private:
    struct Bounds {
        double min[3], max[3];
    };

    void dropNonFinitePoints();
    void flattenNonFiniteTriangles();
    double getLargestExtent() const;
    double detectByBlocks(double extent, ProgressStep progress) const;
    void checkMargin(const Bounds& ofPoints, double numCells) const;
    void makeBundles(const std::vector<std::pair<CCD, Point3>>& vCells);
    void addBundle(CCD ccd, Point3* pVtx);

    static constexpr double UNSET = std::numeric_limits<double>::max();
    Bounds bounds = {{UNSET, UNSET, UNSET}, {-UNSET, -UNSET, -UNSET}};
    std::vector<Point3*> vBundlePoints;  // in the cloud's pool
    TARN_TOOLS::SimplePool<Bundle> bundlePool;
    TARN_TOOLS::SimplePool<Point3> pointPool;
};

}  // namespace TARN_KEL
