// From the field of a hole to the cells of the missing surface. No public function reaches them: they belong to Hole.
//
// The cells around the lattice edges where the field changes its sign form a layer of two to three cells. Cells of the old
// surface are taken out of it, and the removal test thins it to a sheet. There are two ways, by what the test sees of the
// old surface: all of the region, or the chain alone, so that the rim of the sheet lies along the chain:
//
//        chain               sheet               chain
//       --- # ---  +   +   +   +   +   +   +  --- # ---        # cells of the chain, + new ones
//
// All print how many cells there are. name: the prefix of the drawings for debugging.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Field.h"
#include "HoleRegion.h"
#include "kel.h"

namespace TARN_KEL {

class CMesh;

/// Cells with a point in each, ascending by code.
using HoleCells = std::vector<std::pair<CCD, Point3>>;

/// The cells along the zeros of the field (crossingsNear()), each with the mean of its zeros.
HoleCells zeroCells(const HoleRegion& region, const Field& field, const Calc& calc);
/// The same, with a printed line for each cell of each crossing and drawings of them.
HoleCells zeroCellsWithNotes(const HoleRegion& region, const Field& field, const Calc& calc, const std::string& name);

/// Thins zero cells beside all cells of the region. Returns those that aren't cells of it. Cost: O(n log n).
HoleCells thinBesideRegion(HoleCells zeros, const HoleRegion& region, const CMesh& mesh, const std::string& name);

/// New cells and the chain around them.
struct ChainedSheet {
    VCCD vChain;  ///< the chain's cells, and the third corners of its diagonal edges; sorted
    HoleCells cells;
};
/// Thins zero cells between the cells of the chain. Cells that are corners of triangles are left out. field: only drawn.
/// Cost: O(n log n).
ChainedSheet thinBetweenChain(HoleCells zeros, const HoleRegion& region, const Field& field, const CMesh& mesh,
                              const std::string& name);

}  // namespace TARN_KEL
