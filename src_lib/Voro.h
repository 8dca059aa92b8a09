#pragma once

#include <map>
#include <memory>
#include <vector>

#include "Extractor.h"

namespace TARN_KEL {

/// An extractor together with its mesh, for callers who work on plain pointers. The library itself uses Extractor.
///
/// The mesh belongs to this object until getCMesh() has handed it out; from then on it is the caller's to delete, but not
/// while this object may be asked to extract again.
class Voro : public Extractor {
public:
    /// As for Extractor.
    Voro(Calc* pCalc, std::map<CCD, Bundle*>& mCCD2Bundle, TRIMODE mode);
    ~Voro();
    Voro(const Voro&) = delete;
    Voro& operator=(const Voro&) = delete;

    /// Fills the mesh: a new one on the first call, the same one after a reset on later calls. Reports, order and cost as
    /// for fill().
    void fatExtractTriangles();
    /// Returns the mesh, or null before the first extraction. From now on it is the caller's to delete.
    CMesh* getCMesh() const;

    /// Returns the configuration of the dual cube with that key: the sum of the masks of its cells, 0 for none. vCells:
    /// occupied cells of the cube, each once. Throws (assertion) for any other cell.
    int getConfig(VCD key, std::vector<CCD>& vCells) const;
    /// The second pass of an extraction, see createTrianglesOfFlatCubes().
    void solveAmbiguousT(std::vector<CCD>& vAmbiguousT);

    // ---- Extracting again, for the repair

    /// extractAgain() on this object's mesh, a first one if there was none. Returns it; it belongs to whom it belonged
    /// before.
    CMesh* meshAgain(std::vector<CCD>& vKeys);
    /// Appends what findCrowded() finds, then sorts both lists, each cell once.
    void createExtraCCDs_borderFix(std::vector<CCD>& vKeys, std::vector<CCD>& vExtra, std::vector<CCD>& vRemove);
    /// removeCells() for vRemove in the given order. Sorts vExtra.
    void removeRemovable(std::vector<CCD>& vRemove, std::vector<CCD>& vExtra);

    // ---- Beside the road: no public function of the library calls these

    /// Another extraction: always into a new mesh, without progress steps, and with pruneCase27() behind it. A mesh that
    /// wasn't handed out lives on as long as this object: the table may name bundles of it.
    void thinNewExtractTriangles();
    /// Kills the triangles of six configurations of a flat corner that have an edge without another triangle. Extractions
    /// make none of these, other builders of the mesh may. Prints the statistics of the mesh before.
    void pruneCase27();

    CMesh* pCMesh = nullptr;

private:
    void makeMesh();

    // What hasn't been handed out, the current mesh last.
    mutable std::vector<std::unique_ptr<CMesh>> vOwnedMeshes;
};

}  // namespace TARN_KEL
