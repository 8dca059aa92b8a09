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
/// Triangles are entered into the index at the first question. Cost: O(n) for that; O(k m) for a question about k triangles
/// with m others near.
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
    bool allows(const Triangles& vOld, const std::vector<TriangleCorners>& vNew) override;
    bool allowsCollapse(const Point3* pSrc, const Point3* pTrg) override;
    bool allowsFlip(const REdge& edge) override;

    /// By how many pairs more the mesh would cross itself if triangles were replaced by others; as for allows().
    std::ptrdiff_t changeBy(const Triangles& vOld, const std::vector<TriangleCorners>& vNew);
    /// How many pairs the triangles have, among each other and with others.
    std::size_t numCrossings(const Triangles& vT);
    /// The corners of triangles at a vertex once that has moved.
    static std::vector<TriangleCorners> movedCorners(const std::vector<RTriangle*>& vRT, const Point3* p,
                                                     const Point3& place);

private:
    void prepare();
    void enter(const RTriangle& rt);
    std::uint32_t idOf(const RTriangle* pRT) const;
    std::size_t count(const std::vector<TriangleCorners>& vT, std::size_t enough) const;
    std::size_t countOld(const Triangles& vOld) const;
    void leaveOut(const Triangles& vT);

    RMesh& mesh;
    std::optional<CrossingIndex> index;
    std::vector<std::uint32_t> vLeftOut;  // of a question: the numbers of the old triangles
};

}  // namespace TARN_KEL
