#pragma once

namespace TARN_KEL {

class CMesh;
class Random;

/// Moves vertices that lie exactly where another one does by less than a hundredth of a cell edge, all but the one of the
/// lowest code: the fine mesh can't hold two vertices at one point. Vertices that aren't finite stay. Warns, and leaves
/// them, where the coordinates are too large for so small a step. Cost: O(n log n).
void separateVertices(CMesh& mesh, Random& random);

}  // namespace TARN_KEL
