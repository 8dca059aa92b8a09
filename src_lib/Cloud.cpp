// The steps of the point stages in their order, from points or a soup to bundles, and the fields that hold their results.
#include "Cloud.h"

#include <chrono>
#include <cmath>
#include <utility>

#include "Progress.h"
#include "Smooth.h"
#include "bin_io.h"
#include "cleanCells.h"
#include "codes.h"
#include "fileFormats.h"
#include "nodeCells.h"
#include "processMemory.h"
#include "runGrid.h"
#include "sortMT.h"
#include "soupCells.h"
#include "stl_io.h"
#include "tools.h"
#include "xyz_io.h"

namespace TARN_KEL {

namespace {

ProgressStep bundleSteps() {
    return {"CL_creb", 6};
}

std::vector<Point3> pointsOfNodes(Smooth& smooth, const Calc& grid, const ProgressStep& progress) {
    progress.advance();
    const auto vCellNode = oneNodePerCell(smooth.getNodesRef(), grid);  // codes, sorting and choice in one
    progress.advance(2);
    std::vector<Point3> vNodePoints = deliveredPoints(vCellNode, grid);
    progress.advance();
    return vNodePoints;
}

/// cleanCells() with interleaved codes. pCalc: null is allowed without points.
std::vector<std::pair<CCD, Point3>> cleanedCells(const std::vector<Point3>& vNodePoints, const Calc* pCalc,
                                                 const std::optional<GapClosing>& gapClosing) {
    std::vector<std::pair<CCD, Point3>> vOut;
    if (vNodePoints.empty()) return vOut;
    ASSEX(pCalc!=NULL);
    const CellPoints cells = cleanCells(vNodePoints, *pCalc, gapClosing);
    transform_MT(cells, vOut, [pCalc](const std::pair<RCD, Point3>& cell) {
        return std::make_pair(pCalc->rcd2ccd(cell.first), cell.second);
    });
    return vOut;
}

}  // namespace

Cloud::Cloud(const std::string& cloudName, double absoluteSpacing, double factor, bool bSoup, int growSteps)
    : numGrowSteps(growSteps),
      name(cloudName),
      spacingAbs(std::isfinite(absoluteSpacing) ? absoluteSpacing : -1.0),
      spacingFactor(factor),
      bMelt(bSoup) {}

Cloud::Cloud(const std::string& cloudName, const RunInput& input)
    : Cloud(cloudName, input.spacing.value_or(-1.0), input.spacingFactor, input.bSoup,
            input.gapClosing ? input.gapClosing->numSteps : -1) {}

Cloud::~Cloud() {
    delete pCalc;
}

// ---- Input --------------------------------------------------------------------------------------------------------------

void Cloud::take(std::vector<Point3> vInput) {
    vPoints = std::move(vInput);
    if (bMelt)
        flattenNonFiniteTriangles(vPoints);
    else if (const std::size_t numBad = dropNonFinitePoints(vPoints); numBad > 0)
        warning(KEL_PLACE, "Points with coordinates that aren't finite, left out: " + toString(numBad));
    numInputPoints = vPoints.size();
    if (!vPoints.empty()) setBounds(vPoints);
}

void Cloud::setBounds(std::vector<Point3>& vOfPoints) {
    bounds = boundsOf(vOfPoints);
}

bool Cloud::load() {
    const auto start = std::chrono::system_clock::now();
    const bool bRead = readPoints(name, vPoints);
    const auto duration = std::chrono::system_clock::now() - start;
    inputIOTime = static_cast<double>(std::chrono::duration_cast<std::chrono::nanoseconds>(duration).count()) / 1e9;
    if (!bRead) vPoints.clear();  // what came before the fault is no cloud
    take(std::move(vPoints));
    return bRead;
}

bool Cloud::readPoints(const std::string& filename, std::vector<Point3>& vOut) {
    bool bRead = false;
    switch (formatByName(filename).type) {
    case FT_STL:
        if (!bMelt) {
            out() << "\n Input file is of type STL, use --fmelt (-m) instead" << std::endl;
            ASSEX(bMelt);
        }
        if (!(spacingAbs > 0)) {
            out() << "\nFor an STL provide also the -a option please\n" << std::endl;
            ASSEX(spacingAbs>0);
        }
        bRead = readStl(filename, false, vOut);
        break;
    case FT_PLY:
        bRead = PLY::readPly(filename, true, vOut);
        break;
    case FT_ASCII:
        bRead = readXyz(filename, vOut);
        break;
    case FT_BIN:
        bRead = readBin(filename, vOut, nullptr);
        break;
    default:
        out() << "Unknown file format" << std::endl;
    }
    if (!bRead)
        out() << "void Cloud::readPoints(), Error reading file: " << filename << std::endl;
    else if (vOut.empty())
        out() << "void Cloud::readPoints(), Empty file: " << filename << std::endl;
    else
        numInputPoints = vOut.size();
    return bRead;
}

// ---- The roads to bundles -----------------------------------------------------------------------------------------------

std::optional<double> Cloud::prepare(const RunInput& input) {
    if (vPoints.empty()) {
        warning(KEL_PLACE, "Nothing to do for cloud " + name);
        return std::nullopt;
    }
    const std::optional<double> detected = chooseGrid(input);
    if (input.bSoup)
        makeSoupBundles(input);
    else
        makeScanBundles(input);
    return detected;
}

void Cloud::prepareScanPoints(bool bLapTreatment, Calc* pGivenCalc) {
    ASSEX(!bMelt);
    RunInput input = ownInput();
    input.bLapTreatment = bLapTreatment;
    if (pGivenCalc != nullptr) input.grid = *pGivenCalc;
    prepare(input);
}

void Cloud::preparePixelsAndFeatures(double featureAngle) {
    ASSEX(bMelt);
    RunInput input = ownInput();
    input.featureAngle = featureAngle;
    prepare(input);
}

RunInput Cloud::ownInput() const {
    return runInputOf(spacingAbs, spacingFactor, bMelt, numGrowSteps);
}

void Cloud::makeScanBundles(const RunInput& input) {
    std::vector<Point3> vNodePoints;
    ProgressStep progress;
    {
        Smooth smooth(vPoints, pCalc);
        smooth.run(input.bLapTreatment);
        progress = bundleSteps();
        vNodePoints = pointsOfNodes(smooth, *pCalc, progress);
    }
    freeMemory(vPoints);
    createBundlesOf(vNodePoints, input.gapClosing, progress);
}

void Cloud::makeSoupBundles(const RunInput& input) {
    SoupCells cells = rasteriseSoup(vPoints, *pCalc, {input.featureAngle, input.bCompleteSoup, input.bBriefSoup});
    soupFigures = cells.figures;
    vPoints = std::move(cells.vPoints);
    vFeatures = std::move(cells.vFeatures);
    vBorders = std::move(cells.vBorders);
    vBundles = bundleStore.makeBundlesAt(vPoints, *pCalc);
}

std::optional<double> Cloud::chooseGrid(const RunInput& input) {
    if (input.grid && !input.bSoup) {
        setGrid(*input.grid);
        usedSpacing = pCalc->getSideLen();
        return std::nullopt;
    }
    const std::optional<double> detected = takeSpacing(input);
    createCalc();
    return detected;
}

std::optional<double> Cloud::takeSpacing(const RunInput& input) {
    const RunSpacing spacing = chooseSpacing(vPoints, bounds, numInputPoints, input);
    usedSpacing = spacing.used;
    if (spacing.detected) detectedSpacing = *spacing.detected;
    return spacing.detected;
}

void Cloud::estimateRes2() {
    takeSpacing(ownInput());
}

void Cloud::createCalc() {
    setGrid(makeGrid(bounds, usedSpacing));
    bounds = bounds.widened(usedSpacing * MARGIN_CELLS);
}

void Cloud::setGrid(const Calc& grid) {
    delete std::exchange(pCalc, new Calc(grid));
}

void Cloud::createBundles(Smooth* pSmooth) {
    const ProgressStep progress = bundleSteps();
    createBundlesOf(pointsOfNodes(*pSmooth, *pCalc, progress), gapClosingOf(numGrowSteps), progress);
}

void Cloud::createBundlesOf(const std::vector<Point3>& vNodePoints, const std::optional<GapClosing>& gapClosing,
                            const ProgressStep& progress) {
    const auto vCells = cleanedCells(vNodePoints, pCalc, gapClosing);
    progress.advance();
    vBundles = bundleStore.makeBundles(vCells);
    progress.advance();
    progress.finish();
}

// ---- The cleaning -------------------------------------------------------------------------------------------------------

void Cloud::cleanPoints_RCD(std::vector<Point3>& vNodePoints, std::vector<std::pair<CCD, Point3>>& vOut) {
    vOut = cleanedCells(vNodePoints, pCalc, gapClosingOf(numGrowSteps));
}

void Cloud::getRCD2Point(std::vector<Point3>& vNodePoints, VRCDPoint& vRCDPoint, VRCD& vAllRCDOut) {
    vRCDPoint = onePointPerCell(vNodePoints, *pCalc);
    vAllRCDOut = codesOf(vRCDPoint);
}

void Cloud::orgPruning(VRCDPoint& vRCDPoint, VRCD& vAllRCDOut, VRCD& vRemainingRCDPoint) {
    sortMT(vAllRCDOut.begin(), vAllRCDOut.end());
    vRemainingRCDPoint = thinToSheet(vAllRCDOut, vRCDPoint, *pCalc);
}

void Cloud::postBorderPruning(RemoveDecider_RCD& decider, VRCDPoint& vRCDPoint) {
    doomFlatRims(decider, vRCDPoint);
}

void Cloud::copyRmg(VRCDPoint& vRCDPoint, VRCD& vRemainingRCDPoint, VRCDPoint& vAllRmg) {
    vAllRmg = selectCells(vRCDPoint, vRemainingRCDPoint);
}

void Cloud::pruneZeros(VRCD& vLocalArea, VRCD& vLocalBorder, VRCDPoint& vRCD2ZeroPoint, VRCDPoint& vAllRmg) {
    oneInstanceMT(vRCD2ZeroPoint);
    const CellPoints accepted = acceptProposed({vLocalArea, vLocalBorder}, vRCD2ZeroPoint, *pCalc);
    vAllRmg.insert(vAllRmg.end(), accepted.begin(), accepted.end());
    vLocalArea.clear();
    vLocalBorder.clear();
}

void Cloud::getZeroComponents(VRCD& vZeroRCD, VRCD& vLocalBorder, std::vector<std::pair<double, VRCD>>& vOut) {
    for (ProposedComponent& piece : scoreComponents(vZeroRCD, vLocalBorder, *pCalc))
        vOut.emplace_back(piece.score, std::move(piece.vCells));
}

double Cloud::getMedianWedge(std::vector<Point3>& vAxPlusNeigs) {
    return medianWedge(vAxPlusNeigs);
}

// ---- Results ------------------------------------------------------------------------------------------------------------

void Cloud::getBundles3(std::vector<std::pair<CCD, Bundle*>>& vOut) {
    vOut.reserve(vOut.size() + vBundles.size());
    for (Bundle* pBundle : vBundles)
        vOut.emplace_back(pBundle->ccd, pBundle);
}

void Cloud::getOrderedBundles(int dx, int dy, int dz, int level, std::vector<std::pair<CCD, Bundle*>>& vOut) {
    vOut.clear();
    getBundles3(vOut);
    const std::pair<int, Axis> aMove[] = {{dx, Axis::X}, {dy, Axis::Y}, {dz, Axis::Z}};
    for (auto& [key, pBundle] : vOut) {
        for (const auto& [numCells, axis] : aMove)
            if (numCells != 0) key = pCalc->getOffVal(key, numCells, triBit(axis));
        key = Morton(key).block(level).code();
    }
    sortMT(vOut.begin(), vOut.end());
}

void Cloud::getFeatures(std::vector<std::pair<CCD, CCD>>& vOut) const {
    vOut.insert(vOut.end(), vFeatures.begin(), vFeatures.end());
}

void Cloud::getBorders(std::vector<std::pair<CCD, CCD>>& vOut) const {
    vOut.insert(vOut.end(), vBorders.begin(), vBorders.end());
}

void Cloud::printStatistics() const {
    out() << "\nCloud::printStatistics( " << name << " )\n" << std::string(60, '-') << '\n';
    out() << "Input points: " << numInputPoints << '\n';
    if (spacingAbs > 0.0)
        out() << "Spacing is user defined: " << spacingAbs << std::endl;
    else
        out() << "\nSpacing factor:     " << spacingFactor << "\nDetected spacing:       " << detectedSpacing << std::endl;
}

}  // namespace TARN_KEL
