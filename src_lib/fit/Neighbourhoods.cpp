#include "Neighbourhoods.h"

#include "LaneVector.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

const std::size_t MIN_PARALLEL_CELLS = 100;  // cells

using LaneBits = std::uint32_t __attribute__((vector_size(16)));

/// The candidates of a cell side by side, four at a time in single precision. Nearly all are clearly within the radius or
/// clearly beyond it; the rest is asked exactly.
class Candidates {
public:
    void take(const FitPoints& points, const std::vector<FitIndex>& vCandidate, const Vector3& from) {
        origin = from;
        vLane.assign((vCandidate.size() + NUM_LANES - 1) / NUM_LANES, allLanes({FAR_AWAY, 0.0, 0.0}));
        for (std::size_t k = 0; k < vCandidate.size(); ++k) {
            const Vector3 offset = points.vPlace[vCandidate[k]] - origin;
            LaneVector& lane = vLane[k / NUM_LANES];
            lane.x[k % NUM_LANES] = static_cast<float>(offset.x());
            lane.y[k % NUM_LANES] = static_cast<float>(offset.y());
            lane.z[k % NUM_LANES] = static_cast<float>(offset.z());
        }
    }
    /// A bit for each of 64 from the first on. isWithin(position): exactly.
    template <typename IsWithin>
    std::uint64_t within(const Vector3& centre, double sqRadius, std::size_t first, const IsWithin& isWithin) const {
        constexpr double DOUBT = 1e-5;  // of squares of distances; coordinates are less than three radii
        const LaneVector c = allLanes(centre - origin);
        const Lanes most = allLanes(static_cast<float>(sqRadius * (1.0 + DOUBT)));
        const Lanes least = allLanes(static_cast<float>(sqRadius * (1.0 - DOUBT)));
        std::uint64_t bits = 0, doubtful = 0;
        for (const std::size_t shift : {0U, HALF_WORD}) {
            LaneBits mask{}, surely{}, bit{1, 2, 4, 8};
            const std::size_t begin = std::min((first + shift) / NUM_LANES, vLane.size());
            const std::size_t end = std::min(begin + HALF_WORD / NUM_LANES, vLane.size());
            for (std::size_t k = begin; k < end; ++k, bit <<= NUM_LANES) {
                const Lanes sqDistance = (vLane[k] - c).sqLength();
                mask |= reinterpret_cast<LaneBits>(sqDistance <= most) & bit;
                surely |= reinterpret_cast<LaneBits>(sqDistance <= least) & bit;
            }
            bits |= allOf(mask) << shift;
            doubtful |= allOf(surely) << shift;
        }
        for (doubtful ^= bits; doubtful != 0; doubtful &= doubtful - 1)
            if (!isWithin(first + static_cast<std::size_t>(std::countr_zero(doubtful)))) bits &= ~(doubtful & -doubtful);
        return bits;
    }

private:
    static std::uint64_t allOf(LaneBits bits) { return (bits[0] | bits[1]) | (bits[2] | bits[3]); }
    static constexpr unsigned HALF_WORD = 32;

    Vector3 origin;
    std::vector<LaneVector> vLane;
};

/// Whether all are of one piece and have sides so alike that any two of them are on one side: no pair has to be asked.
bool areOnOneSide(const FitPoints& points, const std::vector<FitIndex>& vCandidate) {
    constexpr double HALF_CONE = 0.75;  // cosine; two sides of such a cone are less than a right angle apart
    const FitIndex first = vCandidate.front();
    return std::all_of(vCandidate.begin(), vCandidate.end(), [&](FitIndex j) {
        return points.vPiece[j] == points.vPiece[first] && points.vSide[j] * points.vSide[first] > HALF_CONE;
    });
}

}  // namespace

Neighbourhoods::Neighbourhoods(const FitPoints& points, double theRadius) : radius(theRadius) {
    {
        const PointGrid grid(points.vPlace, radius);
        vPoint = grid.order();
        sqRadius = grid.sqCellEdge();
        enterCells(grid);
    }
    vBits.resize(static_cast<std::size_t>(vCell.back().firstWord));
    forChunks_MT(
        vCell.size() - 1, [&](std::size_t begin, std::size_t end) { markNeighbours(points, begin, end); },
        MIN_PARALLEL_CELLS);
}

void Neighbourhoods::enterCells(const PointGrid& grid) {
    vCell.resize(grid.numCells() + 1);
    forChunks_MT(
        grid.numCells(),
        [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                Cell& cell = vCell[i];
                cell.begin = grid.beginOfCell(i);
                cell.rows = grid.rowsAround(i);
                std::size_t numCandidates = 0;
                for (const GridRun& row : cell.rows)
                    numCandidates += row.end - row.begin;
                cell.numWords = static_cast<FitIndex>((numCandidates + WORD_BITS - 1) / WORD_BITS);
            }
        },
        MIN_PARALLEL_CELLS);
    vCell.back().begin = static_cast<FitIndex>(vPoint.size());
    for (std::size_t i = 1; i < vCell.size(); ++i)
        vCell[i].firstWord = wordOf(vCell[i - 1], vCell[i].begin);
}

void Neighbourhoods::listCandidates(const Cell& cell, std::vector<FitIndex>& vCandidate) const {
    vCandidate.clear();
    for (const GridRun& row : cell.rows)
        vCandidate.insert(vCandidate.end(), vPoint.begin() + row.begin, vPoint.begin() + row.end);
}

void Neighbourhoods::markNeighbours(const FitPoints& points, std::size_t begin, std::size_t end) {
    std::vector<FitIndex> vCandidate;
    Candidates candidates;
    for (std::size_t c = begin; c < end; ++c) {
        const Cell& cell = vCell[c];
        listCandidates(cell, vCandidate);
        candidates.take(points, vCandidate, points.vPlace[vPoint[cell.begin]]);
        const bool bOneSide = areOnOneSide(points, vCandidate);
        for (std::size_t place = cell.begin; place < vCell[c + 1].begin; ++place) {
            const FitIndex point = vPoint[place];
            std::uint64_t* pWord = vBits.data() + wordOf(cell, place);
            const auto isWithin = [&](std::size_t k) {
                return (points.vPlace[vCandidate[k]] - points.vPlace[point]).sqLength() <= sqRadius;
            };
            for (std::size_t first = 0; first < vCandidate.size(); first += WORD_BITS, ++pWord) {
                *pWord = candidates.within(points.vPlace[point], sqRadius, first, isWithin);
                if (bOneSide) continue;
                for (std::uint64_t left = *pWord; left != 0; left &= left - 1)
                    if (!areNeighbours(points, point, vCandidate[first + static_cast<std::size_t>(std::countr_zero(left))]))
                        *pWord &= ~(left & -left);
            }
        }
    }
}

}  // namespace TARN_KEL
