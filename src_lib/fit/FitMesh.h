#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "PointGrid.h"
#include "kel.h"

namespace TARN_KEL {

/// The corners of a triangle, in its orientation.
using FitTriangle = std::array<FitIndex, 3>;

/// The next and the previous corner of a triangle.
constexpr int nextCorner(int k) {
    return k == 2 ? 0 : k + 1;
}
constexpr int previousCorner(int k) {
    return k == 0 ? 2 : k - 1;
}

/// The cross product of two sides: along the normal, twice the area long.
inline Vector3 areaVector(const Vector3& a, const Vector3& b, const Vector3& c) {
    return crossProduct(b - a, c - a);
}
/// The cosine of the angle between two vectors; 0.0 where one of them has no length.
inline double cosineOf(const Vector3& a, const Vector3& b) {
    const double squares = a.sqLength() * b.sqLength();
    return squares > 0.0 ? a * b / std::sqrt(squares) : 0.0;
}

/// An edge by its ends, or as edge k of a triangle.
using FitSide = std::pair<FitIndex, FitIndex>;
struct FitEdge {
    FitIndex triangle;
    int k;
};

/// Two triangles, t = (a, b, c) and o = (b, a, d), and their neighbours over the four outer edges.
struct FitQuad {
    FitIndex t, o;
    FitIndex a, b, c, d;
    FitIndex overBC, overCA, overAD, overDB;
};

/// A triangle mesh in plain arrays, for steps that move vertices, flip and split edges: no triangle is ever removed.
///
/// Edge k of a triangle connects its corners k and k + 1. Its neighbour there is the triangle that runs the other way along
/// it. An edge of three and more triangles, or of two that don't agree in orientation, has no neighbours: it counts as
/// border and stays what it is. A vertex may have several fans of triangles. Const operations are safe on several threads.
class FitMesh {
public:
    FitMesh() = default;
    /// The corners of a triangle are different. O(n log n).
    FitMesh(std::vector<Vector3> vPlaces, std::vector<FitTriangle> vTriangles);

    std::size_t numVertices() const { return vPlace.size(); }
    std::size_t numTriangles() const { return vTriangle.size(); }
    const std::vector<Vector3>& places() const { return vPlace; }
    const std::vector<FitTriangle>& triangles() const { return vTriangle; }

    const Vector3& place(FitIndex vertex) const { return vPlace[vertex]; }
    void move(FitIndex vertex, const Vector3& to) { vPlace[vertex] = to; }
    const FitTriangle& corners(FitIndex t) const { return vTriangle[t]; }
    FitIndex neighbour(FitIndex t, int k) const { return vNeighbour[t][static_cast<std::size_t>(k)]; }
    /// The edge of t that runs from a to b; -1 when there is none.
    int edgeFrom(FitIndex t, FitIndex a, FitIndex b) const;
    /// The ends of edge k of t, as it runs there.
    FitSide endsOf(FitIndex t, int k) const {
        return {vTriangle[t][static_cast<std::size_t>(k)], vTriangle[t][static_cast<std::size_t>(nextCorner(k))]};
    }
    /// An edge of two triangles, in the one along which it runs that way; none when these ends have no such edge.
    std::optional<FitEdge> findEdge(const FitSide& ends) const;
    /// The corner of t at the vertex; -1 when there is none.
    int cornerAt(FitIndex t, FitIndex vertex) const;
    Vector3 areaVectorOf(FitIndex t) const {
        const FitTriangle& c = vTriangle[t];
        return areaVector(vPlace[c[0]], vPlace[c[1]], vPlace[c[2]]);
    }

    /// Calls visit(triangle, k) for each corner k at a vertex. The mesh must not change meanwhile, but for places.
    template <typename Visit>
    void visitCorners(FitIndex vertex, const Visit& visit) const {
        for (FitIndex corner = vFirst[vertex]; corner != NO_INDEX; corner = vNext[corner])
            visit(corner / 3, static_cast<int>(corner % 3));
    }
    /// The same for its triangles: visit(triangle).
    template <typename Visit>
    void visitTriangles(FitIndex vertex, const Visit& visit) const {
        visitCorners(vertex, [&](FitIndex t, int) { visit(t); });
    }
    /// Calls visit(k, other) for edges of a triangle with a neighbour, other, of a higher number; visit may flip them.
    template <typename Visit>
    void forEachInnerEdgeOf(FitIndex t, const Visit& visit) const {
        for (int k = 0; k < 3; ++k)
            if (const FitIndex other = neighbour(t, k); other != NO_INDEX && other > t) visit(k, other);
    }
    /// Calls visit(t, k, other) for each edge of two triangles, as edge k of t, the lower one; visit may flip edges.
    template <typename Visit>
    void forEachInnerEdge(const Visit& visit) const {
        for (FitIndex t = 0; t < numTriangles(); ++t)
            forEachInnerEdgeOf(t, [&](int k, FitIndex other) { visit(t, k, other); });
    }
    std::size_t degree(FitIndex vertex) const;
    /// Whether an edge at the vertex has no neighbour.
    bool isAtBorder(FitIndex vertex) const;
    /// Nonzero for those of which an edge has no neighbour.
    std::vector<unsigned char> verticesAtBorder() const;
    bool isJoined(FitIndex a, FitIndex b) const;
    /// Whether a vertex has so many triangles that steps which look at all of them, for each, would take long.
    bool isHub(FitIndex vertex) const;
    /// The two triangles of edge k of t, which must have a neighbour.
    FitQuad quadAt(FitIndex t, int k) const;

    /// False where the operation would make a fault, or take time in proportion to the triangles of a hub.
    bool mayFlip(const FitQuad& q) const;
    bool maySplit(const FitQuad& q) const;
    /// Replaces edge k of t and its two triangles by the other diagonal. The edge must have a neighbour, and the two
    /// opposite corners must not be joined.
    void flip(FitIndex t, int k);
    /// Cuts edge k of t and both its triangles in two, at a new vertex. The edge must have a neighbour. The number of the
    /// new vertex is the number of vertices before.
    void split(FitIndex t, int k, const Vector3& place);
    /// Take back the last change, a flip or a split. q: what quadAt() said before it.
    void undoFlip(const FitQuad& q);
    void undoSplit(const FitQuad& q);

    /// For each vertex the unit sum of the area vectors around it, smoothed once over its neighbours; zero without a
    /// triangle.
    std::vector<Vector3> smoothNormals() const;
    /// Of the neighbours of a vertex that has a triangle; each counts once for each triangle.
    Vector3 meanOfNeighbours(FitIndex vertex) const;
    double meanEdgeLength() const;

private:
    void findNeighbours();
    void appendTriangle(const FitTriangle& triangle, const FitTriangle& neighbours);
    void setCorners(FitIndex t, const FitTriangle& triangle, const FitTriangle& neighbours);
    void enterCorner(FitIndex t, int k);
    void removeCorner(FitIndex t, int k);
    void restore(const FitQuad& q);
    void replaceNeighbour(FitIndex t, FitIndex former, FitIndex now, FitIndex from, FitIndex to);

    std::vector<Vector3> vPlace;
    std::vector<FitTriangle> vTriangle;
    std::vector<FitTriangle> vNeighbour;
    std::vector<FitIndex> vFirst;  // of each vertex its first corner, 3 * triangle + k
    std::vector<FitIndex> vNext;   // of each corner the next one at its vertex
};

}  // namespace TARN_KEL
