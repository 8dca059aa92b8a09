// The figures that tell how good a triangle mesh is: its topology, its orientation, its faults, and its distance from the
// points that it was made from.
//
// Words used here: a fan is a set of triangles of a vertex, connected through edges at this vertex; a piece is a set of
// triangles connected through edges, a component one connected through vertices. Lengths are in the unit of the mesh.
#pragma once

#include <kel.h>

#include <array>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

/// Triangles on numbered vertices. Each vertex belongs to a triangle, and all are finite.
struct IndexedTriangles {
    using Triangle = std::array<std::uint32_t, 3>;

    std::vector<TARN_KEL::Point3> vVertices;  ///< in the order in which the triangles use them first
    std::vector<Triangle> vTriangles;         ///< corners in orientation order
    std::size_t numNotFinite = 0;             ///< triangles left out because a coordinate isn't finite
};

/// Makes one vertex of all corners with exactly equal coordinates.
/// vCorners: three per triangle.
/// Throws std::length_error for more than 2^32 - 1 corners. Cost: O(n) expected time.
IndexedTriangles unifiedCorners(const std::vector<TARN_KEL::Point3>& vCorners);
/// The same for corners given as positions in a list of vertices, which may have equal and unused ones.
IndexedTriangles unifiedVertices(const std::vector<TARN_KEL::Point3>& vVertices, const std::vector<int>& vIndices);
/// The same without joining vertices at one place.
IndexedTriangles numberedVertices(const std::vector<TARN_KEL::Point3>& vVertices, const std::vector<int>& vIndices);
/// The number of different places of the points. Cost: O(n) expected time.
std::size_t numPlaces(const std::vector<TARN_KEL::Point3>& vPoints);

struct MeshFigures {
    static constexpr std::size_t NUM_DEGREES = 5;

    std::size_t numVertices = 0;
    std::size_t numTriangles = 0;   ///< including the degenerate ones, without those that aren't finite
    std::size_t numNotFinite = 0;   ///< triangles
    std::size_t numDegenerate = 0;  ///< triangles with a height of no more than a millionth of their longest side
    std::size_t numDuplicates = 0;  ///< triangles beyond the first on the same three vertices, whatever their orientation

    /// Pairs of triangles whose interiors have a common point. Which vertices are joined makes no difference.
    std::size_t numSelfIntersections = 0;

    // Triangles with two equal corners don't count in the figures below.

    std::array<std::size_t, NUM_DEGREES> vNumEdges{};  ///< of degree 1, 2, 3, 4, and more
    double averageEdgeLength = -1.0;                   ///< -1.0 without edges
    std::size_t numOrientationConflicts = 0;           ///< edges of degree 2 along which both triangles go the same way
    std::size_t numComponents = 0;
    std::size_t numPieces = 0;
    long long eulerCharacteristic = 0;   ///< vertices - edges + triangles
    std::size_t numBorderLoops = 0;      ///< those of the mesh with each vertex split into its fans
    std::size_t numPinchedVertices = 0;  ///< vertices with more than one fan

    // Pieces without an edge of odd degree bound a volume when each edge is used equally often in both directions.

    std::size_t numOutward = 0;  ///< of positive volume: seen from outside, their corners run counterclockwise
    std::size_t numInward = 0;
    std::size_t numUnclear = 0;  ///< closed as well, but without common orientation or without volume
    double volume = 0.0;         ///< signed, of all that face outward or inward

    std::size_t numEdges() const;
    std::size_t numNonManifoldEdges() const;
    /// Each edge has one or two triangles and each vertex one fan, and no triangle is degenerate or a duplicate.
    bool isManifold() const;
    /// No edge has one triangle.
    bool isClosed() const { return vNumEdges[0] == 0; }
    /// The two triangles of an edge go along it in opposite directions.
    bool isOriented() const { return numOrientationConflicts == 0; }
    nlohmann::ordered_json toJson() const;
};

/// Computes all figures. Cost: O(n log n) time for n triangles, nearly linear when few meet at each vertex and few are near
/// each other; about 150 bytes per triangle.
MeshFigures measureMesh(const IndexedTriangles& mesh);

/// The distances of vertices to their nearest points of a cloud.
struct CloudDistances {
    double max = 0.0;
    double mean = 0.0;
    double quantile99 = 0.0;                 ///< the smallest length within which 99% of the vertices lie
    double shareWithinAverageEdge = 0.0;     ///< of the vertices, 0.0 to 1.0
    std::optional<double> within;            ///< a length given by the caller
    std::optional<double> shareWithinAsked;  ///< of the vertices within that length, 0.0 to 1.0; empty without one

    nlohmann::ordered_json toJson() const;
};

/// Measures the distances of vertices to a cloud. Neither list may be empty; all coordinates must be finite.
/// Cost: O((v + n) log n) for v vertices and n points near each other; up to O(n) for a vertex that is about equally far
/// from all points.
CloudDistances measureDistances(const std::vector<TARN_KEL::Point3>& vVertices, const std::vector<TARN_KEL::Point3>& vCloud,
                                double averageEdgeLength, std::optional<double> within);
