// The faults of a fine mesh. Corners that edges connect are the fans of a vertex, so a vertex has one fan when all of its
// corners are in one set.
#include "meshFlaws.h"

#include <algorithm>
#include <vector>

#include "Forest.h"
#include "Progress.h"
#include "RMesh.h"

namespace TARN_KEL {

namespace {

/// The corners of all triangles by number, 3 * t + i for corner i of the t-th triangle of the mesh.
class Fans {
public:
    Fans(const RMesh& theMesh, const ProgressStep& theProgress)
        : mesh(theMesh), progress(theProgress), corners(3 * theMesh.vRT.size()) {}

    /// Joins the corners at both ends of an edge.
    void joinAcross(const REdge& re) {
        const RTriangle* pFirst = nullptr;
        for (const RTriangle* pRT : re.vRT) {
            if (pFirst != nullptr)
                for (const Point3* p : {re.getVtx0(), re.getVtx1()})
                    corners.join(cornerOf(pFirst, p), cornerOf(pRT, p));
            pFirst = pRT;
        }
    }
    std::size_t countPinched() {
        constexpr Forest::Member NONE = ~Forest::Member{0};
        std::vector<Forest::Member> vFan(mesh.getNumVtx_all(), NONE);  // the first one of each vertex
        std::vector<bool> vPinched(mesh.getNumVtx_all());
        for (const RTriangle* pRT : mesh.vRT) {
            progress.advance();
            if (!pRT->isAlive()) continue;
            for (int i = 0; i < 3; ++i) {
                const std::size_t vertex = mesh.getVtxIndex(pRT->getCorner(i));
                const Forest::Member fan = corners.findRoot(cornerOf(pRT, pRT->getCorner(i)));
                if (vFan[vertex] == NONE) vFan[vertex] = fan;
                if (vFan[vertex] != fan) vPinched[vertex] = true;
            }
        }
        return static_cast<std::size_t>(std::count(vPinched.begin(), vPinched.end(), true));
    }

private:
    Forest::Member cornerOf(const RTriangle* pRT, const Point3* p) const {
        return static_cast<Forest::Member>(3 * mesh.poolRT.indexOf(pRT)) + static_cast<Forest::Member>(pRT->getICI(p));
    }

    const RMesh& mesh;
    const ProgressStep& progress;
    Forest corners;
};

}  // namespace

MeshFlaws countFlaws(const RMesh& mesh) {
    MeshFlaws flaws;
    // Twice what there is to do, so that a second count of a run is heard as well.
    const ProgressStep progress("SC_flaws", 2 * (mesh.getREdgesRef().size() + mesh.vRT.size()));
    Fans fans(mesh, progress);
    for (const REdge* pRE : mesh.getREdgesRef()) {
        progress.advance();
        const int degree = pRE->getDegree();
        if (degree == 1) ++flaws.numBorderEdges;
        if (degree > 2) ++flaws.numNonManifoldEdges;
        RTriangle *pRT0 = nullptr, *pRT1 = nullptr;
        if (pRE->getTwoTriangles(pRT0, pRT1, true) && pRT0->needFlip(pRT1)) ++flaws.numConflicts;
        fans.joinAcross(*pRE);
    }
    flaws.numPinchedVertices = fans.countPinched();
    return flaws;
}

}  // namespace TARN_KEL
