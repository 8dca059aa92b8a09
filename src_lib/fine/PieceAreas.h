#pragma once

#include <cstddef>
#include <vector>

#include "Forest.h"
#include "RMesh.h"

namespace TARN_KEL {

/// The components of a fine mesh, the pieces of a manifold one, and their areas. As of its construction.
class PieceAreas {
public:
    using Piece = Forest::Member;

    /// Cost: O(n); 12 bytes for each vertex.
    explicit PieceAreas(const RMesh& mesh);

    /// The piece with that vertex: one of its vertices, by number.
    Piece pieceAt(std::size_t vertex) { return vertices.findRoot(static_cast<Forest::Member>(vertex)); }
    /// The area of a piece; 0 for a vertex without triangles.
    double areaOf(Piece piece) const { return vArea[piece]; }
    /// The piece with the largest area, of equal ones the first. The mesh must have a vertex.
    Piece largest() const;

private:
    Forest vertices;
    std::vector<double> vArea;  // by piece
};

}  // namespace TARN_KEL
