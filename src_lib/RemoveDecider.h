#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Calc.h"
#include "CellBitmap.h"
#include "NeighbourBlock.h"

namespace TARN_KEL {

/// Tells whether an occupied cell may be taken out of a set of cells without opening a way through the surface.
///
/// All decisions look at the 27-block of the cell only (positions 9(dz+1) + 3(dy+1) + (dx+1), centre 13). A cell that is
/// given up is registered as doomed: it stays in the caller's list and counts as absent from then on, so the order of the
/// questions matters. The block state is that of the last setNewCCD; each test starts with one.
///
/// A decider lives for one pass of decisions, on one thread. Each question takes constant time.
class RemoveDecider {
public:
    /// Sorts vCells in place; repeats in it do no harm. vCells and pCalc are not owned; both must stay as they are while
    /// the decider lives. O(n log n).
    RemoveDecider(VCCD& vCells, Calc* pCalc);

    /// Makes the cell the centre of the block and forgets the last flood. Returns the number of alive positions. The centre
    /// counts as alive unless it is doomed, whether or not it is in the list.
    int setNewCCD(CCD ccd);

    /// The simple test: at least three faces are free, no edge neighbour is connected by the cell alone, and the cell is no
    /// bridge through a wall.
    bool isRemovable(CCD ccd);
    /// The flood test: some face is free, and a flood of at most four steps through the free positions reaches every free
    /// face from the first one. False for a cell without a free face.
    bool isRemovableStrong(CCD ccd);

    /// Rounds of isRemovableStrong over the candidates, each from the back, until a round dooms none. vDoomedOut is in the
    /// order of dooming and must come in empty, vKeptOut becomes the others in the order of the last round. Returns the
    /// number of doomed cells. A candidate that is in the list twice is judged twice.
    std::size_t pruneStrong(VCCD& vRemoveCandidates, VCCD& vKeptOut, VCCD& vDoomedOut);

    void registerDoomed(CCD ccd);
    bool isDoomed(CCD ccd) const { return sDoomed.contains(ccd); }

    // ---- The block of the last setNewCCD; positions 0 to 26

    /// The number of faces of the centre that are free.
    int getNumDirectVisible() const;
    /// a is alive, b and c are not.
    bool badDiagonal(int a, int b, int c) const;
    /// a and b are not alive, c, d, e and f are.
    bool badDirect(int a, int b, int c, int d, int e, int f) const;
    /// Appends the face neighbours of the position that lie in the block, in the order +1, -1, +3, -3, +9, -9.
    void getNeigs(int pos, std::vector<int>& vOut) const;
    /// Whether b is a position in the row of a, in the layer of a, at all.
    static bool ewok(int a, int b);
    static bool nsok(int a, int b);
    static bool udok(int b);
    VCCD* pvCCD;                           ///< the caller's list, sorted
    Calc* pCalc;                           ///< the grid, not owned
    CCD curCCD = ~CCD{0};                  ///< the centre; all ones before the first setNewCCD
    CellBitmap sDoomed;                    ///< what was registered, in the list or not
    std::array<CCD, 27> block{};           ///< the codes of the block
    std::uint64_t aliveMask = 0;           ///< bit i: position i is in the list and not doomed
    NeighbourBlock::PositionSet sVisited;  ///< what the last flood reached

private:
    bool isAlive(int pos) const { return (aliveMask >> pos & 1U) != 0; }

    CellBitmap alive;  // what is in the list and not doomed
};

}  // namespace TARN_KEL
