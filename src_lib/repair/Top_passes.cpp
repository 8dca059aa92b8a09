// The local passes of the repair.
//
// Squares. Four cells of one grid plane can be meshed with either diagonal, and the cubes on the two sides of the plane may
// have chosen differently. Then the square is there twice, as a flat double sheet with four MEs for its rim. Whoever finds a
// diagonal with two triangles, and the other diagonal as an edge of the mesh, drops the two and sees to it that the other
// diagonal has a triangle on either side.
//
//     a----v1        a----v1
//     |  / |         | \  |
//     | /  |   ->    |  \ |      if there is, or was, an edge a-b
//     v0---b         v0---b
//
// Borders. An extracted mesh is ragged where the scan ends. Three rules clean it: a triangle that hangs by one border edge
// between two MEs goes; a triangle with two border edges on an ME (an ear) is laid into the sheet that goes on there; and a
// piece that is small, or has much border for its size, goes as a whole.
//
//     \    /
//      \  /  <- border      Here a piece is what manifold edges hold together, so a strip that hangs on a sheet by an ME is
//     --ME----              a piece of its own.
//
// Kills turn MEs into manifold edges and so join pieces, which are grown again then. What is too large stays too large: a
// piece goes as a whole or not at all. So a growth ends as soon as it is too large, what it has reached is marked, and to
// touch a mark ends a later one. Each triangle is marked once, which keeps the pass linear, and the inside of a large sheet
// isn't looked at. The border edges of a large piece needn't be known: they never count for one that may go.
#include <algorithm>
#include <array>
#include <initializer_list>
#include <set>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Bundle.h"
#include "CEdge.h"
#include "CMesh.h"
#include "CPatch.h"
#include "CTriangle.h"
#include "Holex.h"
#include "Progress.h"
#include "Top.h"
#include "Voro.h"
#include "freeFunctions.h"
#include "looseTriangles.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr std::array<CCD, 3> AXIS_BITS = {CCD_X_BITS, CCD_Y_BITS, CCD_Z_BITS};

/// The eight rotations of the flat corner, base row 27.
constexpr std::array<int, 8> FLAT_CORNERS = {27, 39, 78, 114, 141, 177, 216, 228};

/// A border longer than this share of the triangles makes a piece ragged.
constexpr double RAGGED = 0.2;

/// All four cells lie in one plane across that axis. Both pairs differ in the two other axes only.
bool inOnePlane(int axis, VCD v0, VCD v1, VCD third0, VCD third1) {
    const CCD bits = AXIS_BITS[static_cast<std::size_t>(axis)];
    const CCD a = v0 & bits, b = v1 & bits, c = third0 & bits, d = third1 & bits;
    ASSEX(a==b);
    ASSEX(c==d);
    return a == c;
}

/// The keys of the dual cubes that hold the cells, eight for each cell, sorted. The key of a cube that holds all of them
/// occurs once for each.
std::vector<VCD> keysOf(const Calc& calc, std::initializer_list<VCD> cells) {
    std::vector<VCD> vKeys;
    vKeys.reserve(8 * cells.size());
    for (const VCD vcd : cells) {
        std::array<CCD, 8> keys{vcd};
        calc.completeArrayPlus(keys.data());
        vKeys.insert(vKeys.end(), keys.begin(), keys.end());
    }
    std::sort(vKeys.begin(), vKeys.end());
    return vKeys;
}

/// Grows pieces of the mesh over manifold edges for killTinyBorderPatches.
class PieceGrower {
public:
    /// No triangle may be marked. Marks belong to this object then: they stand for pieces found too large.
    explicit PieceGrower(std::size_t maxSize_) : maxSize(maxSize_) {}

    bool isSeen(CEdge* pCE) const { return sBorderCE.count(pCE) != 0; }
    std::size_t numSeen() const { return sBorderCE.size(); }
    void see(CEdge* pCE) { sBorderCE.insert(pCE); }
    /// True when vPieceT is the piece, of at most maxSize triangles; all its border edges are seen then.
    bool grow(CTriangle* pStartT);

    std::vector<CTriangle*> vPieceT;

private:
    bool take(CTriangle* pCT);

    std::size_t maxSize;
    // No walk goes over the sets.
    std::unordered_set<CEdge*> sBorderCE;
    std::unordered_set<CTriangle*> sPieceT;  // the present piece
    std::vector<CTriangle*> vStack;
};

bool PieceGrower::grow(CTriangle* pStartT) {
    vPieceT.clear();
    sPieceT.clear();
    vStack.clear();
    bool bSmall = take(pStartT);
    while (bSmall && !vStack.empty()) {
        const CTriangle* pCT = vStack.back();
        vStack.pop_back();
        for (int i = 0; i < 3; ++i) {
            CEdge* pCE = pCT->getCE(i);
            if (pCE->getDegree() == 1) see(pCE);
            if (pCE->getDegree() == 2 && !take(pCE->getUniqueOtherTriangle(pCT))) bSmall = false;
        }
    }
    if (!bSmall)
        for (CTriangle* pCT : vPieceT)
            pCT->bVisited = true;
    return bSmall;
}

// False when the piece is too large by now.
bool PieceGrower::take(CTriangle* pCT) {
    if (pCT->bVisited) return false;
    if (!sPieceT.insert(pCT).second) return true;
    vStack.push_back(pCT);
    vPieceT.push_back(pCT);
    return vPieceT.size() <= maxSize;
}

/// Moves a point until its place is a new one and enters that. False when many steps lead nowhere.
bool moveToNewPlace(Point3& p, std::set<Point3>& sPlace, double sideLen, Random& random) {
    constexpr int MAX_STEPS = 1000;
    const auto step = [&] { return (random.next() % 1000) / 100000.0 * sideLen; };
    for (int i = 0; i < MAX_STEPS; ++i) {
        if (sPlace.insert(p).second) return true;
        const double dx = step(), dy = step(), dz = step();
        p = p + Vector3(dx, dy, dz);
    }
    return false;
}

}  // namespace

// ---- Diagonals and flat triangles

void Top::unifyDiagonals() {
    std::vector<CEdge*> vCE;
    pCMesh->getCEdges(vCE);
    for (CEdge* pCE : vCE)
        unifyDiagonal(pCE);
}

void Top::unifyDiagonal(CEdge* pDiagonalCE) {
    CTriangle *pCT0 = nullptr, *pCT1 = nullptr;
    if (!pDiagonalCE->getTwoTriangles(pCT0, pCT1, true)) return;
    const VCD v0 = pDiagonalCE->v0, v1 = pDiagonalCE->v1;
    const int axis = pCalc->getUniqueSameComponent(v0, v1);
    if (axis < 0) return;
    const VCD a = pCT0->getThirdCCD(v0, v1), b = pCT1->getThirdCCD(v0, v1);
    if (a == b || pCalc->getUniqueSameComponent(a, b) != axis) return;
    const CEdge* pCrossingCE = pCMesh->getEdge(a, b);
    if (pCrossingCE == nullptr || !inOnePlane(axis, v0, v1, a, b)) return;

    const VCD vcdCube = pCT0->vcdCube;
    pCT0->kill(pCMesh);
    pCT1->kill(pCMesh);
    const bool bHasV0 = pCrossingCE->hasAdjT(a, b, v0), bHasV1 = pCrossingCE->hasAdjT(a, b, v1);
    std::vector<CTriangle*> vNewT;
    if (!bHasV0) vNewT.push_back(pCMesh->createT(a, b, v0, vcdCube, 0));
    if (!bHasV1) vNewT.push_back(pCMesh->createT(b, a, v1, vcdCube, 0));
    for (CTriangle* pCT : vNewT) {
        if (!pCT->isAlive() || !pCT->isDegenerate(pCMesh)) continue;  // the treatment of one may have taken the other
        const CEdge* pCE = pCT->getCEdge(2);
        if (pCE->getDegree() < 2) out() << "\n pCE->getDegree()=" << pCE->getDegree() << "\n";
        if (!splitOrMove(pCT, 2)) warning(KEL_PLACE, "trySplitNeigsKillT() and laplacianForOne() did not succeed");
    }
}

void Top::killDegenerate() {
    std::vector<CTriangle*> vCT;
    pCMesh->getAliveTriangles(vCT);
    for (CTriangle* pCT : vCT) {
        if (!pCT->isAlive() || !pCT->isDegenerate(pCMesh)) continue;
        const int ici = pCT->getLargestEdgeICI(pCMesh);
        if (pCT->getCEdge(ici)->getDegree() == 1)
            pCT->kill(pCMesh);
        else if (!splitOrMove(pCT, ici))
            warning(KEL_PLACE, "No success of trySplitNeigsKillT() and laplacianForOne()");
    }
}

// Takes a flat triangle with corner ici on the opposite edge out of the mesh, or moves one of its corners, that one first.
bool Top::splitOrMove(CTriangle* pCT, int ici) {
    std::vector<CTriangle*> vNewT;
    if (pCT->getCEdge(ici)->trySplitNeigsKillT(pCMesh, pCT, ici, vNewT)) return true;
    for (int i = 0; i < 3; ++i)
        if (pCMesh->laplacianForOne(pCT->getCorner((ici + i) % 3))) return true;
    return false;
}

// ---- Extracting again

void Top::cbsComplete(Voro* pVoro) {
    ProgressStep step("TP_cbcpl", 7);
    std::vector<CEdge*> vBorderCE, vDeg4;
    std::vector<VCD> vCubes;

    getBordersKillDeg1nn(vBorderCE);
    step.advance();
    for (const CEdge* pCE : vBorderCE) {
        const CTriangle* pCT = pCE->getTriangle(true, true);
        const std::vector<VCD> vVCD24 = keysOf(*pCalc, {pCT->c0, pCT->c1, pCT->c2});
        ASSEX(vVCD24.size()==24);
        filterN(vVCD24, 3, vCubes);
    }
    step.advance();
    pCMesh->getDegN(4, vDeg4);
    step.advance();
    for (const CEdge* pCE : vDeg4)
        filterN(keysOf(*pCalc, {pCE->v0, pCE->v1}), 2, vCubes);
    step.advance();
    oneInstance(vCubes);
    pCMesh = pVoro->meshAgain(vCubes);
    step.advance();
    pCMesh->averageBundles();
    step.advance();
    unifyDiagonals();
    step.advance();
    step.finish();
}

// ---- Borders

void Top::getBordersKillDeg1nn(std::vector<CEdge*>& vBorderCE) {
    std::vector<CEdge*> vDeg1;
    pCMesh->getDegN(1, vDeg1);
    for (CEdge* pCE : vDeg1) {
        // What is killed here has no other border edge, so it takes no edge of the list along.
        const auto& vCT = pCE->vCT;
        ASSEX(vCT.size()==1);
        CTriangle* pCT = vCT[0];
        if (pCT->countEdges(1, 2) > 1)
            vBorderCE.push_back(pCE);
        else
            pCT->kill(pCMesh);
    }
}

void Top::integrateCCD(CEdge* pBorderCE) {
    if (pBorderCE->getDegree() != 1) return;
    CTriangle* pCT = pBorderCE->getTriangle(true, true);
    int numBorder = 0;
    int idxME = -1;
    for (int i = 0; i < 3; ++i) {
        const int degree = pCT->getCE(i)->getDegree();
        ASSEX(degree!=0);
        if (degree == 1) ++numBorder;
        if (degree == 2) return;
        if (degree > 2) idxME = i;
    }
    if (numBorder == 3) {
        pCT->kill(pCMesh);
        return;
    }
    if (numBorder == 1) return;  // two MEs
    ASSEX(numBorder==2);
    std::vector<CTriangle*> vNewT;
    pCT->getCE(idxME)->trySplitNeigsKillT(pCMesh, pCT, idxME, vNewT);
    if (pCT->isAlive()) pCT->kill(pCMesh);
}

void Top::killTinyBorderPatches(int maxNumT) {
    pCMesh->resetVisited();
    std::vector<CEdge*> vDeg1;
    pCMesh->getDegN(1, vDeg1);
    PieceGrower grower(static_cast<std::size_t>(std::max(maxNumT, 0)));
    for (CEdge* pCE : vDeg1) {
        if (grower.isSeen(pCE)) continue;
        const std::size_t numBefore = grower.numSeen();
        grower.see(pCE);
        const auto& vCT = pCE->vCT;
        if (vCT.size() == 0) continue;
        ASSEX(vCT.size()==1);
        if (!grower.grow(vCT[0])) continue;
        const std::size_t numT = grower.vPieceT.size();
        const std::size_t numBorder = grower.numSeen() - numBefore;
        const bool bRagged = static_cast<double>(numBorder) / static_cast<double>(numT) > RAGGED;
        if (!bRagged && !(numT <= 24 && numBorder >= 2) && !(numT <= 6 && numBorder == 1)) continue;
        for (CTriangle* pCT : grower.vPieceT)
            pCT->kill(pCMesh);
    }
}

int Top::removeTinyBorderPatches(std::vector<CPatch*>& vPatches) {
    int numKilled = 0;
    for (CPatch* pPatch : vPatches) {
        std::vector<CEdge*> vCE;
        pPatch->getAllCE(vCE);
        const auto count = [&vCE](auto&& isWanted) {
            return static_cast<double>(
                std::count_if(vCE.begin(), vCE.end(), [&](const CEdge* pCE) { return isWanted(pCE->getDegree()); }));
        };
        const double numBorder = count([](int degree) { return degree == 1; });
        const double numME = count([](int degree) { return degree != 1 && degree != 2; });
        const auto numT = static_cast<double>(pPatch->getSize());
        if (!(numBorder > RAGGED * numT && numME > RAGGED * numT) && !(numBorder > numT)) continue;
        pPatch->killPatchAndMembers();
        ++numKilled;
    }
    out() << "numKilledTinyBorderPatches: " << numKilled << "\n";
    return numKilled;
}

void Top::removeBorderTrianglesAtME() {
    std::vector<CEdge*> vME;
    pCMesh->getDegN(-1, vME);
    for (const CEdge* pCE : vME)
        while (pCE->getDegree() >= 3) {
            CTriangle* pSmallestT = nullptr;
            double smallestArea = 0.0;
            for (CTriangle* pCT : pCE->vCT) {
                if (!pCT->hasBorder()) continue;
                const double area = pCT->getArea(pCMesh);
                if (pSmallestT != nullptr && !(area < smallestArea)) continue;
                pSmallestT = pCT;
                smallestArea = area;
            }
            if (pSmallestT == nullptr) break;
            pSmallestT->kill(pCMesh);
        }
}

void Top::pruneCases() {
    killLooseTriangles(pCMesh, FLAT_CORNERS);
}

void Top::fillHoles(Voro*) {
    info("", "Top::fillHoles() calls Holex - experimental");
    std::vector<Point3> vNothing;
    Holex(pCMesh, pCalc).run(vNothing);
}

// ---- Vertices

void Top::oneCoordTriplePerCCD() {
    std::vector<std::pair<Point3, Bundle*>> vPlaced;
    vPlaced.reserve(pCMesh->mCCDBundle.size());
    for (const auto& [ccd, pBundle] : pCMesh->mCCDBundle) {
        const Point3& p = *pCMesh->getBundleVtx(ccd);
        if (isFinitePoint(p)) vPlaced.emplace_back(p, pBundle);
    }
    // Stable, so that by ascending code at each place.
    std::stable_sort(vPlaced.begin(), vPlaced.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    for (auto it = vPlaced.begin(); it != vPlaced.end();) {
        const Point3 place = it->first;
        std::set<Point3> sPlace;
        for (; it != vPlaced.end() && it->first == place; ++it)
            if (!moveToNewPlace(*it->second->pVtx, sPlace, pCalc->getSideLen(), random))
                warning(KEL_PLACE, "Two vertices stay at one place");
    }
}

}  // namespace TARN_KEL
