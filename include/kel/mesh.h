// The triangle mesh that runs return.
#pragma once

#include <kel/points.h>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace TARN_KEL {

class RMesh;

/// A triangle mesh in the coordinates of the input. It is independent of the run that made it.
///
/// The mesh owns the points to which it returns pointers. They are valid until the mesh is changed or destroyed.
///
/// The operations below throw KelBugException when pRMesh is null.
class Mesh {
public:
    /// Takes ownership of a mesh on the heap.
    explicit Mesh(RMesh* pRMesh);
    ~Mesh();
    Mesh(const Mesh&) = delete;
    Mesh& operator=(const Mesh&) = delete;

    /// The mesh inside, for code that works with the library's own classes.
    RMesh* getRMesh() { return pRMesh; }

    /// The mean length of the edges; -1.0 for a mesh without edges.
    double getAverageEdgeLength() const;

    /// Appends the corners of all triangles.
    ///
    /// @param[out] vCorners  three corners per triangle, in orientation order
    void getTriangles(std::vector<Point3*>& vCorners) const;

    /// Every used vertex once.
    ///
    /// @param[out] vPoints  must be empty
    void getPoints(std::vector<Point3*>& vPoints) const;

    /// The indexed form of the mesh.
    ///
    /// @param[out] vVertices  every used vertex once; must be empty
    /// @param[out] vIndices   three positions in vVertices per triangle, counted from 0; appended
    /// @cost O(n)
    void getVertexIndexData(std::vector<Point3*>& vVertices, std::vector<int>& vIndices);

    /// @{
    /// Writes the mesh in one format. Returns false, after a message, when the file can't be written.
    bool writePly_BIN(const std::string& filename) const;
    bool writePly_ASCII(const std::string& filename) const;
    bool writeStl_ASCII(const std::string& filename) const;
    /// A drawing for the Geomview viewer: the surface in green; border edges in red, edges of three triangles in purple, of
    /// four in light blue and of more in pink, with dots at their ends.
    bool writeGeomview_ASCII(const std::string& filename) const;
    /// @}

    /// Prints the number of triangles, and of edges by their number of triangles.
    ///
    /// @param title  printed first
    void printStatistics(const std::string& title) const;

    RMesh* pRMesh;  ///< Owned.
};

/// A mesh shared by its users; null when a run yields nothing.
using MeshPtr = std::shared_ptr<Mesh>;

/// The normals of the vertices: of each the mean of the normals of its triangles, weighted by their angles there.
///
/// So a normal depends on the surface alone, not on how flat parts are cut into triangles: at the corner of a cube it makes
/// equal angles with the three sides. It points to the side from which the corners of triangles are counterclockwise.
///
/// @param pMesh  not changed
/// @return a vector of length 1 for each vertex, in the order of Mesh::getVertexIndexData(); zero where all triangles of the
///         vertex lack area, or cancel each other out, as the two sides of a sheet do
/// @throws KelBugException when pMesh is null
/// @cost O(n)
std::vector<Vector3> vertexNormals(MeshPtr pMesh);

/// Counts the pairs of triangles that pass through each other, the self-intersections of the mesh.
///
/// A pair counts when the interiors of the two triangles, without their sides, have a common point: they pass through each
/// other, or overlap in one plane. Touching doesn't count: sheets may have common vertices and sides, and vertices of their
/// own at one place or on a side of the other. Triangles without area count nowhere. The test is exact.
///
/// @param pMesh  the mesh
/// @return the number of pairs
/// @throws KelBugException when pMesh is null
/// @cost O(n log n) where each triangle is near few others; O(k^2) for a vertex of k triangles. Uses all threads, and some
///       150 bytes per triangle
std::size_t countSelfIntersections(MeshPtr pMesh);

/// The same, and lists the pairs.
///
/// @param pMesh        the mesh
/// @param[out] vPairs  overwritten by the pairs, sorted: positions of triangles in the order of Mesh::getTriangles(), the
///                     smaller one first
std::size_t countSelfIntersections(MeshPtr pMesh, std::vector<std::pair<std::size_t, std::size_t>>& vPairs);

}  // namespace TARN_KEL
