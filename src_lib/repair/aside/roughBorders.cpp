// Kills ragged patches, border triangles at MEs and triangles of flat corners.
#include "roughBorders.h"

#include <algorithm>
#include <array>

#include "CEdge.h"
#include "CMesh.h"
#include "CPatch.h"
#include "CTriangle.h"
#include "looseTriangles.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// The eight rotations of the flat corner, base row 27.
constexpr std::array<int, 8> FLAT_CORNERS = {27, 39, 78, 114, 141, 177, 216, 228};

constexpr double BORDERLIKE = 0.2;  // border edges per triangle

CTriangle* smallestBorderTriangle(const CMesh& mesh, const CEdge& edge) {
    CTriangle* pSmallestT = nullptr;
    double smallestArea = 0.0;
    for (CTriangle* pCT : edge.vCT) {
        if (!pCT->hasBorder()) continue;
        const double area = pCT->getArea(&mesh);
        if (pSmallestT != nullptr && !(area < smallestArea)) continue;
        pSmallestT = pCT;
        smallestArea = area;
    }
    return pSmallestT;
}

}  // namespace

int killBorderlikePatches(const std::vector<CPatch*>& vPatches) {
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
        if (!(numBorder > BORDERLIKE * numT && numME > BORDERLIKE * numT) && !(numBorder > numT)) continue;
        pPatch->killPatchAndMembers();
        ++numKilled;
    }
    out() << "numKilledTinyBorderPatches: " << numKilled << "\n";
    return numKilled;
}

void killPatchesAtBorder(const std::vector<CPatch*>& vPatches) {
    for (CPatch* pPatch : vPatches) {
        std::vector<CEdge*> vBorderCE;
        pPatch->getGlobalDegNEdges(1, vBorderCE);
        if (vBorderCE.empty()) continue;
        warning(KEL_PLACE, "Killing a patch");
        pPatch->killPatchAndMembers();
    }
}

void killBorderTrianglesAtMEs(CMesh& mesh) {
    std::vector<CEdge*> vME;
    mesh.getDegN(-1, vME);
    for (const CEdge* pCE : vME)
        while (pCE->getDegree() >= 3) {
            CTriangle* pSmallestT = smallestBorderTriangle(mesh, *pCE);
            if (pSmallestT == nullptr) break;
            pSmallestT->kill(&mesh);
        }
}

void pruneFlatCorners(CMesh& mesh) {
    killLooseTriangles(&mesh, FLAT_CORNERS);
}

}  // namespace TARN_KEL
