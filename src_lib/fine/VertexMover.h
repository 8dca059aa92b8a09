#pragma once

#include <cstdint>
#include <vector>

#include "HashIndex.h"
#include "NeighbourLists.h"
#include "RMesh.h"

namespace TARN_KEL {

/// Moves most vertices of a fine mesh, several times in a row.
///
/// The result is that of RMesh::updateVertex for one vertex after the other, wherever the place is free. But that would cost
/// a look-up, a removal and an insertion per vertex, each a cache miss. So the table that finds vertices by coordinates is
/// left out of date while this object lives, and rebuilt at the end. Whether all places are free is found by sorting the
/// hashes of old and new places. Only a round in which two places are equal uses the table.
///
/// While this object lives, nobody else may move or create vertices, or look one up by its coordinates.
class VertexMover {
public:
    /// The mesh must outlive this object. O(n), like the destructor.
    explicit VertexMover(RMesh& mesh);
    ~VertexMover();
    VertexMover(const VertexMover&) = delete;
    VertexMover& operator=(const VertexMover&) = delete;

    /// Moves vertices in the order of the list; checks the places on the pool. A move is skipped when its place is the
    /// current one, isn't finite, or has a vertex by then. Cached normals may or may not be dropped: call resetNNV before.
    /// vMoves: no vertex twice.
    /// Cost: O(n) for all vertices of the mesh, O(n log n) when very many places are equal.
    void move(const std::vector<VertexMove>& vMoves);

private:
    bool areApart(const std::vector<VertexMove>& vMoves);
    bool areApart(const std::uint64_t* pBegin, const std::uint64_t* pEnd, const std::vector<VertexMove>& vMoves) const;
    void moveOneByOne(const std::vector<VertexMove>& vMoves);
    void noteFound();
    void renewTable();

    RMesh& mesh;
    std::vector<char> vFound;          // by vertex index: whether the table finds this vertex at its place
    std::vector<std::uint64_t> vCode;  // of a round: the hash of a place, then the vertex that it belongs to
    HashIndex freshTable;              // empty, with room for all vertices: the destructor must not ask for memory
};

}  // namespace TARN_KEL
