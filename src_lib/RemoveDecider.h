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
/// All decisions depend on the 27-block of the cell only (positions 9(dz+1) + 3(dy+1) + (dx+1), centre 13). A removed cell
/// is registered as doomed: it stays in the caller's list but counts as absent from then on, so the order of the questions
/// matters. The state of the block is that of the last setNewCCD(), which each test calls first.
///
/// A decider serves one pass of decisions, on one thread. Each question takes constant time.
class RemoveDecider {
public:
    /// vCells: sorted in place; may have repeats. Cost: O(n log n). Neither vCells nor pCalc is owned; both must not change
    /// while the decider exists.
    RemoveDecider(VCCD& vCells, Calc* pCalc);

    /// Makes the cell the centre of the block and forgets the last flood.
    /// Returns the number of alive positions. The centre counts as alive unless it is doomed, whether or not it is in the
    /// list.
    int setNewCCD(CCD ccd);

    /// The simple test: at least three faces are free, no edge neighbour is connected by the cell alone, and the cell is no
    /// bridge through a wall.
    bool isRemovable(CCD ccd);
    /// The flood test: some face is free, and a flood of at most four steps through the free positions reaches every free
    /// face from the first one. False for a cell without a free face.
    bool isRemovableStrong(CCD ccd);

    /// Tests the candidates by isRemovableStrong() in rounds, each from the back, until a round dooms none. A candidate that
    /// is in the list twice is judged twice.
    /// vKeptOut: replaced by the candidates that are kept, in the order of the last round.
    /// vDoomedOut: gets the doomed ones, in the order in which they were doomed; must be empty.
    /// Returns the number of doomed cells.
    std::size_t pruneStrong(VCCD& vRemoveCandidates, VCCD& vKeptOut, VCCD& vDoomedOut);

    void registerDoomed(CCD ccd);
    bool isDoomed(CCD ccd) const { return sDoomed.contains(ccd); }

    // ---- The block of the last setNewCCD; positions 0 to 26

    /// The number of faces of the centre that are free.
    int getNumDirectVisible() const;
    /// Whether a is alive, and b and c aren't.
    bool badDiagonal(int a, int b, int c) const;
    /// Whether a and b aren't alive, and c, d, e and f are.
    bool badDirect(int a, int b, int c, int d, int e, int f) const;
    /// Appends the face neighbours of the position that lie in the block, in the order +1, -1, +3, -3, +9, -9.
    void getNeigs(int pos, std::vector<int>& vOut) const;
    /// Whether b is a position in the same row as a, in the same layer as a, or a position at all.
    static bool ewok(int a, int b);
    static bool nsok(int a, int b);
    static bool udok(int b);
    VCCD* pvCCD;                           ///< the caller's list, sorted
    Calc* pCalc;                           ///< the grid, not owned
    CCD curCCD = ~CCD{0};                  ///< the centre; all ones before the first setNewCCD
    CellBitmap sDoomed;                    ///< the registered cells, in the list or not
    std::array<CCD, 27> block{};           ///< the codes of the block
    std::uint64_t aliveMask = 0;           ///< bit i: position i is in the list and not doomed
    NeighbourBlock::PositionSet sVisited;  ///< what the last flood reached

private:
    bool isAlive(int pos) const { return (aliveMask >> pos & 1U) != 0; }

    CellBitmap alive;  // the cells of the list that aren't doomed
};

}  // namespace TARN_KEL
