#pragma once

#include <array>
#include <deque>
#include <map>
#include <vector>

#include "crossing.h"

namespace TARN_KEL {

class Loop;
class RMesh;

/// Triangles that close a hole of a fine mesh however the mesh around it is folded: its ears, as far as these go.
///
/// Two corners of a border that has come together may already have an edge, with all triangles that it can have. A side of
/// an ear there, and whatever the ears leave open, is put on a new vertex instead:
///
///        a-------b            a-------b
///        | ear 1/|            |\  1  /|        b-c has an edge behind the hole: it is halved at m, and each of the two
///        |    /  |     ->     |  \ /  |        faces beside it becomes a fan around its middle
///        | /ear 2|            |  /m\  |
///        c-------d            c-------d
///
/// The mesh must be manifold where it isn't the border, and must not change before create().
class HolePatch {
public:
    /// loop: of a mesh whose codes are the numbers of the vertices of this one; filled as far as it can be.
    /// bAgainst: triangles on the border run against the loop.
    HolePatch(const RMesh& theMesh, const Loop& loop, bool bAgainst);

    /// Oriented as the triangles on the border.
    std::vector<TriangleCorners> triangles() const;
    /// target: the mesh.
    void create(RMesh& target) const;

private:
    using Face = std::vector<const Point3*>;    // corners in the order of the loop
    using Side = std::array<const Point3*, 2>;  // lower address first

    std::vector<Face> facesOf(const Loop& loop) const;
    /// With the middles of all sides in which the mesh has an edge already; those on the border are no such sides.
    Face withMiddles(const Face& face);
    void addFan(const Face& face);
    const Point3* middleOf(const Point3* p, const Point3* q);
    const Point3* newPlace(const Point3& place);

    const RMesh& mesh;
    std::deque<Point3> vNewPlace;  // stay where they are
    std::vector<std::array<const Point3*, 3>> vTriangle;
    std::vector<Side> vBorder;              // sorted
    std::map<Side, const Point3*> mMiddle;  // looked up only
};

}  // namespace TARN_KEL
