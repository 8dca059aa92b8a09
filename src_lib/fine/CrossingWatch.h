#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "CrossingIndex.h"
#include "StepWatch.h"

namespace TARN_KEL {

class RMesh;

/// Tells whether a step on a fine mesh would make it cross itself more than it does.
///
/// While it lives, the mesh knows it as RMesh::pWatch and tells it of each triangle that is created, killed or changed; the
/// steps that heed crossings ask it first. A step is allowed when what it creates crosses nothing, or no more than what it
/// removes did. So a mesh without crossings keeps free of them, and where there are some, steps may go on.
///
/// Triangles are entered into the index at the first question. Cost: O(n) for that; O(k^2 + k m) for a question about k
/// triangles with m others near the box around them all.
class CrossingWatch : public StepWatch {
public:
    /// The mesh must outlive this object, and must have no other watch. Meanwhile no vertex may move but by
    /// RMesh::updateVertex().
    explicit CrossingWatch(RMesh& mesh);
    ~CrossingWatch() override;
    CrossingWatch(const CrossingWatch&) = delete;
    CrossingWatch& operator=(const CrossingWatch&) = delete;

    void noteCreated(const RTriangle& rt) override;
    void noteKilled(const RTriangle& rt) override;
    void noteChanged(const RTriangle& rt) override;
    bool allows(const Replacement& step) override;
    bool allowsCollapse(const Point3* pSrc, const Point3* pTrg) override;
    bool allowsFlip(const REdge& edge) override;

    /// By how many pairs more the mesh would cross itself after a step.
    std::ptrdiff_t changeBy(const Replacement& step);
    /// How many others a triangle crosses.
    std::size_t numCrossings(const RTriangle& rt);

private:
    const CrossingIndex& asked();
    void enter(const RTriangle& rt);
    std::uint32_t idOf(const RTriangle* pRT) const;
    CrossingIndex::Ids idsOf(const std::vector<const RTriangle*>& vT) const;

    RMesh& mesh;
    std::optional<CrossingIndex> index;
};

/// A vertex moves to another place.
Replacement moveOf(const RMesh& mesh, const Point3* p, const Point3& place);
/// pSrc collapses onto pTrg.
Replacement collapseOf(const RMesh& mesh, const Point3* pSrc, const Point3* pTrg);
/// An edge is flipped. None for an edge that hasn't two triangles.
std::optional<Replacement> flipOf(const REdge& edge);

}  // namespace TARN_KEL
