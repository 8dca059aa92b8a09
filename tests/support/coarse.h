// Builders and checks for the coarse mesh.
#pragma once

#include <deque>

#include "Bundle.h"
#include "CEdge.h"
#include "CMesh.h"
#include "CTriangle.h"
#include "Calc.h"
#include "Chain.h"
#include "support/names.h"

namespace TARN_TEST {

/// The code of a cell.
inline VCD cell(unsigned x, unsigned y, unsigned z) {
    return spreadBits(x) << 2 | spreadBits(y) << 1 | spreadBits(z);
}

/// A grid of 1024^3 unit cells from the origin on, a mesh on it, and the bundles of its cells.
class CoarseWorld {
public:
    /// The cell with a bundle at its midpoint, or where it was put before.
    VCD put(unsigned x, unsigned y, unsigned z) { return put(cell(x, y, z), calc.getMidPoint(cell(x, y, z)), false); }
    /// The same at a point of one's own.
    VCD put(VCD vcd, const Point3& p, bool bReplace = true) {
        if (bReplace || mBundle.count(vcd) == 0) {
            dPoint.push_back(p);
            dBundle.emplace_back();
            dBundle.back().pVtx = &dPoint.back();
            dBundle.back().ccd = vcd;
            mBundle[vcd] = &dBundle.back();
        }
        return vcd;
    }
    CTriangle* triangle(VCD a, VCD b, VCD c) { return mesh.createT(a, b, c, a, 27); }
    std::map<VCD, Point3> places() const {
        std::map<VCD, Point3> mPlace;
        for (const auto& [vcd, pBundle] : mBundle)
            mPlace[vcd] = *pBundle->pVtx;
        return mPlace;
    }

    Calc calc{0.0, 0.0, 0.0, 1024.0, 1024.0, 1024.0, 10};
    std::map<CCD, Bundle*> mBundle;
    CMesh mesh{nullptr, &calc, mBundle};

private:
    std::deque<Point3> dPoint;
    std::deque<Bundle> dBundle;
};

/// Squares (x, y) of two triangles each, all facing up, on the cells (16 + x, 16 + y, 16).
class Sheet : public CoarseWorld {
public:
    Sheet(unsigned numX, unsigned numY) {
        for (unsigned x = 0; x < numX; ++x)
            for (unsigned y = 0; y < numY; ++y) {
                triangle(at(x, y), at(x + 1, y), at(x + 1, y + 1));
                triangle(at(x, y), at(x + 1, y + 1), at(x, y + 1));
            }
    }
    /// A triangle that stands up on the edge between the corners (x, y) and (x + 1, y).
    Sheet& withFin(unsigned x, unsigned y) {
        triangle(at(x, y), at(x + 1, y), put(16 + x, 16 + y, 17));
        return *this;
    }
    VCD at(unsigned x, unsigned y) { return put(16 + x, 16 + y, 16); }
};

/// The mesh's lists as results.
inline std::vector<CEdge*> edges(const CMesh& mesh, int degree) {
    std::vector<CEdge*> v;
    mesh.getDegN(degree, v);
    return v;
}
inline std::vector<CTriangle*> aliveT(const CMesh& mesh) {
    std::vector<CTriangle*> v;
    mesh.getAliveTriangles(v);
    return v;
}
inline std::size_t numAlive(const CMesh& mesh) {
    return aliveT(mesh).size();
}
inline std::vector<CTriangle*> incidentT(const CMesh& mesh, VCD vcd) {
    std::vector<CTriangle*> v;
    mesh.getIncidentT(vcd, v);
    return v;
}

inline EdgesByEnd byEnds(const std::vector<CEdge*>& vCE) {
    EdgesByEnd mm;
    enterBothEnds(mm, vCE);
    return mm;
}

/// The patches between borders and edges of more than two triangles. They stay the mesh's.
inline std::vector<CPatch*> cut(CMesh& mesh) {
    std::vector<CPatch*> vPatches;
    std::map<VCD, CPatch*> mVCD2Patch;
    std::vector<CEdge*> vMECE;
    mesh.createPatches(nullptr, vPatches, mVCD2Patch, vMECE);
    return vPatches;
}

/// The first violated invariant of the mesh as text, empty when all hold. Looks at everything, by plain search: O(n log n).
inline std::string firstFault(const CMesh& mesh) {
    std::ostringstream fault;
    std::map<std::pair<VCD, VCD>, std::multiset<const CTriangle*>> mOnEdge;
    std::map<VCD, std::vector<CTriangle*>> mAtVertex;
    std::vector<CTriangle*> vByAge = mesh.vAllCT;
    std::sort(vByAge.begin(), vByAge.end());
    for (CTriangle* pCT : vByAge)
        for (int i = 0; i < 3; ++i) {
            VCD a, b;
            pCT->getEdgeCCDs(i, a, b);
            if (a == b) fault << "triangle with equal corners; ";
            const CEdge* pCE = pCT->getCEdge(i);
            if (pCE == nullptr || pCE->v0 != std::min(a, b) || pCE->v1 != std::max(a, b))
                fault << "triangle with a wrong edge; ";
            auto& sOnEdge = mOnEdge[std::minmax(a, b)];
            auto& vAtVertex = mAtVertex[a];
            if (!pCT->isAlive()) continue;
            sOnEdge.insert(pCT);
            vAtVertex.push_back(pCT);
        }

    std::vector<CEdge*> vCE;
    mesh.getCEdges(vCE);
    if (vCE.size() != mOnEdge.size()) fault << vCE.size() << " edges instead of " << mOnEdge.size() << "; ";
    auto itEdge = vCE.begin();
    for (const auto& [key, sOnEdge] : mOnEdge) {
        if (itEdge == vCE.end()) break;
        const CEdge* pCE = *itEdge++;
        if (std::pair(pCE->v0, pCE->v1) != key) fault << "edges out of order; ";
        if (std::multiset<const CTriangle*>(pCE->vCT.begin(), pCE->vCT.end()) != sOnEdge) fault << "wrong vCT; ";
        if (mesh.getEdge(key.first, key.second) != pCE || mesh.getEdge(key.second, key.first) != pCE)
            fault << "edge not found; ";
    }
    for (const auto& [vcd, vAtVertex] : mAtVertex) {
        std::vector<CTriangle*> vIncT;
        mesh.getIncidentT(vcd, vIncT);
        if (vIncT != vAtVertex) fault << "wrong triangles at " << vcd << "; ";
    }
    return fault.str();
}

}  // namespace TARN_TEST
