#pragma once

#include <cstdint>
#include <vector>

#include "HashIndex.h"
#include "NeighbourLists.h"
#include "RMesh.h"

namespace TARN_KEL {

/// Moves most vertices of a fine mesh, several times in a row.
///
/// The result is that of RMesh::updateVertex for each vertex, one after the other, wherever the place is free. But a vertex
/// costs it a search, an entry taken out and one put in, each of them a miss in the cache. So the table that finds vertices
/// by their coordinates is left behind while this object lives, and made anew at the end; whether all places are free is
/// seen from the hashes of old and new places when they are sorted. Only a round in which two places are equal goes through
/// the table.
///
/// While it lives nobody else may move vertices, make any, or look one up by its coordinates.
class VertexMover {
public:
    /// The mesh must outlive this object. O(n), like the destructor.
    explicit VertexMover(RMesh& mesh);
    ~VertexMover();
    VertexMover(const VertexMover&) = delete;
    VertexMover& operator=(const VertexMover&) = delete;

    /// Moves each vertex in order, none twice. Left out is a move to a place that isn't another one, or isn't finite, or at
    /// which a vertex is found when the turn comes. The triangles around keep their normals or forget them: call resetNNV
    /// before. On the pool; O(n) for the vertices of the mesh, O(n log n) where very many places are equal.
    void move(const std::vector<VertexMove>& vMoves);

private:
    bool areApart(const std::vector<VertexMove>& vMoves);
    bool areApart(const std::uint64_t* pBegin, const std::uint64_t* pEnd, const std::vector<VertexMove>& vMoves) const;
    void moveOneByOne(const std::vector<VertexMove>& vMoves);
    void noteFound();
    void renewTable();

    RMesh& mesh;
    std::vector<char> vFound;          // by vertex index: it is the one that is found at its place
    std::vector<std::uint64_t> vCode;  // of a round: the hash of a place, then whose it is
    HashIndex freshTable;              // empty, with room for all vertices: the destructor must not ask for memory
};

}  // namespace TARN_KEL
