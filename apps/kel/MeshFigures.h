// The figures of a mesh that a user asks for first.
#pragma once

#include <kel.h>

#include <cstddef>
#include <nlohmann/json.hpp>

/// Counts of one mesh. Components are sets of triangles that hang together by vertices.
struct MeshFigures {
    std::size_t numVertices = 0;
    std::size_t numTriangles = 0;
    std::size_t numBorderEdges = 0;       ///< edges of one triangle
    std::size_t numInnerEdges = 0;        ///< edges of two triangles
    std::size_t numNonManifoldEdges = 0;  ///< edges of three or more triangles
    std::size_t numComponents = 0;
    double averageEdgeLength = -1.0;

    std::size_t numEdges() const { return numBorderEdges + numInnerEdges + numNonManifoldEdges; }
    /// Vertices - edges + triangles.
    long long eulerCharacteristic() const;
    nlohmann::ordered_json toJson() const;
};

/// O(n log n) for n triangles.
MeshFigures measureMesh(TARN_KEL::Mesh& mesh);
