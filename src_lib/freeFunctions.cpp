// Corners, neighbours, edges and connected components of lists of packed cell codes.
//
// Components are found without a search structure. In a sorted list of codes, the neighbours at one fixed offset ascend as
// the cells do, so a second pointer that never goes back passes all of them in one walk over the list:
//
//     list      ... a  b  c ...... d  e  f ...         two cells share a corner when their codes differ by dx, dy, dz in
//                   ^ lowest        ^ cell             -1 .. 1 steps on the axes
//     row       cell - (x step) - (y step) + {-1, 0, 1}
//
// By symmetry only the lower neighbours are looked at. Under shared corners these lie in four rows of three consecutive
// codes each, (-x -y), (-x), (-x +y) and (-y), and in the code just before the cell. A forest of disjoint sets joins them.
// The root of a set is its lowest position.
//
// With shared faces, the order of the cells in a component is that of a walk with a stack, which needs the neighbours of any
// cell at any time. So there the walks with two pointers fill a table of six positions per cell.
#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>

#include "Forest.h"
#include "codes.h"
#include "flood.h"
#include "freeFunctions.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

// A place in a sorted list of cells. Half the memory of a size_t, which the walks feel.
using Position = std::uint32_t;
constexpr Position NO_POSITION = std::numeric_limits<Position>::max();

constexpr std::array<RCD, 8> CORNER_OFFSETS{0,
                                            RCD_STEP_Z,
                                            RCD_STEP_Y,
                                            RCD_STEP_Y + RCD_STEP_Z,
                                            RCD_STEP_X,
                                            RCD_STEP_X + RCD_STEP_Z,
                                            RCD_STEP_X + RCD_STEP_Y,
                                            RCD_STEP_X + RCD_STEP_Y + RCD_STEP_Z};

// The first of count new elements at the end. Unlike reserve() it keeps repeated appending linear.
template <typename T>
T* growBy(std::vector<T>& v, std::size_t count) {
    v.resize(v.size() + count);
    return v.data() + (v.size() - count);
}

VRCD makeSortedUnique(const VRCD& vCells) {
    VRCD vSorted(vCells);
    if (!std::is_sorted(vSorted.begin(), vSorted.end())) sortMT(vSorted.begin(), vSorted.end());
    dropRepeats(vSorted);
    ASSEX(vSorted.size()<NO_POSITION);
    return vSorted;
}

// The position of a cell that is in the list. Found fast when cells are looked up in ascending order.
Position findFrom(const VRCD& vSorted, RCD rcd, Position hint) {
    for (const Position pos : {hint, hint + 1})
        if (pos < vSorted.size() && vSorted[pos] == rcd) return pos;
    return static_cast<Position>(std::lower_bound(vSorted.begin(), vSorted.end(), rcd) - vSorted.begin());
}

// Joins each cell with the cells whose codes are lower by distance - 1 to distance + 1.
void joinRow(const VRCD& vSorted, RCD distance, Forest& forest) {
    Position lowest = 0;
    for (Position pos = 0; pos < vSorted.size(); ++pos) {
        const RCD rcd = vSorted[pos];
        while (lowest < pos && rcd - vSorted[lowest] > distance + 1)
            ++lowest;
        for (Position neig = lowest; neig < pos && rcd - vSorted[neig] >= distance - 1; ++neig)
            forest.join(neig, pos);
    }
}

Forest joinCornerNeighbours(const VRCD& vSorted) {
    Forest forest(vSorted.size());
    for (Position pos = 1; pos < vSorted.size(); ++pos)
        if (vSorted[pos] - vSorted[pos - 1] == RCD_STEP_Z) forest.join(pos - 1, pos);
    for (const RCD distance : {RCD_STEP_Y, RCD_STEP_X - RCD_STEP_Y, RCD_STEP_X, RCD_STEP_X + RCD_STEP_Y})
        joinRow(vSorted, distance, forest);
    return forest;
}

// For each cell the positions of its face neighbours, in the order of RCD_FACE_STEPS; NO_POSITION for a free cell.
using FaceNeigs = std::vector<std::array<Position, 6>>;

FaceNeigs findFaceNeigs(const VRCD& vSorted) {
    FaceNeigs vNeigs(vSorted.size());
    for (auto& neigs : vNeigs)
        neigs.fill(NO_POSITION);
    for (const std::size_t iUp : {1U, 3U, 5U}) {
        Position lower = 0;
        for (Position pos = 0; pos < vSorted.size(); ++pos) {
            while (lower < pos && vSorted[pos] - vSorted[lower] > RCD_FACE_STEPS[iUp])
                ++lower;
            if (vSorted[pos] - vSorted[lower] != RCD_FACE_STEPS[iUp]) continue;
            vNeigs[pos][iUp - 1] = lower;
            vNeigs[lower][iUp] = pos;
        }
    }
    return vNeigs;
}

// The cells that can be reached from a cell over shared faces, in the order in which the stack gives them out.
VRCD walkFaces(const VRCD& vSorted, const FaceNeigs& vNeigs, Position start, std::vector<bool>& vVisited) {
    VRCD vCC;
    const auto claim = [&vVisited](Position pos) {
        if (pos == NO_POSITION || vVisited[pos]) return false;
        vVisited[pos] = true;
        return true;
    };
    const auto leave = [&](Position pos, const auto& offer) {
        vCC.push_back(vSorted[pos]);
        for (const Position neig : vNeigs[pos])
            offer(neig);
    };
    claim(start);
    std::vector<Position> vStack{start};
    flood(vStack, leave, claim);
    return vCC;
}

// Moves the components that are large enough to the end of vCCs, the largest first, and prints their sizes.
std::size_t appendBySize(std::vector<VRCD>& vTempCCs, std::size_t minSize, std::vector<VRCD>& vCCs) {
    std::vector<std::pair<std::size_t, std::size_t>> vSizeAndIdx;
    for (std::size_t i = 0; i < vTempCCs.size(); ++i)
        if (vTempCCs[i].size() >= minSize) vSizeAndIdx.emplace_back(vTempCCs[i].size(), i);
    std::stable_sort(vSizeAndIdx.begin(), vSizeAndIdx.end(), [](const auto& a, const auto& b) { return a.first > b.first; });

    out() << "\nResult of grow6_RCD: ";
    for (const auto& [siz, idx] : vSizeAndIdx) {
        VRCD& vTempCC = vTempCCs[idx];
        ASSEX(vTempCC.size()==siz);
        const VRCD& vCC = vCCs.emplace_back(std::move(vTempCC));
        ASSEX(vCC.size()==siz);
        out() << siz << " ";
    }
    out() << std::endl;
    return vSizeAndIdx.size();
}

// Calls visit(lower corner, upper corner) for the 12 edges of a cell.
template <typename Visit>
void forEachEdge(Packed cell, const Visit& visit) {
    for (const Axis along : AXES) {
        const auto [a, b] = otherAxes(along);
        for (const Packed low : {cell, cell.moved(a, 1), cell.moved(b, 1), cell.moved(a, 1).moved(b, 1)})
            visit(low.code(), low.moved(along, 1).code());
    }
}

}  // namespace

void getRCC8(const VRCD& vCells, bool bUnique, VRCC& vOut) {
    RCC* place = growBy(vOut, 8 * vCells.size());
    for (const RCD rcd : vCells)
        for (const RCD offset : CORNER_OFFSETS)
            *place++ = rcd + offset;
    if (bUnique) oneInstanceMT(vOut);
}

void getRCC6(const VRCC& vIn, bool bUnique, VRCC& vOut) {
    auto writeNeigs = [](RCC rcc, RCC* place) {
        for (const RCC offset : RCD_FACE_STEPS)
            *place++ = rcc + offset;
    };
    using Task = TransformTask_N<const RCC*, RCC*, decltype(writeNeigs)>;
    RCC* const first = growBy(vOut, 6 * vIn.size());
    runChunks(vIn.size(), numProcessors(), [&](std::size_t begin, std::size_t end) {
        return Task{vIn.data() + begin, vIn.data() + end, first + 6 * begin, 6, writeNeigs};
    });
    if (bUnique) oneInstanceMT(vOut);
}

void getRCC2RCD(const VRCD& vCells, std::vector<std::pair<RCC, RCD>>& vOut) {
    auto* place = growBy(vOut, 8 * vCells.size());
    for (const RCD rcd : vCells)
        for (const RCD offset : CORNER_OFFSETS)
            *place++ = {rcd + offset, rcd};
    sortMT(vOut.begin(), vOut.end());
}

void createCC_RCD(const VRCD& vCells, std::vector<VRCD>& vCCs) {
    const VRCD vSorted = makeSortedUnique(vCells);
    Forest forest = joinCornerNeighbours(vSorted);

    std::vector<Position> vCCOfRoot(vSorted.size(), NO_POSITION);
    Position numCCs = 0;
    Position pos = 0;
    for (const RCD rcd : vCells) {
        pos = findFrom(vSorted, rcd, pos);
        Position& iCC = vCCOfRoot[forest.findRoot(pos)];
        if (iCC == NO_POSITION) iCC = numCCs++;
    }

    VRCD* const first = growBy(vCCs, numCCs);
    for (pos = 0; pos < vSorted.size(); ++pos)
        first[vCCOfRoot[forest.findRoot(pos)]].push_back(vSorted[pos]);
}

std::size_t grow6_RCD(const VRCD& vSortedCells, std::vector<VRCD>& vCCs, std::size_t minSize) {
    const VRCD vSorted = makeSortedUnique(vSortedCells);
    const FaceNeigs vNeigs = findFaceNeigs(vSorted);
    std::vector<bool> vVisited(vSorted.size(), false);
    std::vector<VRCD> vTemp;
    for (Position pos = 0; pos < vSorted.size(); ++pos)
        if (!vVisited[pos]) vTemp.push_back(walkFaces(vSorted, vNeigs, pos, vVisited));
    return appendBySize(vTemp, minSize, vCCs);
}

void getRCDPositionsAround(RCD rcd, int radius, VRCD& vOut) {
    for (long long dx = -static_cast<long long>(radius); dx <= radius; ++dx)
        for (long long dy = -static_cast<long long>(radius); dy <= radius; ++dy)
            for (long long dz = -static_cast<long long>(radius); dz <= radius; ++dz) {
                if (dx == 0 && dy == 0 && dz == 0) continue;
                vOut.push_back(rcd + static_cast<RCD>(dx) * RCD_STEP_X + static_cast<RCD>(dy) * RCD_STEP_Y +
                               static_cast<RCD>(dz) * RCD_STEP_Z);
            }
}

void createRCCEdges(const VRCD& vCells, std::vector<std::pair<RCC, RCC>>& vOut) {
    auto* place = growBy(vOut, 12 * vCells.size());
    for (const RCD rcd : vCells)
        forEachEdge(Packed(rcd), [&place](RCC low, RCC high) { *place++ = {low, high}; });
    oneInstanceMT(vOut);
}

void createRCCEdgesToRCD(const VRCD& vCells, std::vector<std::pair<std::pair<RCC, RCC>, RCD>>& vOut) {
    auto* place = growBy(vOut, 12 * vCells.size());
    for (const RCD rcd : vCells)
        forEachEdge(Packed(rcd), [&place, rcd](RCC low, RCC high) { *place++ = {{low, high}, rcd}; });
    sortMT(vOut.begin(), vOut.end());
}

}  // namespace TARN_KEL
