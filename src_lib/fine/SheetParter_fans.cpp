// Joins the corners at each vertex to fans, and rebuilds the mesh so that each fan has a vertex of its own.
#include <algorithm>
#include <array>
#include <cmath>
#include <set>

#include "SheetParter.h"
#include "crossing.h"
#include "geometryFunctions.h"
#include "singlePrecision.h"

namespace TARN_KEL {

namespace {

using Corners = std::array<Point3*, 3>;

/// Cuts a triangle at additional vertices in the middles of its sides, at most one per side. Returns the parts.
/// middles[i]: on the side opposite corners[i]; null when there is none.
std::vector<Corners> cutAtMiddles(const Corners& corners, const Corners& middles) {
    const auto numMiddles = std::count_if(middles.begin(), middles.end(), [](const Point3* p) { return p != nullptr; });
    if (numMiddles == 0) return {corners};
    // i: the only side with a middle, or the only one without; any side when all have one.
    std::size_t i = 0;
    while (numMiddles < 3 && (middles[i] != nullptr) != (numMiddles == 1))
        ++i;
    const std::size_t j = (i + 1) % 3, k = (i + 2) % 3;
    Point3 *ci = corners[i], *cj = corners[j], *ck = corners[k], *mi = middles[i], *mj = middles[j], *mk = middles[k];
    if (numMiddles == 1) return {{ci, cj, mi}, {ci, mi, ck}};
    if (numMiddles == 2) return {{ci, mk, mj}, {mk, cj, ck}, {mk, ck, mj}};
    return {{ci, mk, mj}, {cj, mi, mk}, {ck, mj, mi}, {mi, mj, mk}};
}

/// The triangles of an edge on one sheet, and what else is at that edge.
struct EdgeSurroundings {
    /// Whether the sheet crosses nothing else there when it is cut at a place.
    bool isFreeAt(const Point3& middle) const {
        return std::none_of(vCorner.begin(), vCorner.end(), [&](const Point3& corner) {
            return isCrossed({a, middle, corner}) || isCrossed({middle, b, corner});
        });
    }
    bool isFreeUncut() const {
        return std::none_of(vCorner.begin(), vCorner.end(), [&](const Point3& corner) { return isCrossed({a, b, corner}); });
    }
    bool isCrossed(const TriangleCorners& t) const {
        return std::any_of(vOther.begin(), vOther.end(),
                           [&](const TriangleCorners& other) { return areCrossing(t, other); });
    }

    EdgeSurroundings inSinglePrecision() const;

    Point3 a, b;                          // the ends of the edge
    std::vector<Point3> vCorner;          // of the sheet: one or two, opposite the edge
    std::vector<TriangleCorners> vOther;  // the triangles of other sheets
};

Point3 toSinglePrecision(const Point3& p) {
    return {inSinglePrecision(p.x()), inSinglePrecision(p.y()), inSinglePrecision(p.z())};
}

EdgeSurroundings EdgeSurroundings::inSinglePrecision() const {
    EdgeSurroundings edge{toSinglePrecision(a), toSinglePrecision(b), vCorner, vOther};
    for (Point3& p : edge.vCorner)
        p = toSinglePrecision(p);
    for (TriangleCorners& t : edge.vOther)
        for (Point3& p : t)
            p = toSinglePrecision(p);
    return edge;
}

/// The middle of the edge, then places ever nearer to it on all sides of the edge.
std::vector<Point3> placesForMiddle(const EdgeSurroundings& edge) {
    constexpr int NUM_DIRECTIONS = 8;
    const Point3 &a = edge.a, &b = edge.b;
    std::vector<Point3> vPlace{midpoint(a, b)};
    const Vector3 along = normalize(b - a);
    const Vector3 u = normalize(crossProduct(crossProduct(along, edge.vCorner.front() - a), along));
    const Vector3 v = crossProduct(along, u);
    for (const double step : {1e-3, 1e-6, 1e-9, 1e-12})
        for (int i = 0; i < NUM_DIRECTIONS; ++i) {
            const double angle = 2.0 * HALF_TURN * i / NUM_DIRECTIONS;
            vPlace.push_back(vPlace[0] + (u * std::cos(angle) + v * std::sin(angle)) * (step * (b - a).length()));
        }
    return vPlace;
}

/// The middle of the edge. Rounding puts it a little beside the line, and perhaps behind another sheet there; then a place
/// that is a bit farther from the line, in front of that sheet, if there is one. If possible it is one that stays there in a
/// file in single precision.
Point3 freeMiddle(const EdgeSurroundings& edge) {
    const Point3 middle = midpoint(edge.a, edge.b);
    if (!edge.isFreeUncut()) return middle;
    const EdgeSurroundings single = edge.inSinglePrecision();
    const auto isFree = [&](const Point3& p) { return edge.isFreeAt(p); };
    const auto isFreeInFiles = [&](const Point3& p) { return isFree(p) && single.isFreeAt(toSinglePrecision(p)); };
    if (isFreeInFiles(middle)) return middle;
    const std::vector<Point3> vPlace = placesForMiddle(edge);
    auto it = vPlace.end();
    if (single.isFreeUncut()) it = std::find_if(vPlace.begin(), vPlace.end(), isFreeInFiles);
    if (it == vPlace.end()) it = std::find_if(vPlace.begin(), vPlace.end(), isFree);
    return it == vPlace.end() ? middle : *it;
}

}  // namespace

// ---- Fans ---------------------------------------------------------------------------------------------------------------

void SheetParter::joinFans() {
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

/// Finds the sides that need a vertex in their middle, because their edge would have more than two triangles even when all
/// vertices are split. Where an edge is too short for a middle, the triangles are dropped. Returns false in that case, since
/// fans have changed.
bool SheetParter::partCrowdedEdges(ManifoldReport& report) {
    mMiddle.clear();
    bool bDropped = false;
    for (const REdge* pRE : mesh.vRE) {
        if (pRE->getDegree() < 2 || isPlain(*pRE)) continue;
        const Point3 middle = midpoint(*pRE->pVtx0, *pRE->pVtx1);
        const bool bRoom = middle != *pRE->pVtx0 && middle != *pRE->pVtx1;
        for (const Side side : crowdedSides(*pRE)) {
            if (bRoom) {
                mMiddle.emplace(side, placeOfMiddle(*pRE, side));
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

/// A place for the middle of the edge on that side, so that what is cut there crosses nothing else at the edge.
Point3 SheetParter::placeOfMiddle(const REdge& edge, Side side) const {
    const Point3 &a = *edge.pVtx0, &b = *edge.pVtx1;
    EdgeSurroundings around{a, b, {}, {}};
    for (const RTriangle* pRT : edge.vRT) {
        const Point3& corner = *pRT->getThirdPoint(edge.pVtx0, edge.pVtx1);
        const Side otherSide = sheets.sideOf(pRT, &edge);
        if (otherSide == side || otherSide == sheets.across(side)) {
            around.vCorner.push_back(corner);
        } else if (const Point3* pMiddle = middleOf(otherSide)) {
            around.vOther.push_back({a, *pMiddle, corner});
            around.vOther.push_back({*pMiddle, b, corner});
        } else {
            around.vOther.push_back({a, b, corner});
        }
    }
    return freeMiddle(around);
}

/// The place that a side was given for its middle; null without one.
const Point3* SheetParter::middleOf(Side side) const {
    auto it = mMiddle.find(side);
    if (it == mMiddle.end()) it = mMiddle.find(sheets.across(side));
    return it == mMiddle.end() ? nullptr : &it->second;
}

/// Whether one sheet continues across the edge and there is no other at it.
bool SheetParter::isPlain(const REdge& edge) const {
    return edge.getDegree() == 2 && sheets.across(sheets.sideOf(edge.vRT[0], &edge)) != Sheets::NONE;
}

/// Among the sheets at an edge that have the same fans at both ends, one may keep the edge. Returns one side of each other
/// sheet. A sheet that continues across the edge takes precedence over one that ends there.
std::vector<SheetParter::Side> SheetParter::crowdedSides(const REdge& edge) {
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

SheetParter::SplitEdge SheetParter::splitEdgeOf(Side side) {
    const RTriangle* pRT = sheets.triangleOf(side);
    const REdge* pRE = sheets.edgeOf(side);
    return {fans.findRoot(cornerOf(pRT, pRE->pVtx0)), fans.findRoot(cornerOf(pRT, pRE->pVtx1))};
}

// ---- The mesh -----------------------------------------------------------------------------------------------------------

void SheetParter::countCuts(ManifoldReport& report) const {
    report.bClosed = true;
    forEachAlive([&](const RTriangle* pRT) {
        sheets.forEachSide(pRT, [&](Side side) {
            if (sheets.across(side) == Sheets::NONE) report.bClosed = false;
            if (isCut(side)) ++report.numCuts;
        });
    });
}

void SheetParter::rebuild(ManifoldReport& report) {
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
    // The newest first: it is the last one in the lists of its edges, where removing the last entry takes constant time.
    for (auto it = vGone.rbegin(); it != vGone.rend(); ++it)
        (*it)->kill(&mesh);
    for (const auto& [a, b, c] : vPieces)
        mesh.createT(a, b, c);
}

/// The vertex of each fan, at the position of the fan's root. The largest fan at a vertex keeps it; among equally large ones
/// the fan with the oldest triangle.
std::vector<Point3*> SheetParter::verticesOfFans() {
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

}  // namespace TARN_KEL
