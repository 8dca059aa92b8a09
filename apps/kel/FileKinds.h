// The kind of a file by its name, and for .ply by its header.
#pragma once

#include <string>

/// What points are read from, for texts.
inline constexpr const char* POINT_KINDS_IN = ".xyz, .txt, .asc, .bin, .ply, .las, .pcd, .pts, .ptx or .csv";

/// The file has points and nothing else: .xyz, .txt, .asc, .bin.
bool isPointsOnlyFile(const std::string& filename);
/// The file has points as text: .xyz, .txt, .asc.
bool isPointsText(const std::string& filename);
/// Points can be written to the file and read back: .xyz, .txt, .asc, .bin, .ply.
bool isPointFile(const std::string& filename);
/// Points can be read from the file: the same and what the library only reads, such as .las, also under another name.
bool isPointInput(const std::string& filename);
/// Triangles can be read from the file: .ply, .stl.
bool isTriangleFile(const std::string& filename);
bool isPlyFile(const std::string& filename);
bool isStlFile(const std::string& filename);
bool isObjFile(const std::string& filename);
/// A drawing for the Geomview viewer, only written: .list.
bool isListFile(const std::string& filename);

/// True for an .stl file and for a .ply file whose header counts faces. Reads the header of a .ply.
bool holdsTriangles(const std::string& filename);
