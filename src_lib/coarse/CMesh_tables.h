// How the coarse mesh finds its edges; for its own sources.
#pragma once

#include <cstdint>

#include "CMesh.h"

namespace TARN_KEL {

/// Two cells with v0<v1, for EdgeIndex.
struct CMesh::EdgePair {
    const CMesh& mesh;
    Vertex& lower;
    VCD higher;

    EdgeStar& star() const { return lower.star; }
    std::uint32_t& next(std::uint32_t edge) const { return mesh.poolCE->at(edge)->nextCE; }
    bool matches(std::uint32_t edge) const {
        const CEdge* pCE = mesh.poolCE->at(edge);
        return pCE->v1 == higher && pCE->v0 == lower.vcd;
    }
    std::uint64_t hash() const { return mixHash(lower.vcd ^ mixHash(higher)); }
};

}  // namespace TARN_KEL
