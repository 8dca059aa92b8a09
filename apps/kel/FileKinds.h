// The kind of a file by its name, and whether it has triangles by its content.
#pragma once

#include <string>

/// What points are read from, for texts.
inline constexpr const char* POINT_KINDS_IN = ".xyz, .txt, .asc, .bin, .ply, .las, .pcd, .pts, .ptx, .csv, .obj or .off";

/// The file has points and nothing else: .xyz, .txt, .asc, .bin, .las.
bool isPointsOnlyFile(const std::string& filename);
/// The file has points as text: .xyz, .txt, .asc.
bool isPointsText(const std::string& filename);
/// Points can be written to the file and read back: .xyz, .txt, .asc, .bin, .las, .ply.
bool isPointFile(const std::string& filename);
/// Points can be read from the file: the same and what the library only reads, such as .pcd, also under another name.
bool isPointInput(const std::string& filename);
/// Triangles can be read from the file, and written: .ply, .stl, .obj, .off.
bool isTriangleFile(const std::string& filename);
/// A mesh can be written to the file: the same, .glb and .list.
bool isMeshOutput(const std::string& filename);
/// What vertices carry can be written to the file: .ply, .glb, and of .obj the colours.
bool holdsVertexAttributes(const std::string& filename);
/// What points carry can be written to the file: .ply, .las.
bool holdsPointAttributes(const std::string& filename);
/// An uncompressed LAS file by its name: .las.
bool isLasName(const std::string& filename);
bool isPlyFile(const std::string& filename);
bool isStlFile(const std::string& filename);
bool isObjFile(const std::string& filename);
bool isOffFile(const std::string& filename);
/// The binary form of glTF, only written: .glb.
bool isGlbFile(const std::string& filename);
/// A drawing for the Geomview viewer, only written: .list.
bool isListFile(const std::string& filename);

/// An E57 file, which can't be read: .e57.
bool isE57File(const std::string& filename);

/// Whether the vertices of a mesh may carry something: by the header of a .ply, by the first vertex of an .obj. False for
/// what isn't a regular file, as it can be read only once.
bool mayCarryColumns(const std::string& filename);
/// True for an .stl file, for a .ply or .off file whose header counts faces, and for an .obj file that has one. Reads the
/// header, or an .obj up to its first face.
bool holdsTriangles(const std::string& filename);
