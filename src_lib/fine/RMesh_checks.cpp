// Reports on the fine mesh, and the check of its invariants.
#include <algorithm>
#include <utility>

#include "RMesh.h"
#include "meshCore.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

void RMesh::printStatistics(const std::string& name) const {
    const auto forEachEdge = [this](auto&& visit) {
        for (const REdge* pRE : vRE)
            visit(*pRE);
    };
    out() << "\nRMesh::printStatistics(" << name << ")\n NumTriangles: " << getNumT() << "\n";
    for (const auto& [degree, num] : countByDegree(forEachEdge))
        out() << " Degree " << degree << ": " << num << "\n";
    out() << std::flush;
}

bool RMesh::checkNoDups(const std::string& name) const {
    const bool bDups = std::any_of(vRE.begin(), vRE.end(), [](const REdge* pRE) { return pRE->hasDups(); });
    out() << "RMesh::checkNoDups(" << name << "): " << (bDups ? "has duplicate triangles" : "survived") << std::endl;
    return !bDups;
}

bool RMesh::checkNoDegenerate(const std::string& name) const {
    const std::size_t numDegenerate = countAlive(vRT, [](const RTriangle& rt) { return rt.isDegenerate(); });
    out() << "RMesh::checkNoDegenerate(" << name << "): ";
    if (numDegenerate > 0)
        out() << "has " << numDegenerate << " degenerate triangles!" << std::endl;
    else
        out() << "survived" << std::endl;
    return numDegenerate == 0;
}

void RMesh::checkDataStructures(const std::string& name) const {
    try {
        checkEdges();
        checkTriangles();
        checkIncidence();
        checkVertexTable();
    } catch (const KelBugException&) {
        errorMsg("RMesh::checkDataStructures", name);
        throw;
    }
}

void RMesh::checkEdges() const {
    std::size_t numKeyed = 0;
    std::size_t numStanding = 0;
    for (const REdge* pRE : vRE) {
        ASSEX(pRE->pVtx0<pRE->pVtx1);
        ASSEX(isKeyed(pRE) || pRE->vRT.empty());
        numKeyed += isKeyed(pRE) ? 1 : 0;
        numStanding += pRE->vRT.size();
        std::vector<RTriangle*> vOnce(pRE->vRT.begin(), pRE->vRT.end());
        oneInstance(vOnce);
        ASSEX(vOnce.size()==pRE->vRT.size());
        for (const RTriangle* pRT : vOnce)
            ASSEX(pRT->bAlive && (pRT->pRE01==pRE || pRT->pRE12==pRE || pRT->pRE02==pRE));
    }
    // No entry besides theirs, and each alive triangle on all its edges.
    ASSEX(numKeyed==mRE.size());
    ASSEX(numStanding==3*getNumT());
}

void RMesh::checkTriangles() const {
    for (const RTriangle* pRT : vRT) {
        if (!pRT->bAlive) continue;
        ASSEX(!pRT->isCombinatoriallyDegenerate());
        for (int i = 0; i < 3; ++i) {
            const REdge* pRE = pRT->getRE(i);
            ASSEX(pRE->has(pRT->aCorners[(i + 1) % 3]) && pRE->has(pRT->aCorners[(i + 2) % 3]));
        }
    }
}

void RMesh::checkIncidence() const {
    std::size_t numEntries = 0;
    for (std::size_t i = 0; i < poolVtx.size(); ++i) {
        std::vector<RTriangle*> vIncT;
        getIncidentT(poolVtx.at(i), vIncT);
        numEntries += vIncT.size();
        for (const RTriangle* pRT : vIncT)
            ASSEX(pRT->bAlive && pRT->has(poolVtx.at(i)));
        std::vector<RTriangle*> vOnce(vIncT);
        oneInstance(vOnce);
        ASSEX(vOnce.size()==vIncT.size());
    }
    // So each alive triangle is in the lists of all its corners.
    ASSEX(numEntries==3*getNumT());
}

void RMesh::checkVertexTable() const {
    mVtx.forEach([this](std::uint32_t i) {
        Point3* pVtx = poolVtx.at(i);
        // What is found at the coordinates of the entry, and the entry: they differ when the vertex moved under the table.
        const std::pair<const Point3*, Point3* const*> pr(findVertex(*pVtx, placeHash(*pVtx)), &pVtx);
        ASSEX(pr.first==*pr.second);
    });
}

}  // namespace TARN_KEL
