// Clean-up of the fine mesh: duplicates, and triangles that are degenerate.
//
// Degenerate triangles are removed one by one, by a collapse along the best of all edges at their corners. The triangles
// around the remaining vertex are looked at next. All others of the mesh are below them on one stack.
#include <algorithm>
#include <array>
#include <iterator>
#include <numeric>
#include <set>
#include <tuple>

#include "Progress.h"
#include "RMesh.h"
#include "collapses.h"
#include "edgeGeometry.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

/// Appends the triangles that follow another one with the same corners in the list of the edge.
void appendDups(const REdge& edge, std::vector<RTriangle*>& vDups) {
    std::set<const Point3*> sThird;
    for (RTriangle* pRT : edge.vRT)
        if (pRT->bAlive && !sThird.insert(pRT->getThirdPoint(edge.pVtx0, edge.pVtx1)).second) vDups.push_back(pRT);
}

/// Another alive triangle has the same three corners.
bool hasTwin(const RTriangle& rt) {
    const std::array<const REdge*, 3> aRE = {rt.pRE01, rt.pRE12, rt.pRE02};
    const auto isShorter = [](const REdge* a, const REdge* b) { return a->vRT.size() < b->vRT.size(); };
    const REdge* pRE = *std::min_element(aRE.begin(), aRE.end(), isShorter);
    const Point3* pThird = rt.getThirdPoint(pRE->pVtx0, pRE->pVtx1);
    return std::any_of(pRE->vRT.begin(), pRE->vRT.end(),
                       [&](const RTriangle* pRT) { return pRT != &rt && pRT->has(pThird); });
}

/// A stack of numbers, each in it at most once: a number that is pushed again moves to the top. All operations take O(1).
///
/// For triangles that wait to be looked at this gives the same as a stack with repeats, because between the look at the
/// upper entry and that at the lower one a triangle doesn't change without being pushed again. But it stays small where
/// thousands of collapses go to one vertex.
class WorkStack {
public:
    /// Filled with 0 to size - 1, the highest on top.
    explicit WorkStack(std::size_t size) : ground(static_cast<std::uint32_t>(size)), vBelow(size + 1), vAbove(size + 1) {
        std::iota(vBelow.begin() + 1, vBelow.end(), 0U);
        std::iota(vAbove.begin(), vAbove.end() - 1, 1U);
        vBelow[0] = ground;
        vAbove[size] = 0;
    }
    bool empty() const { return vBelow[ground] == ground; }
    std::uint32_t pop() {
        const std::uint32_t top = vBelow[ground];
        unlink(top);
        return top;
    }
    void push(std::uint32_t number) {
        if (vAbove[number] != OUT) unlink(number);
        const std::uint32_t top = vBelow[ground];
        vAbove[top] = number;
        vBelow[number] = top;
        vAbove[number] = ground;
        vBelow[ground] = number;
    }

private:
    static constexpr std::uint32_t OUT = 0xffffffffU;

    void unlink(std::uint32_t number) {
        vAbove[vBelow[number]] = vAbove[number];
        vBelow[vAbove[number]] = vBelow[number];
        vAbove[number] = OUT;
    }

    // A ring through all that is in; the ground is below the lowest and above the topmost.
    std::uint32_t ground;
    std::vector<std::uint32_t> vBelow, vAbove;
};

bool isDegenerateAtCorner0(const RTriangle& rt) {
    const Point3& c0 = *rt.aCorners[0];
    return isSliverAngle(*rt.aCorners[1] - c0, *rt.aCorners[2] - c0);
}

}  // namespace

// Which of two equal triangles comes first may differ from edge to edge, so each may be entered as the double of the other.
std::size_t RMesh::removeDups() {
    std::vector<REdge*> vDupRE = filter_MT(vRE, [](const REdge* pRE) { return pRE->hasDups(); });
    std::sort(vDupRE.begin(), vDupRE.end(),
              [](const REdge* a, const REdge* b) { return std::tie(a->pVtx0, a->pVtx1) < std::tie(b->pVtx0, b->pVtx1); });
    std::vector<RTriangle*> vDups;
    for (const REdge* pRE : vDupRE)
        appendDups(*pRE, vDups);
    for (RTriangle* pRT : vDups)
        if (pRT->bAlive && hasTwin(*pRT)) pRT->kill(this);
    return vDups.size();
}

// It ends because each collapse takes a vertex out of use. A triangle that a collapse changes is pushed again; the judgement
// of all others holds.
void RMesh::killDegenerate(bool bKeepManifold) {
    ProgressStep progress("RM_kdeg", 3 * vRT.size());
    std::vector<char> vAsk;
    transform_MT(
        vRT, vAsk, [](const RTriangle* pRT) { return static_cast<char>(isDegenerateAtCorner0(*pRT)); }, WORTH_A_TASK);
    WorkStack stack(vRT.size());
    std::vector<RTriangle*> vIncT;
    while (!stack.empty()) {
        const std::uint32_t number = stack.pop();
        progress.advance();
        if (vAsk[number] == 0) continue;
        const RTriangle* pRT = vRT[number];
        if (!pRT->bAlive || !isDegenerateAtCorner0(*pRT)) continue;
        vIncT.clear();
        getIncidentT(collapseCheapest(*this, *pRT, bKeepManifold), vIncT);  // none at null
        for (const RTriangle* pIncT : vIncT) {
            const auto changed = static_cast<std::uint32_t>(poolRT.indexOf(pIncT));
            vAsk[changed] = 1;
            stack.push(changed);
        }
    }
    removeDups();
}

}  // namespace TARN_KEL
