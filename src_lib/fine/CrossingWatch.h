#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "CrossingIndex.h"

namespace TARN_KEL {

class REdge;
class RMesh;
class RTriangle;

/// Tells whether a step on a fine mesh would make it cross itself more than it does.
///
/// While it lives, the mesh knows it as RMesh::pWatch and tells it of each triangle that is created, killed or changed; the
/// steps that heed crossings ask it first. A step is allowed when what it creates crosses nothing, or no more than what it
/// removes did. So a mesh without crossings keeps free of them, and where there are some, steps may go on.
///
/// Triangles are entered into the index at the first question. Cost: O(n) for that; O(k m) for a question about k triangles
/// with m others near.
class CrossingWatch {
public:
    using Triangles = std::vector<const RTriangle*>;

    /// The mesh must outlive this object, and must have no other watch. Meanwhile no vertex may move but by
    /// RMesh::updateVertex().
    explicit CrossingWatch(RMesh& mesh);
    ~CrossingWatch();
    CrossingWatch(const CrossingWatch&) = delete;
    CrossingWatch& operator=(const CrossingWatch&) = delete;

    // ---- For the mesh ----

    void noteCreated(const RTriangle& rt);
    void noteKilled(const RTriangle& rt);
    void noteChanged(const RTriangle& rt);

    // ---- Questions: whether a step is allowed ----

    /// Triangles are replaced by others.
    /// vOld: alive, none twice. vNew: of finite coordinates or not; those that aren't cross nothing.
    bool allows(const Triangles& vOld, const std::vector<TriangleCorners>& vNew);
    /// pSrc collapses onto pTrg (RMesh::exchangeCorner).
    bool allowsCollapse(const Point3* pSrc, const Point3* pTrg);
    /// A vertex moves.
    bool allowsMove(const Point3* p, const Point3& newPlace);
    /// An edge of two triangles is flipped (REdge::tryFlipEdge). True for any other edge, which can't be.
    bool allowsFlip(const REdge& edge);

private:
    void prepare();
    void enter(const RTriangle& rt);
    std::uint32_t idOf(const RTriangle* pRT) const;
    std::size_t numCrossings(const std::vector<TriangleCorners>& vT, std::size_t enough) const;

    RMesh& mesh;
    std::optional<CrossingIndex> index;
    std::vector<std::uint32_t> vLeftOut;  // of a question: the numbers of the old triangles
};

}  // namespace TARN_KEL
