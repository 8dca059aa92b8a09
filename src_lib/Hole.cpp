// A hole closed by volume: the order of the steps, from the region around it to the triangles of the missing surface.
#include "Hole.h"

#include <algorithm>

#include "CEdge.h"
#include "CMesh.h"
#include "Chain.h"
#include "cubeTriangles.h"
#include "drawings.h"
#include "holeTriangles.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr unsigned long long BOX_MARGIN = 7;  // cells around the chain
constexpr int MIN_GROW_STEPS = 10;

std::ostream& operator<<(std::ostream& out, const CoordinateRange& range) {
    return out << range.low << " - " << range.high;
}

/// Both sides grow towards each other along the middle one of the three extents, each over half of it.
int ringsAcross(const std::array<CoordinateRange, 3>& ranges) {
    std::array<unsigned long long, 3> spans{};
    std::transform(ranges.begin(), ranges.end(), spans.begin(), [](const auto& range) { return range.high - range.low; });
    std::sort(spans.begin(), spans.end());
    return std::max(MIN_GROW_STEPS, static_cast<int>(spans[1] / 2 + 3));
}

std::array<CoordinateRange, 3> widened(std::array<CoordinateRange, 3> ranges) {
    for (auto& [low, high] : ranges) {
        low = low > BOX_MARGIN ? low - BOX_MARGIN : 0;
        high += BOX_MARGIN;
    }
    return ranges;
}

}  // namespace

std::atomic<int> Hole::seqNum{0};

Hole::Hole(CMesh* pMesh, Chain* pBorder)
    : label(seqNum++),
      name(globalPrefix() + "hole_" + toString(label) + "_"),
      pCMesh(pMesh),
      pCalc(pMesh->getCalc()),
      pChain(pBorder),
      casx(TM_THIN, false) {
    sideLen = static_cast<float>(pCalc->getSideLen());
}

void Hole::print() const {
    out() << "\nHole label: " << label << "  numCE: " << vCE.size() << std::endl;
}

void Hole::run(std::vector<std::pair<VCD, Point3>>&) {
    out() << "Hole::run() does not use vCCD2Zero currently" << std::endl;
    makeField();
    extractStrategy();
    getZeroCbs();
    deliberateExit(KEL_PLACE);
}

void Hole::makeField(int ringFactor) {
    ASSEX(ringFactor >= 1);
    setRanges();
    numGrowSteps *= ringFactor;
    determineTriangles();
    setBoundaryAndUnrelT();
    drawOnTheWay([this] { show(name + "holeMeshR.list", VT_REAL); });
    initializeFirstRow();
    inflate();
}

// ---- Region -------------------------------------------------------------------------------------------------------------

void Hole::setRanges() {
    vCE.clear();
    pChain->getEdges(vCE);
    vCCD = endsOf(vCE);
    const std::array<CoordinateRange, 3> ranges = rangesOf(vCCD, *pCalc), extended = widened(ranges);
    numGrowSteps = ringsAcross(ranges);
    xLow = ranges[0].low, yLow = ranges[1].low, zLow = ranges[2].low;
    xHigh = ranges[0].high, yHigh = ranges[1].high, zHigh = ranges[2].high;
    out() << "UNSHIFTED HOLE RANGE: \ndata x: " << ranges[0] << "\ndata y: " << ranges[1] << "\ndata z: " << ranges[2]
          << "\nUNSHIFTED EXTENDED RANGE: \nlo/hi x: " << extended[0] << "\nlo/hi y: " << extended[1]
          << "\nlo/hi z: " << extended[2] << std::endl;
    static_cast<Box&>(*this) = Box(extended);
    out() << "MATRIX RANGE: \nrgx: " << rgx << "\nrgy: " << rgy << "\nrgz: " << rgz << "\narrSiz=" << arrSiz
          << "\nsetRanges() done" << std::endl;
}

void Hole::determineTriangles() {
    vT = trianglesInside(*this, *pCalc, vCE);
    sRimVCD = cornersAtRim(vT);
}

void Hole::setBoundaryAndUnrelT() {
    sBoundaryT = trianglesAt(vCCD, *pCMesh);
    sUnrelT = creasedAmong(sBoundaryT, *pCMesh);
}

bool Hole::inRange(const CTriangle* pCT) const {
    return isInside(*this, *pCalc, *pCT);
}

void Hole::getNormedIntFromVCD(VCD vcd, int& x, int& y, int& z) const {
    const Point p = toBox(*pCalc, vcd);
    x = p[0];
    y = p[1];
    z = p[2];
    ASSEX(x<rgx);
    ASSEX(y<rgy);
    ASSEX(z<rgz);
}

int Hole::getAddressFromVCD(VCD vcd) const {
    return getAddress(*pCalc, vcd);
}

// ---- First values -------------------------------------------------------------------------------------------------------

void Hole::initializeFirstRow() {
    pArray = Matrix(arrSiz);
    vAddr.clear();
    for (CTriangle* pCT : vT)
        initializeFirstRow_T(pCT);
    drawOnTheWay([this] { showInit(name + "init.list"); });
    completeInitCbs();
    drawOnTheWay([this] { showInit(name + "completed.list"); });
}

void Hole::initializeFirstRow_T(CTriangle* pCT) {
    seedByPlane(pCT, *pCMesh, pCalc, sUnrelT.count(pCT) == 0, *this);
}

void Hole::completeInitCbs() {
    carryValues(outerEdges(innerCorners(*this, *pCMesh), *this, *pCalc), *this);
}

// ---- Cells and triangles ------------------------------------------------------------------------------------------------

Hole::VCCDPoint Hole::getZeroCbs() {
    out() << fatBar("getZeroCbs");
    liftZeros();
    return thinBesideRegion(zeroCells(*this, *this, *pCalc), *this, *pCMesh, name);
}

void Hole::extractAndCleanHole(VCCD& vHoleCCDs, VCCDPoint& vCCDPoints) {
    out() << fatBar("extractAndCleanHole");
    liftZeros();
    ChainedSheet sheet = thinBetweenChain(zeroCellsWithNotes(*this, *this, *pCalc, name), *this, *this, *pCMesh, name);
    vCCD = std::move(sheet.vChain);
    vCCDPoints = std::move(sheet.cells);
    vHoleCCDs.clear();
    for (const auto& [ccd, point] : vCCDPoints)
        vHoleCCDs.push_back(ccd);
}

void Hole::grow() {
    VCCD vHoleCCDs;
    VCCDPoint vCCDPoints;
    extractAndCleanHole(vHoleCCDs, vCCDPoints);
    VCCD vAmbiguousT = growSheet(*pCMesh, casx, {vCCD, vCCDPoints});
    solveAmbiguousT(vAmbiguousT);
}

bool Hole::shareAnEntry(VCCD a, VCCD b) {
    return TARN_KEL::shareAnEntry(std::move(a), std::move(b));
}

int Hole::getConfig(VCD key, VCCD& vCells) {
    return configOfCube(key, vCells);
}

void Hole::solveAmbiguousT(VCCD& vAmbiguousT) {
    createTrianglesOfFlatCubes(pCMesh, vAmbiguousT);
    drawOnTheWay([this] {
        pCMesh->debugShow(name + "finalR.list", VT_REAL, CGREEN);
        pCMesh->debugShow(name + "finalC.list", VT_COARSE, CGREEN);
    });
}

void Hole::getNTriangleRows(int n, std::vector<CTriangle*>& vOut) {
    VVCD vFront;
    pChain->getVCD(vFront);
    const std::vector<CTriangle*> vRows = triangleRows(*pCMesh, std::move(vFront), n);
    vOut.insert(vOut.end(), vRows.begin(), vRows.end());
    oneInstanceMT(vOut);
}

}  // namespace TARN_KEL
