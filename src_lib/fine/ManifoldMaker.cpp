// Makes a mesh manifold by taking sheets apart.
//
// First goes what can go without opening anything: triangles without area, repeats, walls inside the body and flaps
// (MembraneRemover). Round each edge of more than two triangles that is left, the sheets are told apart (Sheets). From
// then on only the links count, not the edges: they make of the mesh a set of sheets, with at most two sides at an edge.
// What remains is to choose the outside of each, and to give it vertices of its own.
//
//   - At each vertex the corners that links join are a fan. The largest fan keeps the vertex, the others get new ones at the
//     same place.
//   - Two sheets may still have both ends of an edge in common, where at both ends their fans are one. Then one of them gets
//     a vertex more, in the middle of the edge:
//
//              a                a
//            / | \            / | \          c and d belong to the one sheet, the other one keeps the edge a-b
//           c  |  d    ->    c--m--d
//            \ | /            \ | /
//              b                b
//
// All decisions go by the order of creation, so the same mesh gives the same result.
#include "ManifoldMaker.h"

#include <algorithm>
#include <array>
#include <map>
#include <numeric>
#include <set>
#include <utility>
#include <vector>

#include "Forest.h"
#include "MembraneRemover.h"
#include "Progress.h"
#include "RMesh.h"
#include "Sheets.h"
#include "flatTriangles.h"
#include "freeFunctions.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t MAX_MEMBRANE = 100;  // triangles
constexpr std::size_t MAX_SPLINTER = 20;   // triangles of a piece that hung on a larger one by cut edges alone

using Side = Sheets::Side;

using Corners = std::array<Point3*, 3>;

/// Triangles that links join.
struct Sheet {
    std::vector<RTriangle*> vT;
    bool bClosed = true;
};

/// The triangles into which a triangle with up to three vertices more on its sides is cut.
/// middles[i], null for none, lies on the side opposite corners[i].
std::vector<Corners> cutAtMiddles(const Corners& corners, const Corners& middles) {
    const auto numMiddles = std::count_if(middles.begin(), middles.end(), [](const Point3* p) { return p != nullptr; });
    if (numMiddles == 0) return {corners};
    // Seen from the side that has one alone, or has none alone.
    std::size_t i = 0;
    while (numMiddles < 3 && (middles[i] != nullptr) != (numMiddles == 1))
        ++i;
    const std::size_t j = (i + 1) % 3, k = (i + 2) % 3;
    Point3 *ci = corners[i], *cj = corners[j], *ck = corners[k], *mi = middles[i], *mj = middles[j], *mk = middles[k];
    if (numMiddles == 1) return {{ci, cj, mi}, {ci, mi, ck}};
    if (numMiddles == 2) return {{ci, mk, mj}, {mk, cj, ck}, {mk, ck, mj}};
    return {{ci, mk, mj}, {cj, mi, mk}, {ck, mj, mi}, {mi, mj, mk}};
}

/// Takes the sheets of a mesh apart and turns each one to agree with itself.
class SheetParter {
public:
    SheetParter(RMesh& mesh_, Facing facing_) : mesh(mesh_), facing(facing_), sheets(mesh), numT(mesh.vRT.size()), fans(0) {}

    void run(ManifoldReport& report) {
        growSheets();
        report.numSplinters += dropSplinters() + dropTatters();
        for (const Sheet& sheet : vSheets)
            if (isWrongWayRound(sheet)) turnOver(sheet);
        do
            joinFans();
        while (!partCrowdedEdges(report));
        countCuts(report);
        rebuild(report);
    }

private:
    using Corner = Forest::Member;
    /// An edge by the fans at its two ends, each by its root.
    using SplitEdge = std::pair<Corner, Corner>;

    std::size_t numberOf(const RTriangle* pRT) const { return mesh.poolRT.indexOf(pRT); }
    Corner cornerOf(const RTriangle* pRT, const Point3* p) const {
        return sheets.firstSideOf(pRT) + static_cast<Corner>(pRT->getICI(p));
    }
    template <typename Visit>
    void forEachAlive(Visit&& visit) const {
        for (std::size_t i = 0; i < numT; ++i)
            if (mesh.vRT[i]->isAlive()) visit(mesh.vRT[i]);
    }

    // ---- Sheets

    void growSheets() {
        std::vector<char> vSeen(mesh.vRT.size(), 0);
        forEachAlive([&](RTriangle* pSeed) {
            if (std::exchange(vSeen[numberOf(pSeed)], 1) != 0) return;
            Sheet& sheet = vSheets.emplace_back();
            sheet.vT.push_back(pSeed);
            for (std::size_t i = 0; i < sheet.vT.size(); ++i)
                sheets.forEachSide(sheet.vT[i], [&](Side side) {
                    const Side next = sheets.across(side);
                    if (next == Sheets::NONE)
                        sheet.bClosed = false;
                    else if (std::exchange(vSeen[next / 3], 1) == 0)
                        sheet.vT.push_back(sheets.triangleOf(next));
                });
        });
    }

    /// Of the sheets that hung together over edges the largest stays, of equal ones the oldest, and none of the others that
    /// is small. Returns the number of triangles that went.
    std::size_t dropSplinters() {
        Forest bodies(vSheets.size());
        std::vector<Forest::Member> vSheetOf(numT);
        for (std::size_t i = 0; i < vSheets.size(); ++i)
            for (const RTriangle* pRT : vSheets[i].vT)
                vSheetOf[numberOf(pRT)] = static_cast<Forest::Member>(i);
        for (const REdge* pRE : mesh.vRE)
            for (const RTriangle* pRT : pRE->vRT)
                bodies.join(vSheetOf[numberOf(pRE->vRT[0])], vSheetOf[numberOf(pRT)]);

        std::vector<std::size_t> vLargest(vSheets.size());  // by root
        std::iota(vLargest.begin(), vLargest.end(), std::size_t{0});
        const auto largestBeside = [&](std::size_t i) -> std::size_t& {
            return vLargest[bodies.findRoot(static_cast<Forest::Member>(i))];
        };
        for (std::size_t i = 0; i < vSheets.size(); ++i)
            if (vSheets[i].vT.size() > vSheets[largestBeside(i)].vT.size()) largestBeside(i) = i;

        std::size_t numDropped = 0;
        for (std::size_t i = 0; i < vSheets.size(); ++i) {
            if (largestBeside(i) == i || vSheets[i].vT.size() > MAX_SPLINTER) continue;
            numDropped += vSheets[i].vT.size();
            for (RTriangle* pRT : vSheets[i].vT)
                drop(pRT);
            vSheets[i].vT.clear();
        }
        std::erase_if(vSheets, [](const Sheet& sheet) { return sheet.vT.empty(); });
        return numDropped;
    }

    /// Where a cut goes across a strip of one triangle's width, the strip goes up to where its sheet is wider, unless that
    /// is far: so a cut makes less of a border. Returns the number of triangles that went.
    std::size_t dropTatters() {
        std::vector<RTriangle*> vCut;
        forEachAlive([&](RTriangle* pRT) {
            sheets.forEachSide(pRT, [&](Side side) {
                if (isCut(side)) vCut.push_back(pRT);
            });
        });
        std::size_t numDropped = 0;
        for (RTriangle* pRT : vCut)
            for (RTriangle* pGone : stripFrom(pRT)) {
                drop(pGone);
                ++numDropped;
            }
        return numDropped;
    }

    /// The triangles of the strip that ends with this one; none when it is too long, or the whole of its sheet.
    std::vector<RTriangle*> stripFrom(RTriangle* pRT) const {
        std::vector<RTriangle*> vStrip;
        const auto isOnStrip = [&](const RTriangle* p) { return !vStrip.empty() && vStrip.back() == p; };
        while (vStrip.size() <= MAX_SPLINTER && pRT->isAlive()) {
            std::vector<RTriangle*> vBeside;
            sheets.forEachSide(pRT, [&](Side side) {
                RTriangle* pNext = sheets.across(side) == Sheets::NONE ? nullptr : sheets.triangleOf(sheets.across(side));
                if (pNext != nullptr && !isOnStrip(pNext)) vBeside.push_back(pNext);
            });
            if (vBeside.size() > 1) return vStrip.size() > 1 ? vStrip : std::vector<RTriangle*>();
            if (vBeside.empty()) break;
            vStrip.push_back(pRT);
            pRT = vBeside[0];
        }
        return {};
    }

    bool isCut(Side side) const { return sheets.across(side) == Sheets::NONE && sheets.edgeOf(side)->getDegree() > 1; }
    void drop(RTriangle* pRT) {
        sheets.cutAll(pRT);
        pRT->kill(&mesh);
    }

    bool isWrongWayRound(const Sheet& sheet) const {
        if (!sheet.bClosed || facing == Facing::AS_MOST) {
            const auto numTurned = std::count_if(sheet.vT.begin(), sheet.vT.end(),
                                                 [this](const RTriangle* pRT) { return sheets.isTurned(pRT); });
            return 2 * static_cast<std::size_t>(numTurned) > sheet.vT.size();
        }
        double volume = 0.0;
        const Point3& origin = *sheet.vT.front()->aCorners[0];
        for (const RTriangle* pRT : sheet.vT) {
            const Vector3 a = *pRT->aCorners[0] - origin, b = *pRT->aCorners[1] - origin, c = *pRT->aCorners[2] - origin;
            volume += (sheets.isTurned(pRT) ? -1.0 : 1.0) * (crossProduct(a, b) * c);
        }
        return volume < 0.0;
    }

    void turnOver(const Sheet& sheet) {
        for (const RTriangle* pRT : sheet.vT)
            sheets.turn(pRT);
    }

    // ---- Fans

    void joinFans() {
        fans = Forest(3 * numT);
        forEachAlive([this](const RTriangle* pRT) {
            sheets.forEachSide(pRT, [&](Side side) {
                const Side next = sheets.across(side);
                if (next == Sheets::NONE || next < side) return;
                for (const auto& [corner, cornerAcross] : sheets.cornersAcross(side))
                    fans.join(corner, cornerAcross);
            });
        });
    }

    /// Finds the sides that need a vertex in their middle, because even with all vertices split their edge would have more
    /// than two triangles. False when some had to be dropped, since there is no room for a middle: then fans have changed.
    bool partCrowdedEdges(ManifoldReport& report) {
        mMiddle.clear();
        bool bDropped = false;
        for (const REdge* pRE : mesh.vRE) {
            if (pRE->getDegree() < 2 || isPlain(*pRE)) continue;
            const Point3 middle = midpoint(*pRE->pVtx0, *pRE->pVtx1);
            const bool bRoom = middle != *pRE->pVtx0 && middle != *pRE->pVtx1;
            for (const Side side : crowdedSides(*pRE)) {
                if (bRoom) {
                    mMiddle.emplace(side, middle);
                    continue;
                }
                for (const Side doomed : {side, sheets.across(side)}) {
                    if (doomed == Sheets::NONE) continue;
                    drop(sheets.triangleOf(doomed));
                    ++report.numSplinters;
                }
                bDropped = true;
            }
        }
        return !bDropped;
    }

    /// One sheet goes over the edge, and none else comes to it.
    bool isPlain(const REdge& edge) const {
        return edge.getDegree() == 2 && sheets.across(sheets.sideOf(edge.vRT[0], &edge)) != Sheets::NONE;
    }

    /// Of each sheet that comes to the edge one side, if another sheet has the same fans at both ends. Sheets that run over
    /// the edge rather keep it than those that end there.
    std::vector<Side> crowdedSides(const REdge& edge) {
        std::vector<Side> vOver, vEnding;
        for (const RTriangle* pRT : edge.vRT) {
            const Side side = sheets.sideOf(pRT, &edge);
            if (sheets.across(side) == Sheets::NONE)
                vEnding.push_back(side);
            else if (side < sheets.across(side))
                vOver.push_back(side);
        }
        std::vector<Side> vCrowded;
        if (vOver.size() + vEnding.size() < 2) return vCrowded;
        std::set<SplitEdge> sTaken;
        for (const std::vector<Side>* pSides : {&vOver, &vEnding})
            for (const Side side : *pSides)
                if (!sTaken.insert(splitEdgeOf(side)).second) vCrowded.push_back(side);
        return vCrowded;
    }

    SplitEdge splitEdgeOf(Side side) {
        const RTriangle* pRT = sheets.triangleOf(side);
        const REdge* pRE = sheets.edgeOf(side);
        return {fans.findRoot(cornerOf(pRT, pRE->pVtx0)), fans.findRoot(cornerOf(pRT, pRE->pVtx1))};
    }

    // ---- The mesh

    void countCuts(ManifoldReport& report) const {
        report.bClosed = true;
        forEachAlive([&](const RTriangle* pRT) {
            sheets.forEachSide(pRT, [&](Side side) {
                if (sheets.across(side) == Sheets::NONE) report.bClosed = false;
                if (isCut(side)) ++report.numCuts;
            });
        });
    }

    void rebuild(ManifoldReport& report) {
        const std::size_t numBefore = mesh.getNumVtx_all();
        const std::vector<Point3*> vVtx = verticesOfFans();
        std::vector<Point3*> vMiddle(3 * numT, nullptr);  // by side
        for (const auto& [side, place] : mMiddle) {
            vMiddle[side] = mesh.createVertexApart(place);
            if (sheets.across(side) != Sheets::NONE) vMiddle[sheets.across(side)] = vMiddle[side];
        }
        report.numNewVertices += mesh.getNumVtx_all() - numBefore;
        std::vector<RTriangle*> vGone;
        std::vector<Corners> vPieces;
        forEachAlive([&](RTriangle* pRT) {
            const bool bTurn = sheets.isTurned(pRT);
            report.numTurned += bTurn ? 1 : 0;
            Corners corners{}, middles{};
            for (std::size_t i = 0; i < 3; ++i) {
                corners[i] = vVtx[fans.findRoot(sheets.firstSideOf(pRT) + static_cast<Corner>(i))];
                middles[i] = vMiddle[sheets.firstSideOf(pRT) + i];
            }
            if (std::equal(corners.begin(), corners.end(), pRT->aCorners) && middles == Corners{}) {
                if (bTurn) pRT->flipNNV();
                return;
            }
            vGone.push_back(pRT);
            for (const auto& [a, b, c] : cutAtMiddles(corners, middles))
                vPieces.push_back(bTurn ? Corners{b, a, c} : Corners{a, b, c});
        });
        // The youngest first: they stand last on their edges, where a long list gives them up at once.
        for (auto it = vGone.rbegin(); it != vGone.rend(); ++it)
            (*it)->kill(&mesh);
        for (const auto& [a, b, c] : vPieces)
            mesh.createT(a, b, c);
    }

    /// By the root of each fan. The largest fan at a vertex keeps it, of equal ones the one of the oldest triangle.
    std::vector<Point3*> verticesOfFans() {
        std::vector<std::uint32_t> vSize(3 * numT, 0);
        const auto forEachCorner = [this](auto&& visit) {
            forEachAlive([&](const RTriangle* pRT) {
                for (int i = 0; i < 3; ++i)
                    visit(fans.findRoot(sheets.firstSideOf(pRT) + static_cast<Corner>(i)), pRT->aCorners[i]);
            });
        };
        forEachCorner([&](Corner root, const Point3*) { ++vSize[root]; });
        std::vector<Corner> vKeeper(mesh.getNumVtx_all(), NO_CORNER);
        forEachCorner([&](Corner root, const Point3* p) {
            Corner& keeper = vKeeper[mesh.getVtxIndex(p)];
            if (keeper == NO_CORNER || vSize[root] > vSize[keeper]) keeper = root;
        });
        std::vector<Point3*> vVtx(3 * numT, nullptr);
        forEachCorner([&](Corner root, Point3* p) {
            if (vVtx[root] != nullptr) return;
            vVtx[root] = vKeeper[mesh.getVtxIndex(p)] == root ? p : mesh.createVertexApart(*p);
        });
        return vVtx;
    }

    static constexpr Corner NO_CORNER = ~Corner{0};

    RMesh& mesh;
    const Facing facing;
    Sheets sheets;
    const std::size_t numT;  // dead ones included, before new ones are made
    std::vector<Sheet> vSheets;
    Forest fans;                     // of corners: 3 * t + i is corner i of the t-th triangle
    std::map<Side, Point3> mMiddle;  // for one of the sides of a sheet
};

/// Calls remove() and returns how many triangles are fewer.
template <typename Remove>
std::size_t numRemovedBy(const RMesh& mesh, Remove&& remove) {
    const std::size_t numBefore = mesh.getNumT();
    remove();
    return numBefore - mesh.getNumT();
}

/// A triangle that was hardly more than flat may have been cut in the middle of a side, and be flat now in parts. One that
/// can't go otherwise leaves a hole.
void removeFlatPieces(RMesh& mesh, Facing facing, ManifoldReport& report) {
    std::vector<RTriangle*> vLeft;
    report.numFlat += removeFlatKeepingManifold(mesh, vLeft);
    if (vLeft.empty()) return;
    for (RTriangle* pRT : vLeft)
        pRT->kill(&mesh);
    SheetParter(mesh, facing).run(report);  // for fans; without edges of many triangles it cuts no side
}

}  // namespace

ManifoldReport makeManifold(RMesh& mesh, Facing facing) {
    ManifoldReport report;
    ProgressStep step("MF_make", 3);
    const auto removeDuplicates = [&] { report.numDuplicates += numRemovedBy(mesh, [&] { mesh.removeDups(); }); };
    removeDuplicates();
    report.numFlat = removeFlatTriangles(mesh);
    if (report.numFlat > 0) removeDuplicates();  // collapses bring triangles together
    step.advance();
    MembraneRemover membranes(mesh, MAX_MEMBRANE);
    report.numMembranes = membranes.run(false);
    report.numMembranes += membranes.run(true);
    step.advance();
    SheetParter(mesh, facing).run(report);
    if (report.numNewVertices > 0) removeFlatPieces(mesh, facing, report);
    step.advance();
    step.finish();
    return report;
}

void removeFlatFromManifold(RMesh& mesh) {
    std::vector<RTriangle*> vLeft;
    removeFlatKeepingManifold(mesh, vLeft);
    if (!vLeft.empty()) makeManifold(mesh, Facing::AS_MOST);
}

}  // namespace TARN_KEL
