// A view is a grid of columns. Of the triangles in a column, those near its end are seen.
#include "outerPatches.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <tuple>

#include "RMesh.h"
#include "runs.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

constexpr double WIDTH = 2.0;       // of a column, in cells: some triangles of each sheet that goes through it
constexpr double DEPTH = 2.0;       // cells from the end of a column: what rises steeply is as deep there
constexpr double SEEN_SHARE = 0.3;  // of a patch's triangles

struct Entry {
    std::array<double, 2> column;  // whole numbers
    double depth;
    SheetPatches::Patch patch;
};

std::vector<Entry> viewAlong(std::size_t axis, const RMesh& mesh, const SheetPatches& patches) {
    std::vector<Entry> vEntry;
    for (const RTriangle* pRT : mesh.vRT) {
        if (!pRT->isAlive()) continue;
        const auto& [pA, pB, pC] = pRT->aCorners;
        const Vector3 middle = ((*pA - Point3()) + (*pB - Point3()) + (*pC - Point3())) / 3.0;
        const std::array<double, 3> place{middle.x(), middle.y(), middle.z()};
        const auto columnOf = [&](std::size_t i) { return std::floor(place[(axis + i) % 3] / (WIDTH * mesh.sideLen)); };
        vEntry.push_back({{columnOf(1), columnOf(2)}, place[axis], patches[mesh.poolRT.indexOf(pRT)]});
    }
    sortMT(vEntry.begin(), vEntry.end(), [](const Entry& a, const Entry& b) {
        return std::tie(a.column, a.depth, a.patch) < std::tie(b.column, b.depth, b.patch);
    });
    return vEntry;
}

}  // namespace

std::vector<char> outerPatches(const RMesh& mesh, const SheetPatches& patches) {
    std::vector<char> vOuter(patches.size());
    for (std::size_t axis = 0; axis < 3; ++axis) {
        std::vector<std::array<std::size_t, 2>> vNumSeen(patches.size());
        const std::vector<Entry> vEntry = viewAlong(axis, mesh, patches);
        forEachRun(
            vEntry.begin(), vEntry.end(), [](const Entry& entry) { return entry.column; },
            [&](auto first, auto end) {
                const double low = first->depth + DEPTH * mesh.sideLen, high = (end - 1)->depth - DEPTH * mesh.sideLen;
                for (auto it = first; it != end; ++it) {
                    if (it->depth < low) ++vNumSeen[it->patch][0];
                    if (it->depth > high) ++vNumSeen[it->patch][1];
                }
            });
        for (SheetPatches::Patch patch = 0; patch < patches.size(); ++patch) {
            const double enough = SEEN_SHARE * static_cast<double>(patches.trianglesOf(patch).size());
            for (const std::size_t numSeen : vNumSeen[patch])
                if (static_cast<double>(numSeen) > enough) vOuter[patch] = 1;
        }
    }
    return vOuter;
}

}  // namespace TARN_KEL
