// The planes of nodes, and which nodes need no closer look because neighbours stand all around them.
#pragma once

#include <vector>

#include "NearestNodes.h"
#include "kel.h"
#include "sampleNodes.h"

namespace TARN_KEL {

/// What neighbours of a node weigh in its plane: a cell's height, and what is on another sheet.
struct NodePlanes {
    std::vector<Vector3> vNormal;  ///< of each node, unit length; zero: no plane
    std::vector<NodeId> vOpen;     ///< the nodes that aren't surrounded, ascending

    bool hasPlane(NodeId node) const { return !vNormal[node].isDegenerate(); }
};

/// A neighbour in the plane of a node, in cells.
struct PlanePlace {
    double x = 0.0, y = 0.0;
    double height = 0.0;  ///< above or below the plane, never negative

    double sqLateral() const { return x * x + y * y; }
    /// False for what is so high above the plane that it belongs to another sheet, and for what lies on the node.
    bool isOfSheet() const;
};

/// Two axes in the plane at right angles to a normal of unit length.
class PlaneFrame {
public:
    explicit PlaneFrame(const Vector3& normal);
    PlanePlace operator()(const Vector3& offset) const;

private:
    Vector3 normal, u, v;
};

/// The closest looks first: a node is surrounded when its neighbours within two cells lie in a plane and leave no room for
/// an empty disc of one cell's radius that touches it. Surrounded nodes get the plane of these neighbours, all others none.
/// O(n), about a microsecond per node; uses the pool.
NodePlanes lookAround(const SampleNodes& nodes);

/// Gives the open nodes the flattest plane through so many nearest nodes as suit the place: few where the sheet bends, more
/// on scan lines and in noise. O(log n) per open node; uses the pool.
/// Returns what was near those that have got a plane here. It refers to planes.vOpen.
NearLists fitOpenNodes(const SampleNodes& nodes, const NearestNodes& nearest, NodePlanes& planes);

}  // namespace TARN_KEL
