#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "Calc.h"
#include "Component.h"
#include "SimplePool.h"
#include "connections.h"
#include "kel.h"
#include "octree/Octree.h"

namespace TARN_KEL {

/// Proposes cells that close the gaps between sheets of cells and within them.
///
/// The cells of a thinned raster are one or more sheets, one cell thick. Each becomes a Component with two coloured sides.
/// The rim cells look for the nearest rim cell of another sheet; where they face each other they vote whether the two
/// colourings agree, and sheets are flipped, the surest first, until they do. The sheets that hang together form one master
/// component, which grows a signed field from the two sides; where its sign changes, surface is missing.
///
/// All cells are packed codes, distances between them in cells. A Filler runs once, on the calling thread.
class Filler {
public:
    using VRCDPoint = std::vector<std::pair<RCD, Point3>>;
    using AffiPair = std::pair<AffiData*, AffiData*>;

    /// growSteps: the most steps that the field grows; above 0 for run(). vBorderRCD, which is sorted, and vAreaRCD: the rim
    /// cells and the inner ones, all different; vRCDPoint: all of them with their points, sorted. The first, the last and
    /// the grid are referred to and must outlive the Filler.
    Filler(int growSteps, VRCD& vBorderRCD, VRCD& vAreaRCD, const VRCDPoint& vRCDPoint, Calc* pGrid);
    ~Filler();
    Filler(const Filler&) = delete;
    Filler& operator=(const Filler&) = delete;

    /// The whole labelling: appends the proposed cells, each with a point in it, then sorts the whole of vOut by code; no
    /// cell twice, and none that is there already. O(n log n) for n cells, and for the corners of all fields as much as
    /// Component::run().
    void run(VRCDPoint& vOut);

    // ---- Its steps

    /// Makes the sheets, coloured, and enters their rim cells in the index. O(n log n).
    void createComponents();
    /// Appends the pairs of rim cells of different sheets that face each other, the lower pointer first: each rim cell with
    /// the nearest one nearer than maxDist that isn't 3 cells or more farther off than the nearest partner of either. Pairs
    /// that chose each other come twice. Of equally near cells the last one in the order of the index is the partner. Sheets
    /// of at most 4 cells are partners from no farther than 5 times the grid's cell edge. O(n log n) for n rim cells.
    void determineAffiliation(int maxDist, std::vector<AffiPair>& vPairs);
    /// Lets the pairs vote, and flips sheets until like colours lie on the same side, as far as the votes agree. O(log n)
    /// for each pair. Two sheets share one vote, the sum of their pairs; a sheet that is flipped has the votes of all sheets
    /// beside it summed once more.
    void orient(std::vector<AffiPair>& vPairs);
    /// Makes a master component of each group of sheets that votes connect, in the order of their first sheets. O(n log n).
    void createMasterComponents();

    int numGrowSteps;
    VRCD& vGlobalBorderRCD;
    VRCD vGlobalAreaRCD;
    const VRCDPoint& vGlobalRCDPoint;
    Calc* pCalc;
    std::vector<Component*> vComponents;        ///< the sheets, owned, in the order of their first cells
    std::vector<Component*> vMasterComponents;  ///< owned
    std::vector<AffiData*> vAffi;               ///< all rim cells, sheet by sheet
    std::unique_ptr<TARN_OCTREE::Octree> pOctree;

private:
    void createSheet(const VRCD& vCells);
    void castVotes(const std::vector<AffiPair>& vPairs);
    void orientSheets();

    // Addresses in a pool ascend with creation, so an order by pointer is the order of making.
    TARN_TOOLS::SimplePool<Component> componentPool;
    TARN_TOOLS::SimplePool<AffiData> affiPool;
    TARN_TOOLS::SimplePool<ConnectionStruct> connectionPool;
};

}  // namespace TARN_KEL
