#pragma once

#include <cstddef>
#include <vector>

namespace TARN_KEL {

class RMesh;
class RTriangle;

/// Takes the flat triangles out of a fine mesh: those with a height of no more than a millionth of their longest side. Short
/// sides are collapsed, and where a corner lies on the side opposite it the triangles beyond are cut there, so that no
/// hole opens. Nothing moves by more than that height. Few flat triangles that make each other flat again are dropped.
/// Triangles with equal corners may be left. Returns how many flat triangles there were. O(n), and O(k log k) for each flat
/// triangle with k triangles at its corners.
std::size_t removeFlatTriangles(RMesh& mesh);

/// The same on a manifold mesh by steps that keep it one, none of which makes a border or parts what hangs together: where
/// the usual step isn't one of them, by a collapse near it that is. A tetrahedron with a flat face goes as a whole. vLeft is
/// overwritten by the flat triangles that had to stay.
std::size_t removeFlatKeepingManifold(RMesh& mesh, std::vector<RTriangle*>& vLeft);

}  // namespace TARN_KEL
