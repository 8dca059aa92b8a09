// Edges of more than two triangles come in lines: those at which the same strips meet. Each line is an equation: of the
// strips that come to it with an odd number of triangles, an odd number is removed where the line is odd, an even one else.
// Strips that no chain of lines joins are decided apart. Lines between sheets alone are left as they are.
#include "oddStrips.h"

#include <algorithm>
#include <tuple>
#include <vector>

#include "Forest.h"
#include "ParitySystem.h"
#include "RMesh.h"
#include "SheetPatches.h"
#include "outerPatches.h"
#include "runs.h"
#include "sortMT.h"
#include "transformed.h"

namespace TARN_KEL {

namespace {

constexpr double NARROW = 2.5;            // triangles for each edge of the boundary; a strip of w triangles' width has w
constexpr std::size_t MAX_STRIPS = 2000;  // that are decided together
constexpr std::size_t OF_OUTER = 1000;    // times as much as an inner patch of its size costs a wide outer one

using Strip = std::uint32_t;

/// Edges at which the same strips meet.
struct Line {
    std::vector<Strip> vStrip;  // those with an odd number of triangles at each edge, ascending
    bool bOdd = false;          // the number of all triangles at each edge
    std::size_t numEdges = 0;
};

class StripRemover {
public:
    StripRemover(RMesh& theMesh, std::size_t maxSize, bool bClosed)
        : mesh(theMesh), patches(mesh), vStripOf(patches.size(), NO_STRIP) {
        const std::vector<char> vOuter = bClosed ? outerPatches(mesh, patches) : std::vector<char>();
        for (SheetPatches::Patch patch = 0; patch < patches.size(); ++patch) {
            const Boundary boundary = countBoundary(patch);
            const std::size_t size = patches.trianglesOf(patch).size();
            const bool bNarrow = isNarrow(size, boundary);
            vCost.push_back(size * (bNarrow || !bClosed || vOuter[patch] == 0 ? 1 : OF_OUTER));
            if (bNarrow || size <= maxSize || (bClosed && boundary.numFree == 0)) vPatch.push_back(patch);
        }
        std::stable_sort(vPatch.begin(), vPatch.end(), [&](auto a, auto b) { return vCost[a] < vCost[b]; });
        for (std::size_t i = 0; i < vPatch.size(); ++i)
            vStripOf[vPatch[i]] = static_cast<Strip>(i);
        findLines();
    }

    std::size_t run() {
        Forest joined(vPatch.size());
        for (const Line& line : vLine)
            for (const Strip strip : line.vStrip)
                joined.join(line.vStrip.front(), strip);
        const auto clusterOf = [&](const Line& line) { return joined.findRoot(line.vStrip.front()); };
        std::stable_sort(vLine.begin(), vLine.end(),
                         [&](const Line& a, const Line& b) { return clusterOf(a) < clusterOf(b); });
        std::size_t numRemoved = 0;
        forEachRun(vLine.begin(), vLine.end(), clusterOf, [&](auto first, auto end) {
            for (const Strip strip : stripsToRemove({first, end}))
                numRemoved += remove(vPatch[strip]);
        });
        return numRemoved;
    }

private:
    static constexpr Strip NO_STRIP = ~Strip{0};

    struct Boundary {
        std::size_t numEdges = 0, numFree = 0;  // the free ones are those of one triangle
    };

    Boundary countBoundary(SheetPatches::Patch patch) const {
        Boundary boundary;
        for (const RTriangle* pRT : patches.trianglesOf(patch))
            for (const REdge* pRE : {pRT->pRE12, pRT->pRE02, pRT->pRE01}) {
                if (pRE->vRT.size() != 2) ++boundary.numEdges;
                if (pRE->vRT.size() == 1) ++boundary.numFree;
            }
        return boundary;
    }
    static bool isNarrow(std::size_t size, const Boundary& boundary) {
        return static_cast<double>(size) <= NARROW * static_cast<double>(boundary.numEdges);
    }

    void findLines() {
        for (const REdge* pRE : mesh.vRE) {
            if (pRE->vRT.size() <= 2) continue;
            Line line{oddStripsAt(*pRE), pRE->vRT.size() % 2 != 0, 1};
            if (!line.vStrip.empty()) vLine.push_back(std::move(line));
        }
        const auto keyOf = [](const Line& line) { return std::tie(line.vStrip, line.bOdd); };
        std::sort(vLine.begin(), vLine.end(), [&](const Line& a, const Line& b) { return keyOf(a) < keyOf(b); });
        std::vector<Line> vJoined;
        forEachRun(vLine.begin(), vLine.end(), keyOf, [&](auto first, auto end) {
            vJoined.push_back(std::move(*first));
            vJoined.back().numEdges = static_cast<std::size_t>(end - first);
        });
        vLine.swap(vJoined);
    }
    std::vector<Strip> oddStripsAt(const REdge& edge) const {
        std::vector<Strip> vAll, vOdd;
        for (const RTriangle* pRT : edge.vRT) {
            const Strip strip = vStripOf[patches[mesh.poolRT.indexOf(pRT)]];
            if (strip != NO_STRIP) vAll.push_back(strip);
        }
        std::sort(vAll.begin(), vAll.end());
        forEachRun(
            vAll.begin(), vAll.end(), [](Strip strip) { return strip; },
            [&](auto first, auto end) {
                if ((end - first) % 2 != 0) vOdd.push_back(*first);
            });
        return vOdd;
    }

    /// The strips of a cluster that make its lines even. None when that leaves as many odd edges as there are.
    std::vector<Strip> stripsToRemove(std::vector<Line> vLineOfIt) const {
        std::vector<Strip> vStrip;
        std::size_t numOdd = 0;
        for (const Line& line : vLineOfIt) {
            vStrip.insert(vStrip.end(), line.vStrip.begin(), line.vStrip.end());
            if (line.bOdd) numOdd += line.numEdges;
        }
        oneInstanceOfNumbers(vStrip);
        if (numOdd == 0 || vStrip.size() > MAX_STRIPS) return {};
        // Of lines that contradict each other the longest ones count.
        std::stable_sort(vLineOfIt.begin(), vLineOfIt.end(),
                         [](const Line& a, const Line& b) { return a.numEdges > b.numEdges; });
        ParitySystem system(vStrip.size());
        std::size_t numOddLeft = 0;
        for (Line& line : vLineOfIt) {
            for (Strip& strip : line.vStrip)
                strip = static_cast<Strip>(std::lower_bound(vStrip.begin(), vStrip.end(), strip) - vStrip.begin());
            if (!system.add(line.vStrip, line.bOdd)) numOddLeft += line.numEdges;
        }
        if (numOddLeft >= numOdd) return {};
        const std::vector<bool> vbRemoved =
            system.solve(transformed(vStrip, [this](Strip strip) { return vCost[vPatch[strip]]; }));
        std::vector<Strip> vRemoved;
        for (std::size_t i = 0; i < vStrip.size(); ++i)
            if (vbRemoved[i]) vRemoved.push_back(vStrip[i]);
        return vRemoved;
    }

    /// Returns the number of triangles.
    std::size_t remove(SheetPatches::Patch patch) {
        for (RTriangle* pRT : patches.trianglesOf(patch))
            pRT->kill(&mesh);
        return patches.trianglesOf(patch).size();
    }

    RMesh& mesh;
    const SheetPatches patches;
    std::vector<std::size_t> vCost;           // of each patch
    std::vector<SheetPatches::Patch> vPatch;  // of each strip
    std::vector<Strip> vStripOf;              // of each patch
    std::vector<Line> vLine;
};

}  // namespace

std::size_t removeOddStrips(RMesh& mesh, std::size_t maxSize, bool bClosed) {
    return StripRemover(mesh, maxSize, bClosed).run();
}

}  // namespace TARN_KEL
