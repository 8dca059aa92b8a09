// The fine mesh inside a mesh, for functions that make a new one of it.
#pragma once

#include <memory>

#include "RMesh.h"
#include "kel.h"

namespace TARN_KEL {

/// Whether all corners of triangles are finite; with a warning, that the mesh stays as it is, when they aren't.
bool hasFiniteCorners(const RMesh& mesh);

/// Gives the mesh another fine mesh in place of its own, which is deleted. Doesn't throw: to be done last.
void install(std::unique_ptr<RMesh> pNew, Mesh& mesh);

}  // namespace TARN_KEL
