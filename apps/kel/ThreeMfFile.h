// Writer of 3MF files, packages that slicers for printers read.
#pragma once

#include <kel.h>

#include <string>

/// Writes a mesh as one object, in single precision with six decimals; the unit of length is the millimetre, as a 3MF must
/// name one. The same mesh gives the same bytes.
///
/// @param filename    the name of the file, which appears as a whole or not at all
/// @param pMesh       not null
/// @param shift       added to each vertex before it is rounded
/// @param attributes  a row for each vertex, or no column; the colour is written, with 8 bits a channel
/// @return false, after a message, when the file can't be written
bool writeThreeMf(const std::string& filename, const TARN_KEL::MeshPtr& pMesh, const TARN_KEL::Vector3& shift,
                  const TARN_KEL::PointAttributes& attributes);
