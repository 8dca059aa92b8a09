#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

class RMesh;

/// A manifold, oriented surface as plain arrays of numbers, for passes that change most of a mesh.
///
/// Corner c = 3 t + i is corner i of triangle t. The side of a corner is the edge opposite it. Places are in a unit of their
/// own: the origin is the middle of the bounding box, whose longest side is at least 1 unit and below 2 (shorter only when
/// it is below 2^-999 of the mesh's unit, longer only above 2^1001). So thresholds on areas and sums of squares don't depend
/// on the caller's unit, nor on where the mesh lies.
class FlatSurface {
public:
    using Index = std::uint32_t;
    static constexpr Index NONE = ~Index{0};

    /// The alive triangles of a mesh, in its order, on the vertices that they use. All places must be finite.
    /// Cost: O(n), O(d log d) for a vertex of d triangles.
    explicit FlatSurface(const RMesh& mesh);

    /// Whether the mesh was manifold and oriented: no edge of more than two triangles or of two that disagree, one fan at
    /// each vertex, no two triangles on the same corners, none flat. Otherwise the table of sides is of no use.
    bool isManifold() const { return bManifold; }

    // ---- Elements ----

    std::size_t numVertices() const { return vPlace.size(); }
    std::size_t numTriangles() const { return vVertex.size() / 3; }
    static Index next(Index corner) { return corner % 3 == 2 ? corner - 2 : corner + 1; }
    static Index previous(Index corner) { return corner % 3 == 0 ? corner + 2 : corner - 1; }
    /// The triangle's next corner at the same vertex, turning against the order of corners; NONE across a border.
    Index turn(Index corner) const {
        const Index across = vOpposite[previous(corner)];
        return across == NONE ? NONE : previous(across);
    }
    /// The same the other way round.
    Index turnBack(Index corner) const {
        const Index across = vOpposite[next(corner)];
        return across == NONE ? NONE : next(across);
    }
    /// Calls visit(corner) for the corners of a fan in the order of turn(), from the border on if there is one.
    /// corner: any of them. Returns whether the fan is closed.
    template <typename Visit>
    bool forFan(Index corner, Visit&& visit) const;
    /// The same in any order, which takes half as long.
    template <typename Visit>
    void forFanInAnyOrder(Index corner, Visit&& visit) const;
    Vector3 placeAt(Index corner) const { return vPlace[vVertex[corner]]; }
    /// Twice the area, along the normal.
    Vector3 normalOf(Index triangle) const {
        const Vector3 p = placeAt(3 * triangle);
        return crossProduct(placeAt(3 * triangle + 1) - p, placeAt(3 * triangle + 2) - p);
    }

    Vector3 centreOf(Index triangle) const {
        return (placeAt(3 * triangle) + placeAt(3 * triangle + 1) + placeAt(3 * triangle + 2)) / 3.0;
    }
    /// Where the sources of the vertices are.
    std::vector<Point3> sourcePlaces() const;
    /// The vertices of each triangle; none may have been removed.
    std::vector<std::array<Index, 3>> triples() const;

    // ---- Units ----

    /// Lengths of the mesh times this are lengths here: a power of two.
    double scale() const { return toUnit; }
    Vector3 toOwn(const Point3& p) const {
        return {(p.x() - origin.x()) * toUnit, (p.y() - origin.y()) * toUnit, (p.z() - origin.z()) * toUnit};
    }
    Point3 toMesh(const Vector3& v) const {
        return {origin.x() + v.x() / toUnit, origin.y() + v.y() / toUnit, origin.z() + v.z() / toUnit};
    }

    // ---- Data ----

    std::vector<Vector3> vPlace;         ///< of each vertex
    std::vector<const Point3*> vSource;  ///< the vertex of the mesh that it was made of
    std::vector<Index> vVertex;          ///< of each corner; NONE at the first corner of a removed triangle
    std::vector<Index> vOpposite;        ///< of each corner the one on the other side of its side; NONE at a border
    std::vector<Index> vCorner;          ///< of each vertex one of its corners

private:
    /// Calls visit(corner) for a corner and those behind it in the order of turn(). Returns the corner again when that went
    /// once around, NONE when it ended at a border.
    template <typename Visit>
    Index visitTurning(Index corner, Visit&& visit) const;
    void setUnit();
    bool matchSides();
    bool hasOneFanEach() const;
    bool hasFlatOrDouble() const;

    Point3 origin;
    double toUnit = 1.0;
    bool bManifold = false;
};

template <typename Visit>
FlatSurface::Index FlatSurface::visitTurning(Index corner, Visit&& visit) const {
    Index c = corner;
    do {
        const Index following = turn(c);
        visit(c);
        c = following;
    } while (c != NONE && c != corner);
    return c;
}

template <typename Visit>
bool FlatSurface::forFan(Index corner, Visit&& visit) const {
    Index first = corner;
    for (Index back = turnBack(first); back != NONE && back != corner; back = turnBack(back))
        first = back;
    const bool bClosed = turnBack(first) != NONE;
    visitTurning(bClosed ? corner : first, visit);
    return bClosed;
}

template <typename Visit>
void FlatSurface::forFanInAnyOrder(Index corner, Visit&& visit) const {
    if (visitTurning(corner, visit) == corner) return;
    for (Index c = turnBack(corner); c != NONE;) {
        const Index following = turnBack(c);
        visit(c);
        c = following;
    }
}

/// The surface as a mesh: used vertices in their order, triangles in their order. A vertex with vMoved[vertex] == 0 gets the
/// exact coordinates of its source.
std::unique_ptr<RMesh> meshOf(const FlatSurface& surface, const std::vector<char>& vMoved, double sideLen);

}  // namespace TARN_KEL
