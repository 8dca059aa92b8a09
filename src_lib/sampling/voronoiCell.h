// The Voronoi cell of a node among its neighbours, in the node's plane.
#pragma once

#include <vector>

#include "sampleNodes.h"

namespace TARN_KEL {

/// A neighbour by its place in the plane, in cells; the node itself is at the origin.
struct PlaneNeighbour {
    double x, y;
    NodeId node;

    double sqDistance() const { return x * x + y * y; }
};

/// A disc that touches a node and two neighbours and holds none: its centre is a corner of the Voronoi cell.
struct EmptyDisc {
    double radius;         ///< in cells; infinite where a neighbour is missing
    NodeId first, second;  ///< the neighbours, counterclockwise; NO_NODE: missing
};

/// The largest of their radii. 0 for none.
double widestRadius(const std::vector<EmptyDisc>& vDisc);

/// Makes Voronoi cells, one after the other: a large square is cut by one bisector after another.
class VoronoiCell {
public:
    /// Sorts the neighbours by distance. half: half the side of the square that stands for an unbounded plane.
    /// O(n log n) and O(n) cuts of some six corners each.
    void cut(std::vector<PlaneNeighbour>& vNeighbour, double half);
    /// The discs about the corners, counterclockwise.
    void getDiscs(std::vector<EmptyDisc>& vDisc) const;

private:
    struct Corner {
        double x, y;
        NodeId next;  // the neighbour on whose bisector the next side lies
        double sqDistance() const { return x * x + y * y; }
    };

    double sqFarthestCorner() const;
    /// Keeps what is nearer to the node than to the neighbour.
    void cutBy(const PlaneNeighbour& neighbour);

    std::vector<Corner> vCorner, vKept;  // counterclockwise
};

}  // namespace TARN_KEL
