// A hole closed by volume: the order of the steps, from the region around it to the cells of the missing surface.
#include "Hole.h"

#include <algorithm>
#include <iterator>

#include "CEdge.h"
#include "CMesh.h"
#include "Chain.h"
#include "RemoveDecider.h"
#include "drawings.h"
#include "fieldZeros.h"
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
    std::vector<CTriangle*> vAtChain;
    for (const VCD vcd : vCCD)
        pCMesh->getIncidentT(vcd, vAtChain);
    sBoundaryT = std::set<CTriangle*>(vAtChain.begin(), vAtChain.end());
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
    const Point p = toBox(*pCalc, vcd);
    if (isInBox(p)) return getAddress(p[0], p[1], p[2]);
    out() << "getAddressFromVCD, bad range, x=" << p[0] << ", y=" << p[1] << ", z=" << p[2] << std::endl;
    return -1;
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
    const bool bReliable = sUnrelT.count(pCT) == 0;
    for (const auto& [vcd, distance] : distancesToPlane(pCT, *pCMesh, pCalc)) {
        const int address = getAddressFromVCD(vcd);
        if (address >= 0) seed(address, distance, bReliable);
    }
}

void Hole::completeInitCbs() {
    const VCCD vCorners = cornersOf(vT, *pCMesh);
    VCCD vInside;
    std::set_difference(vCorners.begin(), vCorners.end(), sRimVCD.begin(), sRimVCD.end(), std::back_inserter(vInside));
    carryValues(outerEdges(vInside, *this, *pCalc), *this);
}

// ---- Zeros --------------------------------------------------------------------------------------------------------------

Hole::VCCDPoint Hole::getZeroCbs() {
    out() << fatBar("getZeroCbs");
    liftZeros();
    VRCDPoint vNotes;
    for (const Crossing& crossing : crossingsNear(*this, *this, *pCalc))
        for (const RCD rcd : cellsAround(crossing, *this, *pCalc))
            vNotes.emplace_back(rcd, crossing.zero);
    VCCDPoint vZeros = pointsOfCells(std::move(vNotes), *pCalc);

    VCCD vBlue = thirdCorners(vCE, *pCalc);
    vBlue.insert(vBlue.end(), vCCD.begin(), vCCD.end());
    oneInstance(vBlue);
    const VCCD vTriCCD = cornersOf(vT, *pCMesh);
    VCCD vSeen = vTriCCD, vRed;  // what the removal test sees, and what it may remove
    for (const auto& [ccd, point] : vZeros) {
        vSeen.push_back(ccd);
        if (!std::binary_search(vTriCCD.begin(), vTriCCD.end(), ccd)) vRed.push_back(ccd);
    }
    VCCD vExistingCCD = vRed;
    vExistingCCD.insert(vExistingCCD.end(), vBlue.begin(), vBlue.end());
    oneInstance(vExistingCCD);
    out() << "vExistingCCD.size()=" << vExistingCCD.size() << "\nvRed: " << vRed.size() << "\nvBlue: " << vBlue.size()
          << std::endl;
    oneInstance(vSeen);
    VCCD vKept, vDoomed;
    RemoveDecider(vSeen, pCalc).pruneStrong(vRed, vKept, vDoomed);
    out() << "vRemoveCandidates start: " << vRed.size() << "\nDoomed ones: " << vDoomed.size()
          << "\nvRemoveCandidates final: " << vKept.size() << std::endl;
    vRed = std::move(vKept);
    drawOnTheWay([&] { drawCells(name + "prunedCandidates.list", pCalc, vRed, vBlue); });
    std::sort(vRed.begin(), vRed.end());
    std::erase_if(vZeros, [&](const auto& zero) { return !std::binary_search(vRed.begin(), vRed.end(), zero.first); });
    return vZeros;
}

}  // namespace TARN_KEL
