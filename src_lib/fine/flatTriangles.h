#pragma once

#include <cstddef>
#include <vector>

namespace TARN_KEL {

class RMesh;
class RTriangle;

/// Removes the flat triangles of a fine mesh: those whose height is at most a millionth of their longest side. Short sides
/// are collapsed; where a corner lies on the opposite side, the triangles beyond that side are cut there, so that no hole
/// opens. Nothing moves by more than that height. A few flat triangles that make each other flat again and again are killed.
/// Duplicates may arise. Steps that the mesh's watch forbids are left out; a triangle that has no other one is killed.
/// Returns the number of flat triangles found. Cost: O(n), and O(k log k) for each flat triangle with k triangles around.
std::size_t removeFlatTriangles(RMesh& mesh);

/// The same on a manifold mesh, by steps that keep it manifold, create no border and separate nothing: where the usual step
/// isn't one of these, a collapse nearby takes its place. A tetrahedron with a flat face is removed as a whole.
/// vLeft: overwritten by the flat triangles that couldn't be removed.
std::size_t removeFlatKeepingManifold(RMesh& mesh, std::vector<RTriangle*>& vLeft);

}  // namespace TARN_KEL
