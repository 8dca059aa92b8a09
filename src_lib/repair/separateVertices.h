#pragma once

namespace TARN_KEL {

class CMesh;
class Random;

/// Separates vertices at the same point, since the fine mesh can't have two vertices at one point: the one with the lowest
/// code is left, the others are moved by less than a hundredth of a cell edge. Vertices that aren't finite aren't moved.
/// Where the coordinates are too large for so small a step it warns and leaves the vertices. Cost: O(n log n).
void separateVertices(CMesh& mesh, Random& random);

}  // namespace TARN_KEL
