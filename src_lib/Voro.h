#pragma once

#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "Extractor.h"

namespace TARN_KEL {

/// An extractor together with its mesh, for callers who work on plain pointers. The library itself uses Extractor.
///
/// The mesh belongs to this object until getCMesh() has returned it. From then on the caller must delete it, but not before
/// the last extraction by this object.
class Voro : public Extractor {
public:
    /// As for Extractor.
    Voro(Calc* pCalc, std::map<CCD, Bundle*>& mCCD2Bundle, TRIMODE mode);
    ~Voro();
    Voro(const Voro&) = delete;
    Voro& operator=(const Voro&) = delete;

    /// findCubes(), and lists each cell under the eight keys to which it belongs, so that a dual cube is a run of equal
    /// keys. Memory: 8 pairs of 16 bytes per cell.
    void setVCD2CCD();
    /// Fills the mesh: a new one on the first call, the same one after a reset on later calls. Reports, order and cost as
    /// for fill().
    void fatExtractTriangles();
    /// Returns the mesh, or null before the first extraction. From now on the caller must delete it.
    CMesh* getCMesh() const;

    /// Returns the configuration of the dual cube with that key: the sum of the masks of its cells, 0 for none.
    /// vCells: occupied cells of the cube, each once. Throws (assertion) for any other cell.
    int getConfig(VCD key, std::vector<CCD>& vCells) const;
    /// The second pass of an extraction, see createTrianglesOfFlatCubes().
    void solveAmbiguousT(std::vector<CCD>& vAmbiguousT);

    // ---- Extracting again, for the repair

    /// extractAgain() on this object's mesh, or on a new one if there was none. Returns the mesh; its owner is the same as
    /// before.
    CMesh* meshAgain(std::vector<CCD>& vKeys);
    /// Appends the cells of findCrowded(), then sorts both lists, each cell once.
    void createExtraCCDs_borderFix(std::vector<CCD>& vKeys, std::vector<CCD>& vExtra, std::vector<CCD>& vRemove);
    /// removeCells() for vRemove in the given order. Sorts vExtra.
    void removeRemovable(std::vector<CCD>& vRemove, std::vector<CCD>& vExtra);

    // ---- No public function of the library calls these

    /// Another extraction: always into a new mesh, without progress steps, followed by pruneCase27(). A former mesh that
    /// wasn't returned by getCMesh() exists as long as this object: the table may refer to bundles of it.
    void thinNewExtractTriangles();
    /// Kills the triangles of six configurations of a flat corner that have a border edge. Extractions make none of these,
    /// other builders of the mesh may. Prints the statistics of the mesh first.
    void pruneCase27();

    CMesh* pCMesh = nullptr;
    std::vector<std::pair<VCD, CCD>> vStaticVCD2CCD;  ///< (key, cell), sorted

private:
    void makeMesh();
    void listPairs();

    // The meshes that getCMesh() hasn't returned, the current one last.
    mutable std::vector<std::unique_ptr<CMesh>> vOwnedMeshes;
};

}  // namespace TARN_KEL
