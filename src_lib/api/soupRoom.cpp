// Estimates the memory that a melt takes.
#include "soupRoom.h"

#include <unistd.h>

#include <cmath>
#include <cstddef>

#include "textNumbers.h"

namespace TARN_KEL {

namespace {

constexpr double CELLS_PER_SQUARE = 1.5;  // of the surface, at all angles to the grid

double soupArea(const std::vector<Point3>& vCorners) {
    double area = 0.0;
    for (std::size_t i = 0; i + 2 < vCorners.size(); i += 3) {
        const double twice = crossProduct(vCorners[i + 1] - vCorners[i], vCorners[i + 2] - vCorners[i]).length();
        if (std::isfinite(twice)) area += twice / 2.0;
    }
    return area;
}

std::string shortNumber(double value) {
    std::string text;
    appendNumber(text, value, 2);
    return text;
}

}  // namespace

std::string soupRoomFault(const std::vector<Point3>& vCorners, double spacing, double bytesPerCell) {
    constexpr double GIGABYTE = 1e9, ROUNDED_UP = 1.05;
    const double memory = static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGE_SIZE));
    const double area = soupArea(vCorners), numCells = CELLS_PER_SQUARE * area / (spacing * spacing);
    const double needed = numCells * bytesPerCell;
    if (!(memory > 0.0) || !(spacing > 0.0) || !(needed > memory)) return {};
    const double fitting = ROUNDED_UP * std::sqrt(CELLS_PER_SQUARE * area * bytesPerCell / memory);
    return "A spacing of " + shortNumber(spacing) + " makes about " + shortNumber(numCells) +
           " cells of the triangles, which take " + shortNumber(needed / GIGABYTE) + " GB of memory, and there are " +
           shortNumber(memory / GIGABYTE) + ": take at least " + shortNumber(fitting);
}

}  // namespace TARN_KEL
