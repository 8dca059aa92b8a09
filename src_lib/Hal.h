#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Bundle.h"
#include "Calc.h"
#include "CoarseSurface.h"
#include "completeCubes.h"
#include "kel.h"

namespace TARN_KEL {

class CMesh;
class CloudMgr;
class IsoStore;

/// Hal::reconstruct() of a cloud that has its points. The cloud and the coarse mesh are destroyed before the fine mesh is
/// made, so that they don't need memory at once.
MeshPtr reconstructFrom(std::unique_ptr<CloudMgr> pCloudMgr);
/// The same by Hal::oneMelt().
MeshPtr meltFrom(std::unique_ptr<CloudMgr> pCloudMgr);

/// Drives a run after the point stages, in the order of the pipeline.
///
/// It takes the cells from the CloudMgr, extracts the coarse mesh, has it repaired and converts it to the fine mesh. One Hal
/// serves one run, by one of reconstruct, oneMelt, their coarse halves, toCloud and reconstructInHole. It must be destroyed
/// before its CloudMgr, because its bundles and its grid belong to the cloud. The calling thread leads; the stages use the
/// worker pool.
class Hal {
public:
    /// pCloudMgr: not owned; must have its points when a run starts.
    explicit Hal(CloudMgr* pCloudMgr);
    ~Hal();
    Hal(const Hal&) = delete;
    Hal& operator=(const Hal&) = delete;

    /// Makes a mesh from scan points. Returns null after a warning when no cell is left.
    MeshPtr reconstruct();
    /// Makes a mesh from a soup. Returns null after a warning when no cell is left.
    MeshPtr oneMelt();
    /// What these two make their mesh of; none after a warning when no cell is left. Everything else that a run has made can
    /// be destroyed before makeFineMesh().
    std::optional<CoarseSurface> reconstructCoarse();
    std::optional<CoarseSurface> meltCoarse();
    static MeshPtr makeFineMesh(const CoarseSurface& surface);
    /// Makes points from a soup: appends those of the cells, which are owned by the cloud.
    void toCloud(std::vector<Point3*>& vOut);
    /// Reconstructs inside a hole. Returns a self-contained mesh that belongs to the caller and may outlive this object and
    /// the cloud. Returns null after a warning when no cell is left.
    CMesh* reconstructInHole();

    /// Sorts the bundles by cell code and enters them in the map; existing entries aren't replaced. Cost: O(n log n).
    void mapCCD();
    /// The coarse mesh after the extraction, as far as it is repaired; owned here. reconstructInHole() returns a copy.
    CMesh* getCMesh() const;

    /// To be called after a run. Adds a cell for each cell of vPoints that isn't in the map, with the mean of its points;
    /// the new points and bundles are owned here.
    /// Throws (assertion) before a run. Cost: O(n log n).
    void integrateFillPixels(std::vector<Point3>& vPoints);
    /// To be called after a run. Returns its bundles as a bit volume of blocks of 32 cells along each axis, which must not
    /// outlive this object. Sorts the bundles by cell code. Cells that were removed from an earlier store are set again.
    /// Throws (assertion) before a run. Cost: O(n log n).
    std::shared_ptr<IsoStore> getIsoStore();
    /// Normalises the normals of the bundles and marks in each the axes that are more than 50 degrees away from it:
    /// 4 for x, 2 for y, 1 for z.
    void setForbiddenDirections();

    // ---- Drawings for debugging, each into a file of its own. They throw (assertion) while there is nothing to draw.

    /// The cells that have bundles.
    void showCCD(const std::string& filename) const;
    /// The coarse mesh, its edges by degree.
    void showMesh(const std::string& filename) const;
    /// The alive triangles of the coarse mesh, coloured by the configuration of the dual cube that they come from
    /// (Visualizer3::getColor).
    void showMeshCases(const std::string& filename) const;

private:
    bool takeBundles(const std::string& nothingToDo);
    void sortBundles();
    void extractAndRepair(void (*repair)(CMesh&, const ExtractAgain&));

    CloudMgr* pCloudMgr;    // not owned
    Calc* pCalc = nullptr;  // the cloud's
    std::unique_ptr<CMesh> pCMesh;
    std::vector<Bundle*> vBundles;  // the cloud's; sorted by code after mapCCD
    std::map<CCD, Bundle*> mCCD2Bundle;
    std::vector<std::unique_ptr<Point3>> vFillPoints;
    std::vector<std::unique_ptr<Bundle>> vFillBundles;
};

}  // namespace TARN_KEL
