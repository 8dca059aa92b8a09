// Sets of cells on a grid of unit cells, by coordinates. All lists come ascending, each cell once.
#pragma once

#include "Calc.h"
#include "support/names.h"

namespace TARN_TEST {

/// 2^12 cells of length 1 along every axis, low corner at the origin.
inline Calc unitGrid() {
    return {0.0, 0.0, 0.0, 4096.0, 4096.0, 4096.0, 12};
}

inline CCD cellAt(int x, int y, int z) {
    const auto spread = [](int c) { return spreadBits(static_cast<unsigned long long>(c)); };
    return spread(x) << 2 | spread(y) << 1 | spread(z);
}

/// The cells (base + i, base + j, base + k) with i, j, k below num for which isOccupied(i, j, k) holds. The default base
/// has a side between blocks of every size up to 512 close by.
template <typename IsOccupied>
VCCD cellsWhere(int num, const IsOccupied& isOccupied, int base = 510) {
    VCCD vCell;
    for (int i = 0; i < num; ++i)
        for (int j = 0; j < num; ++j)
            for (int k = 0; k < num; ++k)
                if (isOccupied(i, j, k)) vCell.push_back(cellAt(base + i, base + j, base + k));
    std::sort(vCell.begin(), vCell.end());
    return vCell;
}

/// Each cell of a cube of num cells along every axis with the given chance.
inline VCCD randomCells(int num, double chance, unsigned seed, int base = 510) {
    std::mt19937 random(seed);
    const auto limit = static_cast<std::uint32_t>(chance * 4294967295.0);
    return cellsWhere(
        num, [&](int, int, int) { return random() < limit; }, base);
}

/// The outermost layer of the cells in a ball: a cell's midpoint is within the radius, that of a face neighbour isn't.
inline VCCD sphereShell(int radius) {
    const auto isInside = [radius](int i, int j, int k) {
        const long long x = 2 * (i - radius) - 1, y = 2 * (j - radius) - 1, z = 2 * (k - radius) - 1;
        return x * x + y * y + z * z <= 4LL * radius * radius;
    };
    return cellsWhere(
        2 * radius + 2,
        [&](int i, int j, int k) {
            return isInside(i, j, k) && !(isInside(i - 1, j, k) && isInside(i + 1, j, k) && isInside(i, j - 1, k) &&
                                          isInside(i, j + 1, k) && isInside(i, j, k - 1) && isInside(i, j, k + 1));
        },
        1000);
}

}  // namespace TARN_TEST
