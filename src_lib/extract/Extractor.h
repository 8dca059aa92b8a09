#pragma once

#include <map>
#include <memory>
#include <vector>

#include "Calc.h"
#include "Casx.h"
#include "KeyBlocks.h"

namespace TARN_KEL {

struct Bundle;
class CMesh;

/// Extracts the coarse mesh from the set of occupied cells.
///
/// The eight cells around a lattice point form a dual cube. Its key is the code of the cell whose low corner is that point.
/// The configuration of a cube, which of its cells are occupied, selects its triangles (Casx). A triangle is three cells; no
/// geometry is computed here.
///
/// An extractor owns no mesh: it creates one for the caller, or fills one that it is given. It must outlive the repair,
/// which calls it to extract again. Belongs to one thread, which has the workers help.
class Extractor {
public:
    /// pCalc, mCCD2Bundle: not owned, must outlive this object and all its meshes. Every key of the map becomes a cell.
    /// Throws (assertion) if a cell has no neighbour on the high sides of the grid. Cost: O(n) for n cells.
    Extractor(Calc* pCalc, std::map<CCD, Bundle*>& mCCD2Bundle, TRIMODE mode);

    /// Returns a new mesh of all cells. Reports like fill(). Cost: O(n).
    std::unique_ptr<CMesh> extract() const;
    /// Creates the triangles of all cells in an empty mesh, in the order of their cubes' keys; those of flat cubes (four
    /// cells on one face) come last. Reports under the steps "VO_ftx" and "VO_amb". Cost: O(n).
    void fill(CMesh& mesh) const;
    /// Completes those of the dual cubes that lack one or two cells, removes the cells opposite to the new ones where the
    /// sheet stays whole without them, resets the mesh and fills it again. The new cells get bundles of the mesh
    /// (CMesh::addBundle); as many of these as possible are collapsed into neighbours, the others are averaged. All pointers
    /// to triangles and edges are void afterwards.
    /// vKeys: the keys of the dual cubes.
    /// Throws like findCrowded(). Cost: O(n) for n cells and O(log n) per key.
    void extractAgain(CMesh& mesh, const VCCD& vKeys);

    // ---- Steps of these

    /// Finds the dual cubes of vCCD, which gets sorted and unique. Cost: linear in the number of cells, apart from a sort of
    /// their 4x4x4 blocks.
    void findCubes();

    struct CrowdedCells {
        VCCD vExtra;   ///< the cells that the cubes lack, sorted and unique
        VCCD vRemove;  ///< the cells of these cubes diagonally opposite to those, sorted and unique
    };
    /// Looks at those of the cubes that lack one or two cells. Keys without cells are skipped. Throws (assertion) for a key
    /// above all keys that have cells.
    CrowdedCells findCrowded(const VCCD& vKeys) const;
    /// Adds the extra cells to vCCD. The cubes aren't updated.
    void addCells(const VCCD& vExtra);
    /// Removes from vCCD the cells of vRemove that aren't extra ones and that RemoveDecider::isRemovable() accepts, in their
    /// order: each removal changes the answer for the next. The cubes aren't updated.
    void removeCells(const CrowdedCells& crowded);

    Calc* pCalc;                          ///< the grid, not owned
    std::map<CCD, Bundle*>& mCCD2Bundle;  ///< the cells, not owned
    VCCD vCCD;                            ///< the cells of the current extraction, ascending
    KeyBlocks cubes;                      ///< of these, as findCubes() found them last
    Casx casx;
};

}  // namespace TARN_KEL
