#pragma once

#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "Calc.h"
#include "Casx.h"

namespace TARN_KEL {

struct Bundle;
class CMesh;

/// The extraction: from the set of occupied cells to the first coarse mesh.
///
/// The eight cells round a lattice point form a dual cube, named by its key: the code of the cell whose low corner is that
/// point. vStaticVCD2CCD lists each occupied cell under the eight keys it belongs to, sorted by key, then cell, so that a
/// dual cube is a run of equal keys and nothing is ever looked up per cube. The configuration of a run selects the
/// triangles (Casx); a triangle is three cells, no geometry is made here.
///
/// A Voro may extract more than once; it must live as long as the repair that asks it to extract again. One thread.
class Voro {
public:
    /// pCalc, mCCD2Bundle: not owned, must outlive this object. All keys of the map become the cells; they must have a
    /// neighbour on the high sides of the grid (assertion). O(n) for n cells.
    Voro(Calc* pCalc, std::map<CCD, Bundle*>& mCCD2Bundle, TRIMODE mode);
    /// Deletes the mesh unless it was handed out.
    ~Voro();
    Voro(const Voro&) = delete;
    Voro& operator=(const Voro&) = delete;

    /// Builds vStaticVCD2CCD from the cells: 8 pairs of 16 bytes per cell. Needs an ascending list of cells, sorts it
    /// otherwise; one entry per different cell. Linear in the number of cells, apart from a sort of their 4x4x4 blocks.
    void setVCD2CCD();

    /// The configuration of the dual cube with that key: the sum of the masks of its cells. vCells: occupied cells of the
    /// cube, each once; any other cell is an assertion. 0 for an empty list.
    int getConfig(VCD key, std::vector<CCD>& vCells) const;

    /// Fills the mesh, a new one on the first call, the same one after a reset on later calls. Reports under the progress
    /// steps "VO_ftx" and "VO_amb"; a run must be open on the thread. O(n).
    ///
    /// The triangles come in the order of their cubes' keys; those of flat cubes (four cells on one face) come last.
    void fatExtractTriangles();

    // ---- Extracting again, for the repair

    /// Completes the dual cubes that lack one or two cells, takes the cells opposite to those out where the sheet stays
    /// whole without them, and fills the mesh anew, as fatExtractTriangles does (a first one if there was none). The new
    /// cells get bundles of the mesh (CMesh::addBundle), as many as possible are collapsed into neighbours and the rest
    /// averaged. All pointers to triangles and edges are void. Returns the mesh, which belongs to whom it belonged before.
    /// O(n) for n cells and O(log n) a key.
    CMesh* meshAgain(std::vector<CCD>& vKeys);
    /// What the cubes of these keys lack when it is one or two cells, and their cells diagonally opposite to that: appended,
    /// then both lists are sorted, each cell once. A key above all keys that have cells is an assertion; others without
    /// cells are skipped.
    void createExtraCCDs_borderFix(std::vector<CCD>& vKeys, std::vector<CCD>& vExtra, std::vector<CCD>& vRemove);
    /// Takes each cell of vRemove out of vCCD that isn't in vExtra and that RemoveDecider::isRemovable lets go, in this
    /// order: each that went changes the answer for the next. Sorts vExtra. vStaticVCD2CCD doesn't follow.
    void removeRemovable(std::vector<CCD>& vRemove, std::vector<CCD>& vExtra);
    /// Another extraction: always into a new mesh, without progress steps, and with pruneCase27() behind it. A mesh that
    /// wasn't handed out lives on as long as this object: the table may name bundles of it.
    void thinNewExtractTriangles();
    /// Kills the triangles of six configurations of a flat corner that have an edge without another triangle; extractions
    /// make none of these, other builders of the mesh may. Prints the statistics of the mesh before.
    void pruneCase27();

    /// The second pass, when all other triangles stand: a flat cube takes the diagonal that its surroundings hold. Eight
    /// entries per cube: the six cells of its two triangles, its key, its configuration. In the order of the records: a
    /// later one sees the edges of the earlier ones.
    void solveAmbiguousT(std::vector<CCD>& vAmbiguousT);

    /// The mesh; null before the first extraction. From then on it is the caller's to delete, but not while this object may
    /// be asked to extract again.
    CMesh* getCMesh() const;

    Calc* pCalc;                                      ///< the grid, not owned
    std::map<CCD, Bundle*>& mCCD2Bundle;              ///< the cells, not owned
    CMesh* pCMesh = nullptr;                          ///< owned until getCMesh hands it out
    VCCD vCCD;                                        ///< the cells of the current extraction, ascending
    std::vector<std::pair<VCD, CCD>> vStaticVCD2CCD;  ///< (key, cell), sorted
    Casx casx;

private:
    void addCells(const VCCD& vExtra);

    std::vector<std::unique_ptr<CMesh>> vFormerMeshes;
    mutable bool bHandedOut = false;
};

}  // namespace TARN_KEL
