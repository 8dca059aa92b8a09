// Writer of GLB files, the binary form of glTF 2.0.
#pragma once

#include <kel.h>

#include <string>
#include <vector>

/// The middle of the box around some places, rounded to whole numbers where these are fine enough. There must be one.
TARN_KEL::Point3 centreOf(const std::vector<TARN_KEL::Point3*>& vPlaces);

/// Writes a mesh as one node with one primitive.
///
/// Places are single precision, from a centre that the node adds again as its translation, so that a mesh in map coordinates
/// keeps its shape. Colours become linear light of 16 bits a channel, as the format wants it; all other columns are
/// attributes of their own in single precision, "_HEIGHT" for "height". Normals are there when given. The file has at most 4
/// GB.
///
/// @param filename    the name of the file, which appears as a whole or not at all
/// @param pMesh       not null
/// @param attributes  a row for each vertex, or no column; nx, ny and nz aren't written
/// @param vNormals    of each vertex, or none
/// @return false when the file can't be written
bool writeGlb(const std::string& filename, const TARN_KEL::MeshPtr& pMesh, const TARN_KEL::PointAttributes& attributes,
              const std::vector<TARN_KEL::Vector3>& vNormals);
