#pragma once

#include <vector>

#include "SheetPatches.h"

namespace TARN_KEL {

class RMesh;

/// Tells which patches of a fine mesh are seen from outside: others are within a body, as the face at which two of them
/// touch.
///
/// It is looked at along the three axes, from both ends, and a patch is outside when a good part of it is seen in one of
/// these six views. So one that is seen only along its border isn't, nor is the bottom of a deep hole. patches: of the mesh.
/// Returns 1 for each that is seen. Cost: O(n log n).
std::vector<char> outerPatches(const RMesh& mesh, const SheetPatches& patches);

}  // namespace TARN_KEL
