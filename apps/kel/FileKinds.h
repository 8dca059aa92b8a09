// The kind of a file by its name, and for .ply by its header.
#pragma once

#include <string>

/// Points alone: .xyz, .txt, .asc, .bin.
bool isPointsOnlyFile(const std::string& filename);
/// Points as text: .xyz, .txt, .asc.
bool isPointsText(const std::string& filename);
/// Points can be read from it: .xyz, .txt, .asc, .bin, .ply.
bool isPointFile(const std::string& filename);
/// Triangles can be read from it: .ply, .stl.
bool isTriangleFile(const std::string& filename);
bool isPlyFile(const std::string& filename);
bool isObjFile(const std::string& filename);
/// A drawing for the Geomview viewer, only written: .list.
bool isListFile(const std::string& filename);

/// Reads the file: true for an .stl and for a .ply whose header counts faces. O(length of the header).
bool holdsTriangles(const std::string& filename);
