// The faults of a fine mesh, counted on all workers: chunks of edges, then chunks of vertices.
#include "meshFlaws.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "Forest.h"
#include "Progress.h"
#include "RMesh.h"
#include "joinChunks.h"
#include "meshCore.h"

namespace TARN_KEL {

namespace {

/// Tells whether the triangles at a vertex form more than one fan: whether its edges leave them in several sets.
class FanCheck {
public:
    /// theMesh: must outlive this object.
    explicit FanCheck(const RMesh& theMesh) : mesh(theMesh) {}

    bool isPinched(const Point3* p) {
        vTriangle.clear();
        mesh.getIncidentT(p, vTriangle);
        return vTriangle.size() > 1 && sizeOfRound(p) != vTriangle.size() && numFans(p) > 1;
    }

private:
    /// The number of triangles on the way around p from the first one back to it; 0 when an edge without exactly two
    /// triangles ends the way, as at a border. Most vertices have one round, and no other fan.
    std::size_t sizeOfRound(const Point3* p) const {
        std::size_t size = 1;
        const RTriangle* pRT = vTriangle.front();
        const REdge* pRE = otherEdgeAt(p, *pRT, nullptr);
        while ((pRT = pRE->getUniqueOtherTriangle(pRT)) != vTriangle.front()) {
            if (pRT == nullptr) return 0;
            pRE = otherEdgeAt(p, *pRT, pRE);
            ++size;
        }
        return size;
    }
    /// An edge of the triangle at p that isn't this one.
    static const REdge* otherEdgeAt(const Point3* p, const RTriangle& triangle, const REdge* pRE) {
        const REdge* pOther = nullptr;
        forEachEdgeAt(triangle, p, [&](const REdge* pEdgeAt) {
            if (pEdgeAt != pRE) pOther = pEdgeAt;
        });
        return pOther;
    }
    /// O(k log k) for k triangles, of which an edge may have all.
    std::size_t numFans(const Point3* p) {
        vSpoke.clear();
        for (Forest::Member i = 0; i < vTriangle.size(); ++i)
            forEachEdgeAt(*vTriangle[i], p, [&](const REdge* pRE) { vSpoke.emplace_back(pRE, i); });
        std::sort(vSpoke.begin(), vSpoke.end());
        Forest fans(vTriangle.size());
        for (std::size_t i = 1; i < vSpoke.size(); ++i)
            if (vSpoke[i].first == vSpoke[i - 1].first) fans.join(vSpoke[i].second, vSpoke[i - 1].second);
        return fans.numSets();
    }

    const RMesh& mesh;
    std::vector<RTriangle*> vTriangle;                            // at the vertex
    std::vector<std::pair<const REdge*, Forest::Member>> vSpoke;  // its edges, each with a triangle's number
};

MeshFlaws operator+(const MeshFlaws& a, const MeshFlaws& b) {
    MeshFlaws sum;
    sum.numBorderEdges = a.numBorderEdges + b.numBorderEdges;
    sum.numNonManifoldEdges = a.numNonManifoldEdges + b.numNonManifoldEdges;
    sum.numConflicts = a.numConflicts + b.numConflicts;
    sum.numPinchedVertices = a.numPinchedVertices + b.numPinchedVertices;
    return sum;
}

MeshFlaws flawsOfEdges(const std::vector<REdge*>& vRE, std::size_t begin, std::size_t end) {
    MeshFlaws flaws;
    for (std::size_t i = begin; i < end; ++i) {
        const int degree = vRE[i]->getDegree();
        if (degree == 1) ++flaws.numBorderEdges;
        if (degree > 2) ++flaws.numNonManifoldEdges;
        RTriangle *pRT0 = nullptr, *pRT1 = nullptr;
        if (vRE[i]->getTwoTriangles(pRT0, pRT1, true) && pRT0->needFlip(pRT1)) ++flaws.numConflicts;
    }
    return flaws;
}

MeshFlaws flawsOfVertices(const RMesh& mesh, std::size_t begin, std::size_t end) {
    MeshFlaws flaws;
    FanCheck fans(mesh);
    for (std::size_t i = begin; i < end; ++i)
        if (fans.isPinched(mesh.getVtx(i))) ++flaws.numPinchedVertices;
    return flaws;
}

/// The sum of flawsOf(begin, end) over chunks of 0 .. num-1.
template <typename FlawsOf>
MeshFlaws sumOfChunks_MT(std::size_t num, const FlawsOf& flawsOf) {
    MeshFlaws sum;
    joinChunks_MT(num, flawsOf, [&](const MeshFlaws& flaws) { sum = sum + flaws; });
    return sum;
}

}  // namespace

MeshFlaws countFlaws(const RMesh& mesh) {
    const std::vector<REdge*>& vRE = mesh.getREdgesRef();
    const std::size_t numVertices = mesh.getNumVtx_all();
    // Twice what there is to do, so that a second count of a run is heard as well.
    const ProgressStep progress("SC_flaws", 2 * (vRE.size() + numVertices));
    const MeshFlaws ofEdges =
        sumOfChunks_MT(vRE.size(), [&](std::size_t begin, std::size_t end) { return flawsOfEdges(vRE, begin, end); });
    progress.advance(vRE.size());
    const MeshFlaws ofVertices =
        sumOfChunks_MT(numVertices, [&](std::size_t begin, std::size_t end) { return flawsOfVertices(mesh, begin, end); });
    progress.advance(numVertices);
    return ofEdges + ofVertices;
}

}  // namespace TARN_KEL
