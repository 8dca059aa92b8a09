#pragma once

#include <cstddef>

namespace TARN_KEL {

class RMesh;

/// Removes strips from a fine mesh so that edges have an even number of triangles, which makeManifold() can take apart
/// without opening one.
///
/// A strip is a patch, connected through edges of two triangles, that is small or narrow: with few triangles for its
/// boundary. Where two sheets of a soup come closer than a cell along a line, as those at an acute edge and where they pass
/// through each other do, the cells make one sheet of them, a strip between edges of three triangles. The boundary of
/// closed sheets is even, so there is a choice of strips that makes all edges even; of all choices one with few triangles is
/// looked for. Where sheets of their own meet in threes there is none: such edges stay odd.
///
/// Of a closed soup wide patches without a free edge may go as well: where two bodies touch by a face, one patch stands for
/// both faces. Those inside a body are preferred (outerPatches()).
///
/// maxSize: triangles of a patch that is small. bClosed: the mesh is of a soup whose edges have an even number of triangles.
/// Returns the number of killed triangles.
/// Cost: O(n log n) for the patches, and O(k^3 / 64) for k strips that lines join; where those are more than 2,000,
/// none of them is removed.
std::size_t removeOddStrips(RMesh& mesh, std::size_t maxSize, bool bClosed);

}  // namespace TARN_KEL
