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

/// What lies behind a free side of a cell: the cell opposite is occupied; or it is free and the cell keeps both apart; or it
/// is free and the free space round the cell joins both.
enum OppState { OPP_OCCUPIED = 0, OPP_SEPARATED = 1, OPP_CONNECTED = 2 };

/// Thins a layer of cells round a surface to a sheet one cell thick, and tells the cells at the rim of a sheet ("border")
/// from those in its middle ("area").
///
/// All tests look at the 27-block of a cell only (positions 9(dz+1) + 3(dy+1) + (dx+1), centre 13). A cell that is given up
/// is doomed: it stays in the caller's list and counts as absent, so the order of the questions matters. The block state is
/// that of the last setNewRCD(); each test starts with one. Codes are packed; occupied cells keep off the sides of the grid.
///
/// A decider lives for one cleaning step, on one thread. Each test takes constant time.
class RemoveDecider_RCD {
public:
    using VRCDPoint = std::vector<std::pair<RCD, Point3>>;

    /// Sorts vCells in place. vCells and pGrid are not owned; both must stay as they are while the decider lives.
    /// O(n log n).
    RemoveDecider_RCD(VRCD& vCells, Calc* pGrid);

    /// Makes the cell the centre of the block and forgets the last flood. Returns the number of alive positions. The centre
    /// is alive unless it is doomed, whether or not it is in the list.
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

    /// Whether the cell separates two sides: its free faces aren't all joined by way of free edge neighbours. True for a
    /// cell without a free face: an inner cell of a solid is never removed.
    bool removingCreatesGap(RCD rcd);
    /// Whether the sheet ends at the cell: the free space of the block is one region (but for corners that no flood over
    /// faces can reach), and removing the cell creates no gap.
    bool isBorder(RCD rcd);
    /// Seen from the free side idx6 of the cell, 0 to 5 for -x, +x, -y, +y, -z, +z: what lies opposite. That side must be
    /// free.
    OppState getOppState(RCD rcd, int idx6);
    /// Whether neig isn't a border cell now but is one without removeRCD, which must not be doomed.
    bool wouldBecomeNewBorder(RCD neig, RCD removeRCD);
    /// Whether a cell of the block of rcd would become a border cell without rcd. Leaves no cell current.
    bool removingCreatesAnotherBorder(RCD rcd);
    /// The corner position is free and out of reach of the last flood, and its edge neighbours a, b, c are alive: it counts
    /// as reached, since no solid lies between it and the free space round the block.
    bool isPreventedCorner(int corner, int a, int b, int c) const;
    int numPreventedCorners() const;

    // ---- Passes

    /// Replaces both lists: every alive cell is in one of them, ascending.
    void detectAreaAndBorder(VRCD& vArea, VRCD& vBorder);
    /// The border cells among vRCDs, in their order. vBorderRCDs must come in empty.
    void detectBorders(VRCD& vRCDs, VRCD& vBorderRCDs);
    /// The priority of a cell; the smaller, the earlier it goes: the number of alive face neighbours, plus the cell's edge,
    /// minus the distance in cells from its point to its midpoint. vRCDPoint is sorted and holds the cell. O(log n).
    double getWeight(VRCDPoint& vRCDPoint, RCD rcd);
    /// Dooms small pieces of rim: components of at most 40 border cells that can go without making another cell a border.
    /// Appends the doomed cells to vDoomedOut and returns their number. O(n log n).
    int prePruneSmallBorderCCs(VRCD& vDoomedOut);
    /// Dooms candidates in the order of their weights, each only when that creates no gap and, without bAllowBorder, eats no
    /// border cell; a doomed cell's face neighbours are weighed again. Passes over all candidates until one dooms none.
    /// bPrePrune: prePruneSmallBorderCCs() first, which may doom cells that are no candidates.
    /// Sorts vRemoveCandidates. vRCDPoint: sorted, holds all candidates. Appends the doomed cells to vDoomedOut and sorts
    /// the whole of it; vKeptOut becomes the candidates that are not in there. Returns the number of cells doomed.
    /// O(n log n) for the first pass, a later one costs by what has changed.
    int prunePrioq(const VRCDPoint& vRCDPoint, VRCD& vRemoveCandidates, VRCD& vKeptOut, VRCD& vDoomedOut, bool bAllowBorder,
                   bool bPrePrune);
    /// Dooms candidates under the same conditions without priorities: rounds, each from the back, until one dooms none. Both
    /// output lists come out sorted; vDoomedOut must come in empty. A candidate that is in the list twice is judged twice.
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
    CellBitmap_RCD sDoomedRCD;             ///< what was given up, in the list or not
    std::array<RCD, 27> block{};           ///< the codes of the block
    std::uint64_t aliveMask = 0;           ///< bit i: position i is in the list (the centre: or not) and not doomed
    NeighbourBlock::PositionSet sVisited;  ///< what the last flood reached

private:
    class Candidates;

    NeighbourBlock::Mask getAliveMask(RCD rcd) const;
    int setBlock(RCD rcd, NeighbourBlock::Mask alivePositions);
    NeighbourBlock::Mask freePositions() const;
    bool exists_int27(int pos) const { return (aliveMask >> pos & 1U) != 0; }
    void floodFrom(NeighbourBlock::Mask start);
    bool blockCreatesGap() const;
    bool blockJoinsFreeSpace();
    bool blockIsBorder();
    bool blockMayGo(bool bAllowBorder);
    double weigh(int numFaces, double offCentre) const;
    double getOffCentre(RCD rcd, const Point3& point) const;
    void askAll(Candidates& candidates, bool bAllowBorder);
    std::uint32_t findAt(const Candidates& candidates, std::size_t pos) const;
    template <typename Queue>
    void askNeigsAgain(Candidates& candidates, Queue& queue) const;
    template <typename Queue>
    void weighFacesAgain(Candidates& candidates, Queue& queue, int numLost) const;
    int prunePass(Candidates& candidates, VRCD& vDoomedOut, bool bAllowBorder);

    CellBitmap_RCD alive;  // what is in the list and not doomed
};

}  // namespace TARN_KEL
