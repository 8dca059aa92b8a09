#include "Neighbourhoods.h"

#include "sortMT.h"

namespace TARN_KEL {

namespace {

const std::size_t MIN_PARALLEL_CELLS = 100;  // cells

/// The candidates of a cell side by side.
class Candidates {
public:
    void take(const FitPoints& points, const std::vector<FitIndex>& vCandidate) {
        const std::size_t num = vCandidate.size();
        for (std::vector<double>* pCoordinates : {&x, &y, &z})
            pCoordinates->resize(num);
        for (std::size_t k = 0; k < num; ++k) {
            const Vector3& p = points.vPlace[vCandidate[k]];
            x[k] = p.x();
            y[k] = p.y();
            z[k] = p.z();
        }
    }
    /// A bit for each of those [first, end), at most 64, within the radius of a centre.
    std::uint64_t within(const Vector3& centre, double sqRadius, std::size_t first, std::size_t end) const {
        std::uint64_t bits = 0;
        for (std::size_t k = first; k < end; ++k) {
            const double sqDistance = Vector3(x[k] - centre.x(), y[k] - centre.y(), z[k] - centre.z()).sqLength();
            bits |= static_cast<std::uint64_t>(sqDistance <= sqRadius) << (k - first);
        }
        return bits;
    }

private:
    std::vector<double> x, y, z;
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
        candidates.take(points, vCandidate);
        const bool bOneSide = areOnOneSide(points, vCandidate);
        for (std::size_t place = cell.begin; place < vCell[c + 1].begin; ++place) {
            const FitIndex point = vPoint[place];
            std::uint64_t* pWord = vBits.data() + wordOf(cell, place);
            for (std::size_t first = 0; first < vCandidate.size(); first += WORD_BITS, ++pWord) {
                const std::size_t endOfWord = std::min(first + WORD_BITS, vCandidate.size());
                *pWord = candidates.within(points.vPlace[point], sqRadius, first, endOfWord);
                if (bOneSide) continue;
                for (std::size_t k = first; k < endOfWord; ++k)
                    if (!areNeighbours(points, point, vCandidate[k])) *pWord &= ~(std::uint64_t{1} << (k - first));
            }
        }
    }
}

}  // namespace TARN_KEL
