// Reader of glTF 2.0 files: meshes and clouds.
#pragma once

#include <kel.h>

#include <string>
#include <vector>

/// What a glTF file shows: the primitives of its scene, where the nodes put them.
struct GltfContent {
    std::vector<TARN_KEL::Point3> vVertices;  ///< of all primitives, also those of points alone
    std::vector<int> vIndices;                ///< three per triangle, positions in vVertices
    TARN_KEL::PointAttributes attributes;     ///< a row for each vertex, or no column
    std::vector<std::string> vWarnings;       ///< what was left out
};

/// Reads a file, .gltf or .glb by its content. Fails, with its name and the reason, when it can't be read.
///
/// Triangles, strips and fans become triangles; lines are left out. A mesh that several nodes show is there several times.
/// The colours of vertices become sRGB from 0 to 1, normals turn with their nodes, "_HEIGHT" becomes "height". Joints,
/// morphs and animations aren't applied. Compressed and sparse data are refused. Buffers of a .gltf are files beside it or
/// in it. Memory is bounded by the lengths of these files, 64 corners a byte.
GltfContent readGltf(const std::string& filename);
