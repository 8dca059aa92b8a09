#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "RMesh.h"

namespace TARN_KEL {

/// The vertex that is collapsed, and the one that it is collapsed onto. iDir as in RECandidate.
inline std::pair<Point3*, Point3*> sourceAndTarget(const REdge& edge, int iDir) {
    return iDir == 0 ? std::pair(edge.pVtx0, edge.pVtx1) : std::pair(edge.pVtx1, edge.pVtx0);
}

/// Starts to fetch the memory there into the cache, without waiting for it. Any pointer is allowed.
inline void prefetch(const void* p) {
    __builtin_prefetch(p);
}

/// Fetches what penalties need into the cache before they are computed. Candidates come up all over the mesh, and the
/// triangles at a vertex are a linked list through memory: to wait for each in turn would cost more than the penalty. So the
/// lists of the next few candidates are walked side by side, one link at a time. The mesh may change meanwhile; then
/// something useless is fetched, no more.
class CollapseLookahead {
public:
    explicit CollapseLookahead(const RMesh& theMesh) : mesh(theMesh) {}

    /// A collapse that is coming up. Ignored when there are too many.
    void add(const REdge* pRE, int iDir) {
        if (numWalks == MAX_WALKS) return;
        prefetch(pRE);
        aWalk[numWalks++] = {pRE, iDir, 0, 0};
    }
    /// To be called between one penalty and the next. Every second call does nothing: memory takes longer than one penalty.
    void step() {
        if (bResting = !bResting; bResting) return;
        for (std::size_t i = numWalks; i-- > 0;)
            if (!step(aWalk[i])) aWalk[i] = aWalk[--numWalks];
    }

private:
    static constexpr std::size_t MAX_WALKS = 16;
    static constexpr int MAX_STEPS = 12;  // nearly all vertices have fewer triangles

    struct Walk {
        const REdge* pRE;  // null: its list has been found
        int iDir;
        std::uint32_t link;  // the last one fetched, see Incidence
        int numSteps;
    };
    /// False at the end.
    bool step(Walk& walk) const {
        if (walk.pRE != nullptr) return findList(walk);
        if ((walk.link & Incidence::VERTEX) == 0) fetchAround(*mesh.poolRT.at(walk.link / 3), walk.link % 3);
        walk.link = Incidence::link(mesh.mmVtxT, walk.link).next;
        if ((walk.link & Incidence::VERTEX) != 0 || ++walk.numSteps == MAX_STEPS) return false;
        prefetch(&mesh.mmVtxT.cornerLink(walk.link));
        const RTriangle* pRT = mesh.poolRT.at(walk.link / 3);
        prefetch(pRT->aCorners);
        prefetch(&pRT->pRE02);
        return true;
    }
    bool findList(Walk& walk) const {
        const REdge* pRE = std::exchange(walk.pRE, nullptr);
        if (pRE->vRT.empty()) return false;
        const auto [pSrc, pTrg] = sourceAndTarget(*pRE, walk.iDir);
        const auto vertex = static_cast<std::uint32_t>(mesh.getVtxIndex(pSrc));
        walk.link = vertex | Incidence::VERTEX;
        prefetch(&mesh.mmVtxT.vertexLink(vertex));
        prefetch(pSrc);
        prefetch(pTrg);
        return true;
    }
    /// Fetches what this triangle has and the next one round corner i hasn't.
    static void fetchAround(const RTriangle& rt, unsigned i) {
        prefetch(rt.aCorners[i == 2 ? 0 : i + 1]);
        prefetch(&(i == 0 ? rt.pRE12 : i == 1 ? rt.pRE02 : rt.pRE01)->vRT);
        prefetch(i == 0 ? rt.pRE01 : i == 1 ? rt.pRE12 : rt.pRE02);
    }

    const RMesh& mesh;
    Walk aWalk[MAX_WALKS];
    std::size_t numWalks = 0;
    bool bResting = false;
};

}  // namespace TARN_KEL
