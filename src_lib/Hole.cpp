// The region round a hole and the first values of its field.
//
// The triangles that a walk from the chain reaches inside the box take part. A triangle stands in the dual cubes round one
// or two lattice points. Two of them lie on either side of it; one alone lies in it or next to it, and the two points a step
// along the normal of the grid join in. Each of these points gets its distance to the plane of the triangle:
//
//      +1.2  +1.0  +0.9    0                  the surface, -----, between two layers of lattice points. Where no triangle
//      ---------------- chain      gap        lies round a corner of an old cell, the value of the next corner is carried
//      -0.1  -0.2  -0.3                       on to it, so that the cells of the surface have values all round.
//
// Triangles at the chain that meet at a crease are trusted less: what they seed is fixed, too, but doesn't spread.
#include "Hole.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <unordered_map>
#include <unordered_set>

#include "CEdge.h"
#include "CMesh.h"
#include "Chain.h"
#include "drawings.h"
#include "freeFunctions.h"
#include "signedField.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr unsigned long long BOX_MARGIN = 7;  // cells round the chain
constexpr int MIN_GROW_STEPS = 10;
constexpr double MAX_SMOOTH_ANGLE = 10.0;  // degrees between neighbours that aren't at a crease

struct Range {
    unsigned long long low = std::numeric_limits<unsigned long long>::max(), high = 0;

    void take(unsigned long long coordinate) {
        low = std::min(low, coordinate);
        high = std::max(high, coordinate);
    }
};

std::ostream& operator<<(std::ostream& out, const Range& range) {
    return out << range.low << " - " << range.high;
}

/// -1, 0 or 1 on each axis: where b lies as seen from a.
std::array<int, 3> signs(VCD a, VCD b) {
    const auto compare = [a, b](CCD axisBits) {
        return ((b & axisBits) > (a & axisBits)) - ((b & axisBits) < (a & axisBits));
    };
    return {compare(CCD_X_BITS), compare(CCD_Y_BITS), compare(CCD_Z_BITS)};
}

}  // namespace

std::atomic<int> Hole::seqNum{0};

Hole::Hole(CMesh* pMesh, Chain* pBorder)
    : label(seqNum++),
      name(globalPrefix() + "hole_" + toString(label) + "_"),
      pCMesh(pMesh),
      pCalc(pMesh->getCalc()),
      pChain(pBorder),
      sideLen(static_cast<float>(pCalc->getSideLen())),
      casx(TM_THIN, false) {}

void Hole::print() const {
    out() << "\nHole label: " << label << "  numCE: " << vCE.size() << std::endl;
}

// ---- Box ----------------------------------------------------------------------------------------------------------------

void Hole::setRanges() {
    takeChain();
    std::array<Range, 3> ranges, extended;
    for (const CCD ccd : vCCD) {
        unsigned long long x, y, z;
        pCalc->extractIntCCD(ccd, x, y, z);
        ranges[0].take(x);
        ranges[1].take(y);
        ranges[2].take(z);
    }
    std::array<unsigned long long, 3> spans{};
    for (std::size_t i = 0; i < 3; ++i) {
        const auto [low, high] = ranges[i];
        spans[i] = high - low;
        extended[i] = {low > BOX_MARGIN ? low - BOX_MARGIN : 0, high + BOX_MARGIN};
    }
    // The sides meet over the shorter extent of the gap, each after half of the way.
    std::sort(spans.begin(), spans.end());
    numGrowSteps = std::max(MIN_GROW_STEPS, static_cast<int>(spans[1] / 2 + 3));
    xLow = ranges[0].low, yLow = ranges[1].low, zLow = ranges[2].low;
    xHigh = ranges[0].high, yHigh = ranges[1].high, zHigh = ranges[2].high;
    xLowExt = extended[0].low, yLowExt = extended[1].low, zLowExt = extended[2].low;
    xHighExt = extended[0].high, yHighExt = extended[1].high, zHighExt = extended[2].high;
    out() << "UNSHIFTED HOLE RANGE: \ndata x: " << ranges[0] << "\ndata y: " << ranges[1] << "\ndata z: " << ranges[2]
          << "\nUNSHIFTED EXTENDED RANGE: \nlo/hi x: " << extended[0] << "\nlo/hi y: " << extended[1]
          << "\nlo/hi z: " << extended[2] << std::endl;
    sizeMatrix();
}

void Hole::takeChain() {
    vCE.clear();
    pChain->getEdges(vCE);
    vCCD.clear();
    for (const CEdge* pCE : vCE)
        vCCD.insert(vCCD.end(), {pCE->v0, pCE->v1});
    ASSEX(!vCCD.empty());
    oneInstanceMT(vCCD);
}

void Hole::sizeMatrix() {
    const unsigned long long numX = xHighExt + 1 - xLowExt, numY = yHighExt + 1 - yLowExt, numZ = zHighExt + 1 - zLowExt;
    constexpr unsigned long long MAX_ENTRIES = std::numeric_limits<int>::max();  // addresses are ints
    const unsigned long long numEntries = numX * numY * numZ;  // 64 bits do: no side has much more than 2^21 points
    ASSEX(numEntries<=MAX_ENTRIES);
    rgx = static_cast<int>(numX);
    rgy = static_cast<int>(numY);
    rgz = static_cast<int>(numZ);
    rgxy = rgx * rgy;
    arrSiz = static_cast<int>(numEntries);
    out() << "MATRIX RANGE: \nrgx: " << rgx << "\nrgy: " << rgy << "\nrgz: " << rgz << "\narrSiz=" << arrSiz
          << "\nsetRanges() done" << std::endl;
}

Hole::BoxPoint Hole::toBox(VCD vcd) const {
    unsigned long long x, y, z;
    pCalc->extractIntCCD(vcd, x, y, z);
    const auto fromLow = [](unsigned long long coordinate, unsigned long long low) {
        return static_cast<int>(static_cast<long long>(coordinate) - static_cast<long long>(low));
    };
    return {fromLow(x, xLowExt), fromLow(y, yLowExt), fromLow(z, zLowExt)};
}

Hole::BoxPoint Hole::toBox(int address) const {
    return {address % rgx, address / rgx % rgy, address / rgxy};
}

bool Hole::isInBox(const BoxPoint& p) const {
    return p[0] >= 0 && p[0] < rgx && p[1] >= 0 && p[1] < rgy && p[2] >= 0 && p[2] < rgz;
}

bool Hole::inRange(const CTriangle* pCT) const {
    return std::ranges::all_of(std::array{pCT->c0, pCT->c1, pCT->c2}, [this](VCD vcd) {
        const auto [x, y, z] = toBox(vcd);
        return x > 0 && x < rgx - 1 && y > 0 && y < rgy - 1 && z > 0 && z < rgz - 1;
    });
}

bool Hole::isValidRCD(RCD rcd) const {
    const unsigned long long x = getX_RCD(rcd), y = getY_RCD(rcd), z = getZ_RCD(rcd);
    if (x >= xLowExt && x <= xHighExt && y >= yLowExt && y <= yHighExt && z >= zLowExt && z <= zHighExt) return true;
    out() << "\n WRONG RCD: " << rcd << " rcdx=" << x << " rcdy=" << y << " rcdz=" << z << " bounds: " << xLowExt << " - "
          << xHighExt << ", " << yLowExt << " - " << yHighExt << ", " << zLowExt << " - " << zHighExt << std::endl;
    return false;
}

void Hole::getNormedIntFromVCD(VCD vcd, int& x, int& y, int& z) const {
    const BoxPoint p = toBox(vcd);
    x = p[0];
    y = p[1];
    z = p[2];
    ASSEX(x<rgx);
    ASSEX(y<rgy);
    ASSEX(z<rgz);
}

int Hole::getAddress(int x, int y, int z) const {
    const long long address = x + static_cast<long long>(y) * rgx + static_cast<long long>(z) * rgxy;
    ASSEX(address<arrSiz);
    ASSEX(isInBox({x,y,z}));
    return static_cast<int>(address);
}

int Hole::getAddress(RCD rcd) const {
    ASSEX(isValidRCD(rcd));
    return getAddress(static_cast<int>(getX_RCD(rcd) - xLowExt), static_cast<int>(getY_RCD(rcd) - yLowExt),
                      static_cast<int>(getZ_RCD(rcd) - zLowExt));
}

int Hole::getAddressFromVCD(VCD vcd) const {
    const BoxPoint p = toBox(vcd);
    if (isInBox(p)) return getAddress(p[0], p[1], p[2]);
    out() << "getAddressFromVCD, bad range, x=" << p[0] << ", y=" << p[1] << ", z=" << p[2] << std::endl;
    return -1;
}

RCD Hole::addressToRCD(int address) const {
    const auto [x, y, z] = toBox(address);
    ASSEX(address==getAddress(x,y,z));
    return packRCD(xLowExt + static_cast<unsigned>(x), yLowExt + static_cast<unsigned>(y),
                   zLowExt + static_cast<unsigned>(z));
}

// ---- Triangles that take part -------------------------------------------------------------------------------------------

void Hole::determineTriangles() {
    vT.clear();
    for (const CEdge* pCE : vCE)
        vT.insert(vT.end(), pCE->vCT.begin(), pCE->vCT.end());
    oneInstance(vT);
    std::unordered_set<const CTriangle*> sReached(vT.begin(), vT.end());
    for (std::size_t i = 0; i < vT.size(); ++i)
        for (int edge = 0; edge < 3; ++edge) {
            CTriangle* pNeig = vT[i]->getCEdge(edge)->getUniqueOtherTriangle(vT[i]);
            if (pNeig != nullptr && inRange(pNeig) && sReached.insert(pNeig).second) vT.push_back(pNeig);
        }
    std::sort(vT.begin(), vT.end());

    std::vector<CEdge*> vEdges, vRim;
    vEdges.reserve(3 * vT.size());
    for (const CTriangle* pCT : vT)
        vEdges.insert(vEdges.end(), {pCT->pCE01, pCT->pCE12, pCT->pCE02});
    sortMT(vEdges.begin(), vEdges.end());
    filterN(vEdges, 1, vRim);
    sRimVCD.clear();
    for (const CEdge* pCE : vRim)
        for (const CTriangle* pCT : pCE->vCT)
            sRimVCD.insert({pCT->c0, pCT->c1, pCT->c2});
}

void Hole::setBoundaryAndUnrelT() {
    std::vector<CTriangle*> vAtChain;
    for (const VCD vcd : vCCD)
        pCMesh->getIncidentT(vcd, vAtChain);
    sBoundaryT = std::set<CTriangle*>(vAtChain.begin(), vAtChain.end());
    sUnrelT.clear();
    for (CTriangle* pCT : sBoundaryT) {
        bool ok = false, okNeig = false;
        const Vector3 normal = pCT->getRealNNV(pCMesh, ok);
        bool bUnreliable = !ok;
        for (int edge = 0; edge < 3 && ok; ++edge) {
            CTriangle* pNeig = pCT->getCEdge(edge)->getUniqueOtherTriangle(pCT);
            if (pNeig == nullptr) continue;
            const Vector3 normalNeig = pNeig->getRealNNV(pCMesh, okNeig);
            if (okNeig && getAngleDegree(normal, normalNeig) <= MAX_SMOOTH_ANGLE) continue;
            sUnrelT.insert(pNeig);
            bUnreliable = true;
            if (!okNeig) break;
        }
        if (bUnreliable) sUnrelT.insert(pCT);
    }
}

VCCD Hole::cornersOfRegion() const {
    VCCD vCorners;
    pCMesh->extractAliveVCD(vT, vCorners);
    oneInstanceOfNumbers(vCorners);
    return vCorners;
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

int getGeneratingVCDs(Calc* pCalc, CTriangle* pCT, VCD& a, VCD& b) {
    constexpr std::size_t NUM_CUBES = 8;  // that a cell is in
    VVCD vKeys(3 * NUM_CUBES), vCommon;
    for (std::size_t i = 0; i < 3; ++i) {
        vKeys[i * NUM_CUBES] = pCT->getCorner(static_cast<int>(i));
        pCalc->completeArrayPlus(&vKeys[i * NUM_CUBES]);
    }
    std::sort(vKeys.begin(), vKeys.end());
    filterN(vKeys, 3, vCommon);
    ASSEX(vCommon.size()<=2);
    if (!vCommon.empty()) a = vCommon.front();
    if (vCommon.size() == 2) b = vCommon.back();
    return static_cast<int>(vCommon.size());
}

void singleToDualGenerators(Calc* pCalc, CTriangle* pCT, VCD gen, VCD& a, VCD& b) {
    const auto u = signs(pCT->c0, pCT->c1), w = signs(pCT->c0, pCT->c2);
    constexpr std::array<CCD, 3> axTriBits = {4, 2, 1};
    a = b = 0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::size_t next = (axis + 1) % 3, last = (axis + 2) % 3;
        const auto step = static_cast<unsigned long long>(static_cast<long long>(u[next] * w[last] - u[last] * w[next]));
        const CCD coordinate = pCalc->sparseToNumber(gen, axTriBits[axis]);
        // A single key has cells on both sides along every axis, so a step stays on the grid.
        a |= pCalc->numberToSparse(coordinate - step, axTriBits[axis]);
        b |= pCalc->numberToSparse(coordinate + step, axTriBits[axis]);
    }
}

void pushAddress(int a, int b, std::vector<std::pair<int, int>>& v) {
    if (a >= 0 && b >= 0) v.emplace_back(std::min(a, b), std::max(a, b));
}

void Hole::initializeFirstRow_T(CTriangle* pCT) {
    bool ok = false;
    const Plane plane = pCT->getRealPlane(pCMesh, ok);
    if (!ok) return;
    VCD a = 0, b = 0;
    const int numGen = getGeneratingVCDs(pCalc, pCT, a, b);
    if (numGen == 0) return;
    ASSEX(numGen==1 || numGen==2);
    VVCD vPoints = {a};
    if (numGen == 1) singleToDualGenerators(pCalc, pCT, vPoints.front(), a, b);
    if (numGen == 1) vPoints.push_back(a);
    vPoints.push_back(b);
    const bool bReliable = sUnrelT.count(pCT) == 0;
    for (const VCD vcd : vPoints) {
        const int address = getAddressFromVCD(vcd);
        if (address >= 0) seed(address, plane.signedDistance(pCalc->getRefPoint(vcd)), bReliable);
    }
}

void Hole::seed(int address, double distance, bool bReliable) {
    MatrixEntry& entry = pArray[address];
    if (entry.weight != (bReliable ? WEIGHT_REL_LOW : WEIGHT_REL)) entry.weight = bReliable ? WEIGHT_REL : WEIGHT_REL_LOW;
    if (entry.val == FLT_UNDEF) {
        vAddr.push_back(address);
        entry.val = static_cast<float>(distance);
    } else if (std::fabs(static_cast<double>(entry.val)) > std::fabs(distance)) {
        entry.val = static_cast<float>(distance);
    }
}

// The lattice edges of the cells inside the region that are in one cell only.
std::vector<std::pair<int, int>> Hole::outerEdges() const {
    constexpr std::array<std::pair<unsigned, unsigned>, 12> EDGES = {
        {{0, 1}, {1, 3}, {3, 2}, {2, 0}, {4, 5}, {5, 7}, {7, 6}, {6, 4}, {0, 4}, {1, 5}, {3, 7}, {2, 6}}};
    const VCCD vCorners = cornersOfRegion();
    VCCD vCells;
    std::set_difference(vCorners.begin(), vCorners.end(), sRimVCD.begin(), sRimVCD.end(), std::back_inserter(vCells));
    std::vector<std::pair<int, int>> vEdgeAddressPairs, vUniqueEdges;
    for (const CCD ccd : vCells) {
        const BoxPoint low = toBox(ccd);
        if (!isInBox(low)) continue;
        std::array<int, 8> addresses{};
        for (int i = 0; i < 8; ++i) {
            const BoxPoint p = {low[0] + (i & 1), low[1] + (i >> 1 & 1), low[2] + (i >> 2)};
            addresses[static_cast<std::size_t>(i)] = isInBox(p) ? getAddress(p[0], p[1], p[2]) : -1;
        }
        for (const auto& [from, to] : EDGES)
            pushAddress(addresses[from], addresses[to], vEdgeAddressPairs);
    }
    sortMT(vEdgeAddressPairs.begin(), vEdgeAddressPairs.end());
    filterN(vEdgeAddressPairs, 1, vUniqueEdges);
    out() << "vEdgeAddressPairs: " << vEdgeAddressPairs.size() << "\nvUniqueEdges: " << vUniqueEdges.size() << std::endl;
    return vUniqueEdges;
}

void Hole::completeInitCbs() {
    const std::vector<std::pair<int, int>> vUniqueEdges = outerEdges();
    std::unordered_map<int, float> mCarried;
    const auto carry = [&](int source, int target) {
        const float val = pArray[source].val;
        if (val == FLT_UNDEF || pArray[target].val != FLT_UNDEF) return;
        const auto [it, bNew] = mCarried.try_emplace(target, val);
        if (!bNew && haveOppositeSigns(it->second, val)) it->second = FLT_UNDEF;  // two sides meet here
    };
    for (const auto& [a0, a1] : vUniqueEdges) {
        ASSEX(a0<a1);
        carry(a1, a0);
    }
    for (const auto& [a0, a1] : vUniqueEdges)
        carry(a0, a1);
    for (const auto& [address, val] : mCarried)
        pArray[address] = {val, 1.0F};
}

void Hole::checkIntegrity(const std::string& text) const {
    out() << "CheckIntegrity(" << text << ") starts" << std::endl;
    for (const int addr : vAddr) {
        ASSEX(tools_isVal(pArray[addr].val));
        ASSEX(tools_isVal(pArray[addr].weight));
    }
    out() << "CheckIntegrity(" << text << ") survived" << std::endl;
}

}  // namespace TARN_KEL
