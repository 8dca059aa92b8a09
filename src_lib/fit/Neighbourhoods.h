#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

#include "FitPoints.h"
#include "PointGrid.h"
#include "sortMT.h"

namespace TARN_KEL {

constexpr double SAME_SIDE = -0.2;  // cosine of the sides of two neighbours

/// Whether two points, if they are near, are of one sheet: of one piece of the mesh, seen from the same side. Walls never
/// mix.
inline bool areNeighbours(const FitPoints& points, std::size_t i, std::size_t j) {
    return points.vPiece[i] == points.vPiece[j] && points.vSide[i] * points.vSide[j] > SAME_SIDE;
}

/// The neighbours of each point within a radius, itself included.
class Neighbourhoods {
public:
    Neighbourhoods(const FitPoints& points, double theRadius) : radius(theRadius), vRange(points.size()) {
        const PointGrid grid(points.vPlace, radius);
        const std::size_t numChunks = std::max<std::size_t>(1, grid.numCells() / CELLS_PER_CHUNK);
        vChunk.resize(numChunks);
        forChunks_MT(numChunks, [&](std::size_t begin, std::size_t end) {
            for (std::size_t chunk = begin; chunk < end; ++chunk)
                fillChunk(points, grid, chunk, grid.numCells() * chunk / numChunks,
                          grid.numCells() * (chunk + 1) / numChunks);
        });
    }

    double getRadius() const { return radius; }
    /// Positions of points.
    std::span<const FitIndex> of(std::size_t i) const {
        const Range& range = vRange[i];
        return std::span(vChunk[range.chunk]).subspan(range.begin, range.end - range.begin);
    }

private:
    static constexpr std::size_t CELLS_PER_CHUNK = 256;
    struct Range {
        FitIndex chunk = 0, begin = 0, end = 0;
    };

    void fillChunk(const FitPoints& points, const PointGrid& grid, std::size_t chunk, std::size_t begin, std::size_t end) {
        std::vector<FitIndex>& vNeighbour = vChunk[chunk];
        FitIndex i = 0;
        grid.visitCells(
            begin, end,
            [&](FitIndex place) {
                i = place;
                const auto next = static_cast<FitIndex>(vNeighbour.size());
                vRange[i] = {static_cast<FitIndex>(chunk), next, next};
            },
            [&](FitIndex j, double) {
                if (!areNeighbours(points, i, j)) return;
                vNeighbour.push_back(j);
                ++vRange[i].end;
            });
    }

    double radius;
    std::vector<Range> vRange;                  // of each point, in the list of its chunk
    std::vector<std::vector<FitIndex>> vChunk;  // lists of some hundred cells each: none is copied to grow another one
};

}  // namespace TARN_KEL
