// The edges of many triangles, found all at once.
//
// Three steps, each on all workers. The shares of vertices group the entries and mark the first one of each edge. Then the
// marks are counted through, which numbers the edges in the order of the triangles. At last each share writes the numbers to
// the other entries.
#include "TriangleEdges.h"

#include <compare>
#include <numeric>
#include <utility>

#include "listsByNumber.h"
#include "runs.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// An edge of a triangle, entered at its lower end.
struct Entry {
    std::uint32_t high;
    std::uint32_t side;  // 3 * triangle + edge
    auto operator<=>(const Entry&) const = default;
};

/// What the vertices of a share have, one after the other; the entries of an edge follow each other, the first one first.
struct Group {
    ListsByNumber<Entry, std::uint32_t> entries;  // by vertex of the share
    std::size_t numEdges = 0;
};

Group groupEntries(const VertexShares& shares, const VertexShares::Share& share,
                   const std::vector<NumberTriple>& vTriangle) {
    const auto forEachEntry = [&](const auto& visit) {
        shares.forEachTriangleOf(share, [&](std::size_t t) {
            for (std::size_t k = 0; k < 3; ++k)
                if (const EdgeEnds ends = endsOfEdge(vTriangle[t], k); share.has(ends.low))
                    visit(ends.low - share.begin, Entry{ends.high, static_cast<std::uint32_t>(3 * t + k)});
        });
    };
    Group group{listsByNumber<Entry, std::uint32_t>(share.end - share.begin, forEachEntry)};
    for (std::size_t i = 0; i < group.entries.size(); ++i)
        std::sort(group.entries.begin(i), group.entries.end(i));
    return group;
}

/// visit(first entry, end) for each edge of a group, by ascending ends.
template <typename Visit>
void forEachEdge(const Group& group, const Visit& visit) {
    for (std::size_t i = 0; i < group.entries.size(); ++i)
        forEachRun(
            group.entries.begin(i), group.entries.end(i), [](const Entry& entry) { return entry.high; }, visit);
}

/// Works on all edges of some triangles at once.
class EdgeNumbering {
public:
    EdgeNumbering(const VertexShares& theShares, const std::vector<NumberTriple>& theTriangles, TriangleEdges& theResult)
        : shares(theShares), vTriangle(theTriangles), result(theResult), vGroup(theShares.getShares().size()) {}

    void run() {
        result.vOfTriangle.resize(vTriangle.size());
        result.vRepeated.assign(vTriangle.size(), 0);
        shares.forShares_MT([this](std::size_t i) {
            vGroup[i] = groupEntries(shares, shares.getShares()[i], vTriangle);
            markFirst(i);
        });
        numberMarked();
        result.vInOrder.resize(result.vEdge.size());
        std::vector<std::size_t> vFirstInOrder;
        for (std::size_t sum = 0; const Group& group : vGroup)
            vFirstInOrder.push_back(std::exchange(sum, sum + group.numEdges));
        shares.forShares_MT([&](std::size_t i) { passNumbersOn(i, result.vInOrder.data() + vFirstInOrder[i]); });
    }

private:
    static constexpr std::uint32_t MARK = 1;

    std::uint32_t& numberAt(const Entry& entry) { return result.vOfTriangle[entry.side / 3][entry.side % 3]; }

    std::uint32_t thirdCorner(const Entry& entry) const {
        return vTriangle[entry.side / 3][std::array<std::size_t, 3>{2, 0, 1}[entry.side % 3]];
    }

    void markFirst(std::size_t i) {
        Group& group = vGroup[i];
        std::vector<std::pair<std::uint32_t, std::uint32_t>> vThird;
        forEachEdge(group, [&](auto first, auto end) {
            ++group.numEdges;
            numberAt(*first) = MARK;
            if (end - first > 1) markRepeated(first, end, vThird);
        });
    }

    /// Of triangles with the same corners, at the edge of their two lowest ones.
    /// vThird: working space, for pairs of the highest corner and the triangle.
    template <typename Iterator>
    void markRepeated(Iterator first, Iterator end, std::vector<std::pair<std::uint32_t, std::uint32_t>>& vThird) {
        vThird.clear();
        for (Iterator it = first; it != end; ++it)
            if (const std::uint32_t third = thirdCorner(*it); third > it->high) vThird.emplace_back(third, it->side / 3);
        std::sort(vThird.begin(), vThird.end());
        for (std::size_t j = 1; j < vThird.size(); ++j)
            if (vThird[j].first == vThird[j - 1].first) result.vRepeated[vThird[j].second] = 1;
    }

    void numberMarked() {
        constexpr std::size_t STRETCH = 4096;
        const std::size_t numStretches = (vTriangle.size() + STRETCH - 1) / STRETCH;
        std::vector<std::uint32_t> vFirst(numStretches + 1, 0);
        const auto forStretches = [&](const auto& func) {
            forChunks_MT(numStretches, [&](std::size_t begin, std::size_t end) {
                for (std::size_t i = begin; i < end; ++i)
                    for (std::size_t t = i * STRETCH; t < std::min((i + 1) * STRETCH, vTriangle.size()); ++t)
                        for (std::size_t k = 0; k < 3; ++k)
                            if (result.vOfTriangle[t][k] == MARK) func(i, t, k);
            });
        };
        forStretches([&](std::size_t i, std::size_t, std::size_t) { ++vFirst[i + 1]; });
        std::partial_sum(vFirst.begin(), vFirst.end(), vFirst.begin());
        result.vEdge.resize(vFirst.back());
        forStretches([&](std::size_t i, std::size_t t, std::size_t k) {
            const std::uint32_t number = vFirst[i]++;
            result.vOfTriangle[t][k] = number;
            const EdgeEnds ends = result.vEdge[number] = endsOfEdge(vTriangle[t], k);
            ASSEX(ends.low<ends.high);
        });
    }

    void passNumbersOn(std::size_t i, std::uint32_t* pInOrder) {
        forEachEdge(vGroup[i], [&](auto first, auto end) {
            const std::uint32_t number = *pInOrder++ = numberAt(*first);
            for (auto it = first + 1; it != end; ++it)
                numberAt(*it) = number;
        });
        vGroup[i] = Group();
    }

    const VertexShares& shares;
    const std::vector<NumberTriple>& vTriangle;
    TriangleEdges& result;
    std::vector<Group> vGroup;
};

}  // namespace

VertexShares::VertexShares(std::size_t numVertices, const std::vector<NumberTriple>& theTriangles)
    : vTriangle(theTriangles), vReach((theTriangles.size() + STRETCH - 1) / STRETCH) {
    forChunks_MT(vReach.size(), [this](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            EdgeEnds& reach = vReach[i] = {~std::uint32_t{0}, 0};
            for (std::size_t t = i * STRETCH; t < std::min((i + 1) * STRETCH, vTriangle.size()); ++t) {
                const auto [low, high] = std::minmax({vTriangle[t][0], vTriangle[t][1], vTriangle[t][2]});
                reach = {std::min(reach.low, low), std::max(reach.high, high)};
            }
        }
    });
    const int numThreads = numThreadsFor(numVertices, WORTH_A_TASK);
    const std::size_t numShares = numThreads <= 1 ? 1 : 2 * static_cast<std::size_t>(numThreads);
    for (std::size_t i = 0; i < numShares; ++i)
        vShare.push_back({static_cast<std::uint32_t>(numVertices * i / numShares),
                          static_cast<std::uint32_t>(numVertices * (i + 1) / numShares)});
}

TriangleEdges::TriangleEdges(const VertexShares& shares, const std::vector<NumberTriple>& vTriangle) {
    EdgeNumbering(shares, vTriangle, *this).run();
}

}  // namespace TARN_KEL
