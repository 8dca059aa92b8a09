#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "Calc.h"
#include "sortedCodes.h"

namespace TARN_KEL {

/// Finds the neighbours of one cell after the other in a sorted list of codes, or of pairs with a code first.
///
/// A block of cells is (2 RADIUS + 1)^2 rows along z, each a run of consecutive codes. Blocks must be visited in ascending
/// order of their cells. So the position of each row in the list never goes back: it moves on in steps that double, and a
/// walk over all cells is linear. The first cell costs a search for each row.
template <typename Element, int RADIUS = 1>
class NeighbourWalk {
public:
    static constexpr int WIDTH = 2 * RADIUS + 1;
    static constexpr int CENTRE = WIDTH * WIDTH * WIDTH / 2;
    /// The position of an offset in the block: ascending with the codes, z fastest.
    static constexpr int positionOf(int dx, int dy, int dz) {
        return ((dx + RADIUS) * WIDTH + dy + RADIUS) * WIDTH + dz + RADIUS;
    }

    /// vSorted: not copied; must outlive this object.
    explicit NeighbourWalk(const std::vector<Element>& vSorted) : vCell(vSorted) {}

    /// Calls visit(position in the block, position in the list) for each cell of the block that is in the list, in ascending
    /// order; the cell itself included.
    template <typename Visit>
    void visitBlock(RCD rcd, const Visit& visit) {
        for (int row = 0; row < WIDTH * WIDTH; ++row) {
            // Signed, so that a row below the first code of all is just empty.
            const long long first = static_cast<long long>(rcd) + offsetOf(row) - RADIUS;
            std::size_t& position = positions[static_cast<std::size_t>(row)];
            advance(position, first);
            for (std::size_t i = position; i < vCell.size() && codeAt(i) < first + WIDTH; ++i)
                visit(row * WIDTH + static_cast<int>(codeAt(i) - first), i);
        }
    }

private:
    static constexpr long long offsetOf(int row) {
        return (row / WIDTH - RADIUS) * static_cast<long long>(RCD_STEP_X) +
               (row % WIDTH - RADIUS) * static_cast<long long>(RCD_STEP_Y);
    }
    long long codeAt(std::size_t i) const { return static_cast<long long>(codeOf(vCell[i])); }

    // Moves a position to the first cell that isn't below the code.
    void advance(std::size_t& position, long long code) const {
        const auto itFrom = vCell.begin() + static_cast<std::ptrdiff_t>(position);
        const auto it = findFirstNear(itFrom, vCell.end(), static_cast<RCD>(std::max(code, 0LL)));
        position = static_cast<std::size_t>(it - vCell.begin());
    }

    const std::vector<Element>& vCell;
    std::array<std::size_t, static_cast<std::size_t>(WIDTH* WIDTH)> positions{};  // of the rows
};

}  // namespace TARN_KEL
