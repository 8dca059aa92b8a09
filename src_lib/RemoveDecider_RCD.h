#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "Calc.h"
#include "CellBitmap.h"
#include "NeighbourBlock.h"
#include "kel.h"

namespace TARN_KEL {

/// How the free side of a cell relates to the opposite side: the cell there is occupied; or it is free, and the cell
/// separates both; or it is free, and the free space around the cell connects both.
enum OppState { OPP_OCCUPIED = 0, OPP_SEPARATED = 1, OPP_CONNECTED = 2 };

/// Thins a layer of cells around a surface to a sheet one cell thick, and tells the cells at the rim of a sheet ("border")
/// from those in its middle ("area").
///
/// All tests depend on the 27-block of a cell only (positions 9(dz+1) + 3(dy+1) + (dx+1), centre 13). A removed cell is
/// doomed: it stays in the caller's list but counts as absent, so the order of the questions matters. The state of the block
/// is that of the last setNewRCD(), which each test calls first. Codes are packed; occupied cells must not lie at the sides
/// of the grid.
///
/// A decider serves one cleaning step, on one thread, which has the workers help with what asks all cells. Each test takes
/// constant time.
class RemoveDecider_RCD {
public:
    using VRCDPoint = std::vector<std::pair<RCD, Point3>>;

    /// vCells: sorted in place. Cost: O(n log n). Neither vCells nor pGrid is owned; both must not change while the decider
    /// exists.
    RemoveDecider_RCD(VRCD& vCells, Calc* pGrid);

    /// Makes the cell the centre of the block and forgets the last flood.
    /// Returns the number of alive positions. The centre is alive unless it is doomed, whether or not it is in the list.
    int setNewRCD(RCD rcd);
    /// The cell counts as absent from now on. It need not be in the list.
    void registerDoomed(RCD rcd);
    bool isDoomed(RCD rcd) const { return sDoomedRCD.contains(rcd); }
    /// The cells of the list that aren't doomed, sorted.
    void getAliveRCD(VRCD& vOut) const;
    /// The alive cells of the current block in block order.
    void getUnDoomedNeigs(VRCD& vOut) const { vOut = vNeigs; }
    /// Appends the face neighbours of the position that lie in the block, in the order +1, -1, +3, -3, +9, -9.
    void getDirectNeig27Positions(int pos, std::vector<int>& vOut) const;

    // ---- Tests

    /// Whether the cell separates two sides: its free faces aren't all connected through free edge neighbours. True for a
    /// cell without a free face: an inner cell of a solid is never removed.
    bool removingCreatesGap(RCD rcd);
    /// Whether the sheet ends at the cell: the free space of the block is one region (apart from corners that no flood over
    /// faces can reach), and removing the cell creates no gap.
    bool isBorder(RCD rcd);
    /// How a free side of the cell relates to the opposite one.
    /// idx6: the side, 0 to 5 for -x, +x, -y, +y, -z, +z; it must be free.
    OppState getOppState(RCD rcd, int idx6);
    /// Whether neig isn't a border cell now but would be one without removeRCD, which must not be doomed.
    bool wouldBecomeNewBorder(RCD neig, RCD removeRCD);
    /// Whether a cell of the block of rcd would become a border cell without rcd. No cell is current afterwards.
    bool removingCreatesAnotherBorder(RCD rcd);
    /// Whether the corner position is free but not reached by the last flood, while its edge neighbours a, b, c are alive.
    /// Such a corner counts as reached, since no solid lies between it and the free space around the block.
    bool isPreventedCorner(int corner, int a, int b, int c) const;
    int numPreventedCorners() const;

    // ---- Passes

    /// Replaces both lists: every alive cell is in one of them, ascending.
    void detectAreaAndBorder(VRCD& vArea, VRCD& vBorder);
    /// Finds the border cells among vRCDs. vBorderRCDs: gets them in the order of vRCDs; must be empty.
    void detectBorders(VRCD& vRCDs, VRCD& vBorderRCDs);
    /// The weight of a cell: the number of alive face neighbours, plus the cell's edge, minus the distance in cells from its
    /// point to its midpoint. Cells of smaller weight are removed earlier.
    /// vRCDPoint: sorted; has the cell.
    /// Cost: O(log n).
    double getWeight(VRCDPoint& vRCDPoint, RCD rcd);
    /// Dooms small components of border cells: those of at most 40 that can be removed without making another cell a border
    /// cell. Appends the doomed cells to vDoomedOut and returns their number. Cost: O(n log n).
    int prePruneSmallBorderCCs(VRCD& vDoomedOut);
    /// Dooms candidates in the order of their weights, as long as that creates no gap. The face neighbours of a doomed cell
    /// are weighed again. Repeats passes over all candidates until one dooms none.
    /// vRCDPoint: sorted; has all candidates.
    /// vRemoveCandidates: gets sorted.
    /// vKeptOut: replaced by the candidates that are not in vDoomedOut.
    /// vDoomedOut: the doomed cells are appended, then the whole of it is sorted.
    /// bAllowBorder: border cells may be doomed too.
    /// bPrePrune: call prePruneSmallBorderCCs() first, which may doom cells that are no candidates.
    /// Returns the number of cells doomed. Cost: O(n log n) for the first pass; a later one depends on what has changed.
    int prunePrioq(const VRCDPoint& vRCDPoint, VRCD& vRemoveCandidates, VRCD& vKeptOut, VRCD& vDoomedOut, bool bAllowBorder,
                   bool bPrePrune);
    /// Dooms candidates under the same conditions without weights: in rounds, each from the back, until one dooms none. A
    /// candidate that is in the list twice is judged twice. Both output lists are sorted; vDoomedOut must be empty before.
    std::size_t pruneStrong(VRCD& vRemoveCandidates, VRCD& vKeptOut, VRCD& vDoomedOut, bool bAllowBorder);

    // ---- Drawings for debugging, each into a file of its own

    /// The alive cells of the current block in light blue, its centre in red when there is one.
    void show(const std::string& filename) const;
    /// The alive cells up to three steps from the centre, in light gray, and the block over them as in show(). There must be
    /// a centre.
    void showBig(const std::string& filename) const;
    /// All alive cells: border cells in red, the others in light blue. The last one is current then.
    void showAliveAreaAndBorder(const std::string& filename);

    /// The positions behind the sides of getOppState().
    static constexpr std::array<int, 6> vIdx6ToIdx27 = {12, 14, 10, 16, 4, 22};

    double sideLen;                        ///< the edge of a cell
    VRCD vNeigs;                           ///< the alive cells of the block in block order, the centre among them
    VRCD* pvRCD;                           ///< the caller's list, sorted
    Calc* pCalc;                           ///< the grid, not owned
    RCD curRCD = ~RCD{0};                  ///< the centre; all ones when no cell is current
    CellBitmap_RCD sDoomedRCD;             ///< the doomed cells, in the list or not
    std::array<RCD, 27> block{};           ///< the codes of the block
    std::uint64_t aliveMask = 0;           ///< bit i: position i is in the list (the centre: or not) and not doomed
    NeighbourBlock::PositionSet sVisited;  ///< what the last flood reached

private:
    class Candidates;

    NeighbourBlock::Mask getAliveMask(RCD rcd) const;
    int setBlock(RCD rcd, NeighbourBlock::Mask alivePositions);
    NeighbourBlock::Mask blockMask() const { return static_cast<NeighbourBlock::Mask>(aliveMask); }
    bool exists_int27(int pos) const { return (aliveMask >> pos & 1U) != 0; }
    void floodFrom(NeighbourBlock::Mask start);
    bool blockIsBorder();
    double weigh(int numFaces, double offCentre) const;
    double getOffCentre(RCD rcd, const Point3& point) const;
    void askAll(Candidates& candidates, bool bAllowBorder) const;
    template <typename Queue>
    void askNeigsAgain(Candidates& candidates, std::uint32_t doomed, Queue& queue) const;
    template <typename Queue>
    void weighFacesAgain(Candidates& candidates, std::uint32_t doomed, Queue& queue) const;
    std::vector<std::uint32_t> prunePasses(Candidates& candidates, bool bAllowBorder) const;
    void prunePass(Candidates& candidates, std::vector<std::uint32_t>& vDoomed, bool bAllowBorder) const;

    CellBitmap_RCD alive;  // the cells of the list that aren't doomed
};

}  // namespace TARN_KEL
