#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Bundle.h"
#include "Calc.h"
#include "kel.h"

namespace TARN_KEL {

class CMesh;
class CloudMgr;
class Extractor;
class IsoStore;

/// Drives a run once the point stages are over: here stands the order of the pipeline.
///
/// It takes the cells that the CloudMgr left, extracts the coarse mesh, has it repaired and converts it to the fine mesh.
/// One Hal serves one run, by one of reconstruct, oneMelt, toCloud and reconstructInHole. It must die before its CloudMgr,
/// because its bundles and its grid belong to the cloud. All work is on the calling thread; the stages use the worker pool
/// for themselves.
class Hal {
public:
    /// pCloudMgr: not owned; must hold its points when a run starts.
    explicit Hal(CloudMgr* pCloudMgr);
    ~Hal();
    Hal(const Hal&) = delete;
    Hal& operator=(const Hal&) = delete;

    /// Makes a mesh from scan points. Returns null after a warning when no cell is left.
    MeshPtr reconstruct();
    /// Makes a mesh from a soup. Returns null after a warning when no cell is left.
    MeshPtr oneMelt();
    /// Makes points from a soup: appends those of the cells, which stay the cloud's.
    void toCloud(std::vector<Point3*>& vOut);
    /// Reconstructs inside a hole. Returns a mesh that is the caller's and self-contained: it outlives this object and the
    /// cloud. Returns null after a warning when no cell is left.
    CMesh* reconstructInHole();

    /// Sorts the bundles by cell code and enters them in the map; a code that is there stays as it is. Cost: O(n log n).
    void mapCCD();
    /// The coarse mesh, once the extraction ran, in the state of its repair; owned here. reconstructInHole hands a copy out.
    CMesh* getCMesh() const;

    /// Adds, once a run has taken its bundles, a cell for each cell of vPoints that the map doesn't know, with the mean of
    /// its points; the new points and bundles are owned here. Throws (assertion) before a run. Cost: O(n log n).
    void integrateFillPixels(std::vector<Point3>& vPoints);
    /// Returns the bundles that a run has taken in a bit volume of blocks of 32 cells along each axis, which must not
    /// outlive this object. Sorts them by cell code. Cells that an earlier store took out are set again. Throws (assertion)
    /// before a run. Cost: O(n log n).
    std::shared_ptr<IsoStore> getIsoStore();
    /// Normalises the normals of the bundles and marks in each the axes that are more than 50 degrees away from it:
    /// 4 for x, 2 for y, 1 for z.
    void setForbiddenDirections();

    // ---- Drawings for debugging, each into a file of its own; assertions as long as there is nothing to draw

    /// The cells that have bundles.
    void showCCD(const std::string& filename) const;
    /// The coarse mesh, its edges by degree.
    void showMesh(const std::string& filename) const;
    /// The alive triangles of the coarse mesh, one colour a configuration of the dual cube that they came from
    /// (Visualizer3::getColor).
    void showMeshCases(const std::string& filename) const;

private:
    bool takeBundles(const std::string& nothingToDo);
    void sortBundles();
    void extractAndRepair(void (*repair)(CMesh&, Extractor&));
    MeshPtr convertToFineMesh();

    CloudMgr* pCloudMgr;    // not owned
    Calc* pCalc = nullptr;  // the cloud's
    std::unique_ptr<CMesh> pCMesh;
    std::vector<Bundle*> vBundles;  // the cloud's; sorted by code after mapCCD
    std::map<CCD, Bundle*> mCCD2Bundle;
    std::vector<std::unique_ptr<Point3>> vFillPoints;
    std::vector<std::unique_ptr<Bundle>> vFillBundles;
};

}  // namespace TARN_KEL
