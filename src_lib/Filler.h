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
/// The cells of a thinned cloud form one or more sheets, one cell thick. Each becomes a Component with two coloured sides.
/// Each rim cell looks for the nearest rim cell of another sheet. Where two face each other, they vote whether the two
/// colourings agree, and sheets are flipped, the surest first, until they do. Sheets that are connected by votes form one
/// master component, which grows a signed field from the two sides. Where its sign changes, surface is missing.
///
/// All cells are packed codes; distances between them are in cells. A Filler runs once; the calling thread leads, and fields
/// and sorts use the pool.
class Filler {
public:
    using VRCDPoint = std::vector<std::pair<RCD, Point3>>;
    using AffiPair = std::pair<AffiData*, AffiData*>;

    /// growSteps: the largest number of steps that a field grows; above 0 for run().
    /// vBorderRCD: the rim cells, sorted; not copied.
    /// vAreaRCD: the inner cells, all different from these.
    /// vRCDPoint: all cells with their points, sorted; not copied. vBorderRCD, vRCDPoint and the grid must outlive the
    /// Filler.
    Filler(int growSteps, VRCD& vBorderRCD, VRCD& vAreaRCD, const VRCDPoint& vRCDPoint, Calc* pGrid);
    ~Filler();
    Filler(const Filler&) = delete;
    Filler& operator=(const Filler&) = delete;

    /// All steps: appends the proposed cells, each with a point in it, then sorts the whole of vOut by code. No cell is
    /// proposed twice, and none that is occupied.
    /// Cost: O(n log n) for n cells, and for the corners of all fields as for Component::run().
    void run(VRCDPoint& vOut);

    // ---- Its steps

    /// Creates the sheets, coloured, and enters their rim cells in the index.
    /// Cost: O(n log n).
    void createComponents();
    /// Appends the pairs of rim cells of different sheets that face each other, the lower pointer first. The partner of a
    /// rim cell is the nearest one nearer than maxDist, of equally near ones the last in the order of the index. The pair is
    /// left out when it is 3 cells or more farther apart than one of the two is from its nearest partner. Pairs that chose
    /// each other are appended twice. Sheets of at most 4 cells are partners only within 5 times the grid's cell edge. Cost:
    /// O(n log n) for n rim cells.
    void determineAffiliation(int maxDist, std::vector<AffiPair>& vPairs);
    /// Lets the pairs vote, and flips sheets until equal colours are on the same side, as far as the votes agree. Two sheets
    /// share one vote, the sum of their pairs. Cost: O(log n) for each pair; for each flip the votes of the sheets beside
    /// that one are summed again.
    void orient(std::vector<AffiPair>& vPairs);
    /// Creates a master component for each group of sheets that votes connect, in the order of their first sheets.
    /// Cost: O(n log n).
    void createMasterComponents();

    int numGrowSteps;
    bool bByOriented = false;  ///< orient() asks a sheet's oriented neighbours alone, if there is one
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

    // Addresses in a pool ascend with creation, so the order by pointer is the order of creation.
    TARN_TOOLS::SimplePool<Component> componentPool;
    TARN_TOOLS::SimplePool<AffiData> affiPool;
    TARN_TOOLS::SimplePool<ConnectionStruct> connectionPool;
};

}  // namespace TARN_KEL
