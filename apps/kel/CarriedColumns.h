// What the points or vertices of a file carry, on its way to the mesh in another one.
#pragma once

#include <kel.h>

#include <CLI/CLI.hpp>
#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "Program.h"

/// Adds --no-attributes to a command, which clears bAttributes.
void addAttributesOption(CLI::App& command, bool& bAttributes);

/// Columns, and where their rows are in space.
struct CarriedColumns {
    std::vector<TARN_KEL::Point3> vPlaces;
    TARN_KEL::PointAttributes attributes;  ///< as far as the file of the new mesh can hold them

    /// Drops the columns that a file of that name can't hold; says which.
    void keepFor(const std::string& out, Program& program);
    /// Gives the vertices of a mesh the rows of the vertices of the file that it was made of, which are gone then. vRow: of
    /// each vertex its row; none where one may have several, all those at its place.
    void moveToMesh(const TARN_KEL::MeshPtr& pMesh, const std::vector<TARN_KEL::Point3>& vOfFile,
                    const std::vector<std::size_t>& vRow);
    /// What the vertices of a mesh get of it; says so. length: see TARN_KEL::transferAttributes().
    TARN_KEL::PointAttributes onto(const TARN_KEL::MeshPtr& pMesh, double length, Program& program) const;
    /// Says which columns are carried over, if any.
    void tell(Program& program) const;
};

/// The vertices of a mesh before steps change it, by which those that are left are known again.
///
/// While the mesh stays the same object, a vertex keeps its address, and no other one ever gets it. A step that puts another
/// mesh in its place leaves nothing but the order of the vertices, which counts if the triangles are still the same.
class OlderVertices {
public:
    explicit OlderVertices(const TARN_KEL::MeshPtr& pMesh);

    /// To be called between steps, of which the last one alone may put another mesh in the place of this one.
    void follow(const TARN_KEL::MeshPtr& pMesh);
    /// What the vertices of the mesh carry after the last step. columns: what the older ones carried, in the order of the
    /// mesh. bMean: the vertices that are left stand for others, too, which are gone: they get the mean of all of these,
    /// never of those on the other side of a wall. Else each has the very values that it had, and only new ones get means;
    /// all of them where another mesh with other triangles is in its place.
    TARN_KEL::PointAttributes carry(const CarriedColumns& columns, const TARN_KEL::MeshPtr& pMesh, bool bMean,
                                    Program& program);

private:
    std::unordered_map<const TARN_KEL::Point3*, std::size_t> mRow;  // of each older vertex
    std::vector<TARN_KEL::Vector3> vNormals;                        // by row
    double edge;                                                    // mean length
    const TARN_KEL::RMesh* pFollowed = nullptr;
    std::vector<int> vIndices;      // of the mesh that was followed last
    std::vector<std::size_t> vRow;  // of its vertices; NEW for one that wasn't there before
};
