// The kind of a file by its content where that has a signature, by its name else, and whether it has triangles.
#pragma once

#include <string>

/// What points and triangles are read from, and what meshes and points are written to, for texts.
inline constexpr const char* POINT_KINDS_IN =
    ".xyz, .txt, .asc, .bin, .ply, .las, .pcd, .pts, .ptx, .csv, .obj, .off, .glb or .gltf";
inline constexpr const char* MESH_KINDS_IN = ".ply, .stl, .obj, .off, .glb or .gltf";
inline constexpr const char* MESH_KINDS_OUT = ".ply, .stl, .obj, .off, .glb, .3mf or .list";
inline constexpr const char* POINT_KINDS_OUT = ".xyz, .txt, .asc, .bin, .las, .ply or .list";

// ---- Files that are read. Their content decides where it has a signature, else their names.

/// Points can be read from the file.
bool isPointInput(const std::string& filename);
/// Triangles can be read from the file.
bool isTriangleInput(const std::string& filename);
/// A mesh or a cloud as glTF, as bytes (.glb) or text (.gltf).
bool isGltfInput(const std::string& filename);
/// A file that gzip compressed, by its content.
bool isGzipInput(const std::string& filename);
/// Whether the first bytes of a file tell what it is.
bool isKnownByContent(const std::string& filename);
/// A line that the content of a glTF file isn't what its name says; empty where it is.
std::string wrongGltfName(const std::string& filename);
/// True for an .stl file, for a .ply or .off file whose header counts faces, and for an .obj or glTF file that has one.
/// Reads the header, an .obj up to its first face, or a glTF file.
bool holdsTriangles(const std::string& filename);

// ---- Files that are written, by their names

/// The file has points and nothing else: .xyz, .txt, .asc, .bin, .las.
bool isPointsOnlyFile(const std::string& filename);
/// The file has points as text: .xyz, .txt, .asc.
bool isPointsText(const std::string& filename);
/// Points can be written to the file and read back: .xyz, .txt, .asc, .bin, .las, .ply.
bool isPointFile(const std::string& filename);
/// A mesh can be written to the file.
bool isMeshOutput(const std::string& filename);
/// Vertices have numbers in the file of a mesh.
bool numbersVertices(const std::string& filename);
/// What vertices carry can be written to the file: .ply, .glb, colours and normals to .obj and .off, colours to .3mf.
bool holdsVertexAttributes(const std::string& filename);
/// What points carry can be written to the file: .ply, .las.
bool holdsPointAttributes(const std::string& filename);
bool isLasName(const std::string& filename);
bool isPlyFile(const std::string& filename);
bool isStlFile(const std::string& filename);
bool isObjFile(const std::string& filename);
bool isOffFile(const std::string& filename);
/// The binary form of glTF.
bool isGlbFile(const std::string& filename);
/// A package for printers: .3mf.
bool isThreeMfFile(const std::string& filename);
/// A drawing for the Geomview viewer: .list.
bool isListFile(const std::string& filename);
