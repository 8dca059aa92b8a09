// Finds the sheets of a non-manifold mesh, and how to orient them.
//
// Seen along an edge, its triangles lie around it like the hours around a clock. Sheets that don't cross connect neighbours
// there. So an even number of triangles leaves two choices, and an odd number one for each triangle that may stay alone:
//
//        t1   t2              t1   t2            t1   t2
//          \ /                  \ /                | |
//           +           ->      ) (       or       | |
//          / \                  / \                | |
//        t0   t3              t0   t3            t0   t3
//
// The choice with the fewest conflicts of orientation is taken, and of these the flattest.
//
// Which triangles agree is known from sets with parity. They are joined side by side, flat sides first, so that where a
// sheet comes back to itself the wrong way round, the conflict shows at a sharp fold. The sides with a conflict form a seam.
// Turning a triangle over moves the seam to its other sides, and is done as long as that makes the seam shorter.
#include "Sheets.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "RMesh.h"
#include "flood.h"
#include "geometryFunctions.h"

namespace TARN_KEL {

namespace {

Vector3 normalOf(const RTriangle& rt) {
    return crossProduct(*rt.aCorners[1] - *rt.aCorners[0], *rt.aCorners[2] - *rt.aCorners[0]);
}

}  // namespace

// ---- Sides --------------------------------------------------------------------------------------------------------------

RTriangle* Sheets::triangleOf(Side side) const {
    return mesh.poolRT.at(side / 3);
}

const REdge* Sheets::edgeOf(Side side) const {
    return triangleOf(side)->getRE(static_cast<int>(side % 3));
}

Sheets::Side Sheets::firstSideOf(const RTriangle* pRT) const {
    return static_cast<Side>(3 * mesh.poolRT.indexOf(pRT));
}

Sheets::Side Sheets::sideOf(const RTriangle* pRT, const REdge* pRE) const {
    return firstSideOf(pRT) + (pRE == pRT->pRE12 ? 0 : pRE == pRT->pRE02 ? 1 : 2);
}

void Sheets::link(Side a, Side b) {
    vAcross[a] = b;
    vAcross[b] = a;
    vAlike[a] = vAlike[b] = compareRun(a, b) ? 1 : 0;
}

void Sheets::cut(Side side) {
    const Side other = std::exchange(vAcross[side], NONE);
    if (other != NONE) vAcross[other] = NONE;
}

void Sheets::cutAll(const RTriangle* pRT) {
    forEachSide(pRT, [this](Side side) { cut(side); });
}

bool Sheets::isTurned(const RTriangle* pRT) const {
    return vTurn[mesh.poolRT.indexOf(pRT)] != 0;
}

void Sheets::turn(const RTriangle* pRT) {
    vTurn[mesh.poolRT.indexOf(pRT)] ^= 1;
}

std::array<std::pair<Sheets::Side, Sheets::Side>, 2> Sheets::cornersAcross(Side side) const {
    const auto ends = [](Side s) {
        const Side first = s - s % 3;
        return std::pair(first + (s + 1) % 3, first + (s + 2) % 3);
    };
    const auto [a, b] = ends(side);
    const auto [c, d] = ends(vAcross[side]);
    if (vAlike[side] != 0) return {{{a, c}, {b, d}}};
    return {{{a, d}, {b, c}}};
}

/// Whether both triangles run the same way along the edge in the mesh, so that they disagree.
bool Sheets::compareRun(Side a, Side b) const {
    const REdge* pRE = edgeOf(a);
    const auto isForward = [pRE](const RTriangle* pRT) { return pRT->getRTriOri(pRE->pVtx0, pRE->pVtx1) == 1; };
    return isForward(triangleOf(a)) == isForward(triangleOf(b));
}

/// Whether the two triangles disagree there when they are turned as isTurned() says.
bool Sheets::isSeam(Side side) const {
    const Side next = vAcross[side];
    return next != NONE && (vAlike[side] != 0) == (vTurn[side / 3] == vTurn[next / 3]);
}

// ---- Orientation --------------------------------------------------------------------------------------------------------

Sheets::Sheets(const RMesh& theMesh)
    : mesh(theMesh),
      vAcross(3 * mesh.vRT.size(), NONE),
      vAlike(vAcross.size()),
      parities(mesh.vRT.size()),
      vTurn(mesh.vRT.size(), 0) {
    std::vector<Side> vPairs;  // one side of each
    std::vector<const REdge*> vStars;
    for (const REdge* pRE : mesh.vRE) {
        if (pRE->vRT.size() > 2) vStars.push_back(pRE);
        if (pRE->vRT.size() != 2) continue;
        vPairs.push_back(sideOf(pRE->vRT[0], pRE));
        link(vPairs.back(), sideOf(pRE->vRT[1], pRE));
    }
    if (!orientPairs(vPairs)) {
        parities = ParityForest(mesh.vRT.size());
        sortFlattestFirst(vPairs);
        orientPairs(vPairs);
    }
    for (const REdge* pRE : vStars)
        linkStar(pRE);
    for (const RTriangle* pRT : mesh.vRT)
        if (pRT->isAlive()) vTurn[firstSideOf(pRT) / 3] = parities.find(firstSideOf(pRT) / 3).second ? 1 : 0;
    shortenSeams();
    cutSeams();
}

/// False when a sheet has one side only.
bool Sheets::orientPairs(const std::vector<Side>& vPairs) {
    bool bTwoSided = true;
    for (const Side side : vPairs)
        bTwoSided = parities.join(side / 3, vAcross[side] / 3, vAlike[side] != 0) && bTwoSided;
    return bTwoSided;
}

/// Pairs that bend by less than about 25 degrees count as flat; they come first and aren't sorted, as there is no place for
/// a seam. Of the others the flattest comes first, of equal ones that with the lower side.
void Sheets::sortFlattestFirst(std::vector<Side>& vPairs) const {
    constexpr double FLAT = 0.9;  // cosine of the turn
    std::vector<std::pair<double, Side>> vBent;
    std::vector<Side> vSorted;
    for (const Side side : vPairs) {
        const Vector3 a = normalOf(*triangleOf(side)), b = normalOf(*triangleOf(vAcross[side]));
        const double cosine = a * b / std::sqrt(a.sqLength() * b.sqLength()) * (vAlike[side] != 0 ? -1.0 : 1.0);
        if (cosine >= FLAT)
            vSorted.push_back(side);
        else
            vBent.emplace_back(std::isfinite(cosine) ? -cosine : 1.0, side);
    }
    std::sort(vBent.begin(), vBent.end());
    for (const auto& [bend, side] : vBent)
        vSorted.push_back(side);
    vPairs.swap(vSorted);
}

/// Turns a triangle over while more of its connected sides lie on a seam than don't.
void Sheets::shortenSeams() {
    std::vector<const RTriangle*> vStack;
    for (const RTriangle* pRT : mesh.vRT)
        if (pRT->isAlive())
            forEachSide(pRT, [&](Side side) {
                if (isSeam(side)) vStack.push_back(pRT);
            });
    workThrough(vStack, [&](const RTriangle* pRT) {
        int numGained = 0;
        forEachSide(pRT, [&](Side side) {
            if (vAcross[side] != NONE) numGained += isSeam(side) ? 1 : -1;
        });
        if (numGained <= 0) return;
        turn(pRT);
        forEachSide(pRT, [&](Side side) {
            if (vAcross[side] != NONE) vStack.push_back(triangleOf(vAcross[side]));
        });
    });
}

void Sheets::cutSeams() {
    for (Side side = 0; side < vAcross.size(); ++side)
        if (isSeam(side)) cut(side);
}

// ---- Edges of more than two triangles -----------------------------------------------------------------------------------

/// The triangles on the edge in the order of rotation, from -pi to pi.
std::vector<Sheets::Spoke> Sheets::spokesOf(const REdge& edge) const {
    const Point3& origin = *edge.pVtx0;
    const Vector3 axis = normalize(*edge.pVtx1 - origin);
    const auto offAxis = [&](const RTriangle* pRT) {
        const Vector3 v = *pRT->getThirdPoint(edge.pVtx0, edge.pVtx1) - origin;
        return v - axis * (v * axis);
    };
    const Vector3 zero = normalize(offAxis(edge.vRT[0]));
    const Vector3 quarter = crossProduct(axis, zero);
    std::vector<Spoke> vSpoke;
    for (const RTriangle* pRT : edge.vRT) {
        const Vector3 v = offAxis(pRT);
        const double angle = std::atan2(v * quarter, v * zero);
        vSpoke.push_back({std::isfinite(angle) ? angle : 0.0, sideOf(pRT, &edge)});
    }
    std::sort(vSpoke.begin(), vSpoke.end());
    return vSpoke;
}

/// For each spoke the cost of a sheet that continues from it to the next spoke around the edge.
std::vector<Sheets::Cost> Sheets::costsOf(const std::vector<Spoke>& vSpoke) {
    std::vector<Cost> vCost;
    for (std::size_t i = 0; i < vSpoke.size(); ++i) {
        const bool bLast = i + 1 == vSpoke.size();
        const Spoke &spoke = vSpoke[i], &next = vSpoke[bLast ? 0 : i + 1];
        const auto [root, bAgainst] = parities.find(spoke.side / 3);
        const auto [nextRoot, bNextAgainst] = parities.find(next.side / 3);
        const bool bSeam = root == nextRoot && compareRun(spoke.side, next.side) == (bAgainst == bNextAgainst);
        const double wedge = next.angle - spoke.angle + (bLast ? 2.0 * std::numbers::pi : 0.0);
        vCost.push_back({bSeam ? 1 : 0, std::fabs(std::numbers::pi - wedge)});
    }
    return vCost;
}

/// The spoke at which the cheapest pairs begin: (first, first + 1), (first + 2, first + 3) and so on around the edge. Of an
/// odd number the one before the first stays alone.
std::size_t Sheets::firstOfCheapest(const std::vector<Cost>& vCost) {
    const std::size_t n = vCost.size();
    const auto sumFrom = [&](std::size_t first) {
        Cost sum{0, 0.0};
        for (std::size_t i = first; i < first + n - 1; i += 2)
            sum.add(vCost[i % n], 1);
        return sum;
    };
    Cost sum = sumFrom(0);
    Cost bestSum = sum;
    std::size_t best = 0;
    const auto offer = [&](std::size_t first) {
        if (!sum.isBelow(bestSum)) return;
        bestSum = sum;
        best = first;
    };
    if (n % 2 == 0) {
        sum = sumFrom(1);
        offer(1);
        return best;
    }
    // From the pairs that begin at one spoke to those that begin two further on: the first pair is dropped, and one is added
    // that begins at the spoke left alone before.
    for (std::size_t first = 2; first != 0; first = (first + 2) % n) {
        sum.add(vCost[(first + n - 2) % n], -1);
        sum.add(vCost[(first + n - 3) % n], 1);
        offer(first);
    }
    return best;
}

void Sheets::linkStar(const REdge* pRE) {
    const std::vector<Spoke> vSpoke = spokesOf(*pRE);
    const std::size_t n = vSpoke.size();
    const std::size_t first = firstOfCheapest(costsOf(vSpoke));
    for (std::size_t i = first; i < first + n - 1; i += 2) {
        const Side side = vSpoke[i % n].side, next = vSpoke[(i + 1) % n].side;
        link(side, next);
        parities.join(side / 3, next / 3, vAlike[side] != 0);
    }
}

}  // namespace TARN_KEL
