// Unifies the diagonals of squares. Four cells of one grid plane can be meshed with either diagonal, and the cubes on the
// two sides of the plane may have chosen differently. Then the square is there twice, as a flat double sheet between four
// MEs. Where a diagonal with two triangles is found, and the other diagonal is an edge of the mesh too, the two are killed;
// the other diagonal then gets a triangle on either side where it has none.
//
//     a----v1        a----v1
//     |  / |         | \  |
//     | /  |   ->    |  \ |      if there is, or was, an edge a-b
//     v0---b         v0---b
#include "squares.h"

#include <cstddef>
#include <unordered_set>
#include <vector>

#include "CMesh.h"
#include "codes.h"
#include "degenerate.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// Whether all four cells lie in one plane across that axis. Both pairs differ in the two other axes only.
bool inOnePlane(Axis axis, VCD v0, VCD v1, VCD third0, VCD third1) {
    const CCD bits = interleavedBits(axis);
    const CCD a = v0 & bits, b = v1 & bits, c = third0 & bits, d = third1 & bits;
    ASSEX(a==b);
    ASSEX(c==d);
    return a == c;
}

/// A diagonal with two triangles, and the other one that replaces it.
struct Square {
    CTriangle *pCT0 = nullptr, *pCT1 = nullptr;
    VCD v0, v1, a, b;
    const CEdge* pCrossingCE = nullptr;
};

/// False when the edge is no diagonal with two triangles, or the other one never was an edge.
bool findSquare(const CMesh& mesh, const CEdge& edge, Square& square) {
    if (!edge.getTwoTriangles(square.pCT0, square.pCT1, true)) return false;
    const VCD v0 = square.v0 = edge.v0, v1 = square.v1 = edge.v1;
    const int axis = mesh.getCalc()->getUniqueSameComponent(v0, v1);
    if (axis < 0) return false;
    const VCD a = square.a = square.pCT0->getThirdCCD(v0, v1), b = square.b = square.pCT1->getThirdCCD(v0, v1);
    if (a == b || mesh.getCalc()->getUniqueSameComponent(a, b) != axis) return false;
    square.pCrossingCE = mesh.getEdge(a, b);
    return square.pCrossingCE != nullptr && inOnePlane(AXES[static_cast<std::size_t>(axis)], v0, v1, a, b);
}

void swapDiagonal(CMesh& mesh, const Square& square) {
    const auto& [pCT0, pCT1, v0, v1, a, b, pCrossingCE] = square;
    const VCD vcdCube = pCT0->vcdCube;
    pCT0->kill(&mesh);
    pCT1->kill(&mesh);
    const bool bHasV0 = pCrossingCE->hasAdjT(a, b, v0), bHasV1 = pCrossingCE->hasAdjT(a, b, v1);
    std::vector<CTriangle*> vNewT;
    if (!bHasV0) vNewT.push_back(mesh.createT(a, b, v0, vcdCube, 0));
    if (!bHasV1) vNewT.push_back(mesh.createT(b, a, v1, vcdCube, 0));
    for (CTriangle* pCT : vNewT) {
        if (!pCT->isAlive() || !pCT->isDegenerate(&mesh)) continue;  // the treatment of one may have removed the other
        const CEdge* pCE = pCT->getCEdge(2);
        if (pCE->getDegree() < 2) out() << "\n pCE->getDegree()=" << pCE->getDegree() << "\n";
        if (!splitOrMove(mesh, pCT, 2)) warning(KEL_PLACE, "trySplitNeigsKillT() and laplacianForOne() did not succeed");
    }
}

/// The corners of the square and of the triangles around them.
void appendNeighbours(const CMesh& mesh, const Square& square, std::unordered_set<VCD>& sVCD) {
    for (const VCD corner : {square.v0, square.v1, square.a, square.b}) {
        std::vector<CTriangle*> vAround;
        mesh.getIncidentT(corner, vAround);
        for (const CTriangle* pCT : vAround)
            sVCD.insert({pCT->c0, pCT->c1, pCT->c2});
    }
}

}  // namespace

// All edges are asked beforehand. A swap kills and creates triangles on edges between the four corners and their neighbours,
// so edges at one of these are asked again.
void unifyDiagonals(CMesh& mesh) {
    std::vector<CEdge*> vCE;
    mesh.getCEdges(vCE);
    std::vector<char> vIsSquare;
    const auto isSquare = [&mesh](const CEdge* pCE) {
        Square square;
        return static_cast<char>(findSquare(mesh, *pCE, square));
    };
    transform_MT(vCE, vIsSquare, isSquare);
    std::unordered_set<VCD> sChanged;  // never iterated over
    for (std::size_t i = 0; i < vCE.size(); ++i) {
        const bool bChanged = !sChanged.empty() && (sChanged.count(vCE[i]->v0) != 0 || sChanged.count(vCE[i]->v1) != 0);
        Square square;
        if ((vIsSquare[i] == 0 && !bChanged) || !findSquare(mesh, *vCE[i], square)) continue;
        appendNeighbours(mesh, square, sChanged);
        swapDiagonal(mesh, square);
    }
}

}  // namespace TARN_KEL
