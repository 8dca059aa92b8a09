// The rim cells of a reconstruction end up to a cell before the last points, and where the sheet of cells is thinned its
// outermost row may go as well.
#include "BorderFitter.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <tuple>
#include <utility>

#include "fitLimits.h"
#include "geometryFunctions.h"
#include "rimCorner.h"
#include "transformed.h"

namespace TARN_KEL {

namespace {

const int NUM_BORDER_ROUNDS = 2;
const double BORDER_RADIUS = 3.0;  // around a vertex, in which points beyond its border count
const double BORDER_SEARCH = 4.0;  // cells around a new place, in which the border may not run
const double HALF_WIDTH = 1.0;     // spacings along the border; beyond, points say nothing of the surface at a vertex
const double MAX_OFF_SHEET = 0.7;  // spacings off the sheet
const double MAX_OUTWARD = 1.2;    // cells
const double MIN_OUTWARD = 0.05;   // spacings
const double CORNERS_APART = 2.0;  // spacings
const double COS_TURN = 0.8;       // of a border before and after a corner
const std::size_t MAX_WALK = 32;   // vertices
const double MIN_EDGE = 0.01;      // cells; where a border has shorter edges it stays: looking for overlaps would take long

}  // namespace

void BorderFitter::reachRims() {
    reachCorners();
    reachLastPoints();
}

void BorderFitter::reachLastPoints() {
    for (int round = 0; round < NUM_BORDER_ROUNDS; ++round) {
        findBorder();
        if (vBorder.empty()) return;
        for (const BorderVertex& at : vBorder) {
            if (!state.isFree(at.vertex)) continue;
            const Vector3 along = normalize(fitMesh.place(at.next) - fitMesh.place(at.previous));
            const Vector3 outward = normalize(crossProduct(along, state.sides.vNormal[at.vertex]));
            const double distance = std::min(distanceToLastPoint(at, along, outward), MAX_OUTWARD * state.cell);
            if (distance < MIN_OUTWARD) continue;
            for (const double part : {1.0, 0.75, 0.5, 0.25}) {
                const Vector3 to = fitMesh.place(at.vertex) + outward * (part * distance);
                if (!state.guard.mayMove(at.vertex, to) || overlaps(at, to, along, outward)) continue;
                state.moveVertex(at.vertex, to);
                break;
            }
        }
    }
}

void BorderFitter::reachCorners() {
    findBorder();
    std::vector<Corner> vCorner;
    for (FitIndex i = 0; i < vBorder.size(); ++i)
        if (const std::optional<Corner> corner = findCorner(i)) vCorner.push_back(*corner);
    std::sort(vCorner.begin(), vCorner.end(),
              [](const Corner& a, const Corner& b) { return std::tie(a.empty, a.at) < std::tie(b.empty, b.at); });
    const std::vector<Vector3> vPlace = transformed(vCorner, [](const Corner& corner) { return corner.place; });
    const PointGrid places(vPlace, CORNERS_APART);
    std::vector<char> vDone(vCorner.size());
    const auto takeNear = [&](const Vector3& place) {
        std::vector<FitIndex> vNear;
        places.visitWithin(place, CORNERS_APART, [&](FitIndex i, double) {
            if (vDone[i] == 0) vNear.push_back(i);
            vDone[i] = 1;
        });
        return vNear;
    };
    for (const BorderVertex& at : vBorder)
        if (state.vKind[at.vertex] == VertexKind::ON_CORNER) takeNear(fitMesh.place(at.vertex));
    for (FitIndex surest = 0; surest < vCorner.size(); ++surest) {
        if (vDone[surest] != 0) continue;
        const Vector3& place = vPlace[surest];
        std::vector<std::pair<double, FitIndex>> vByDistance;
        for (const FitIndex i : takeNear(place))
            vByDistance.emplace_back((fitMesh.place(vBorder[vCorner[i].at].vertex) - place).length(), i);
        std::sort(vByDistance.begin(), vByDistance.end());
        std::any_of(vByDistance.begin(), vByDistance.end(),
                    [&](const auto& near) { return tryMoveTo(vCorner[near.second], place); });
    }
}

bool BorderFitter::tryMoveTo(const Corner& corner, const Vector3& place) {
    const BorderVertex& at = vBorder[corner.at];
    if (!state.guard.mayMove(at.vertex, place) || overlaps(at, place, corner.along, corner.outward)) return false;
    state.moveVertex(at.vertex, place);
    state.vKind[at.vertex] = VertexKind::ON_CORNER;
    return true;
}

/// The vertices along the border from one on, itself first, as far as a rim of a corner reaches.
std::vector<FitIndex> BorderFitter::walk(const BorderVertex& at, FitIndex BorderVertex::*towards) const {
    std::vector<FitIndex> vVertex = {at.vertex};
    double length = 0.0;
    while (length < RIM_REACH && vVertex.size() < MAX_WALK) {
        const FitIndex position = vPosition[vVertex.back()];
        if (position == NO_INDEX) break;
        const FitIndex next = vBorder[position].*towards;
        length += (fitMesh.place(next) - fitMesh.place(vVertex.back())).length();
        vVertex.push_back(next);
    }
    return vVertex;
}

/// The frame of a turn of the border to the right, as seen from its vertex. None where the border runs on, runs back, or
/// turns around the outside. vWalk: the vertices before and behind, sorted, as far as a rim of a corner reaches.
std::optional<BorderFitter::Turn> BorderFitter::turnAt(const BorderVertex& at, std::vector<FitIndex>& vWalk) const {
    const Vector3& from = fitMesh.place(at.vertex);
    vWalk = walk(at, &BorderVertex::previous);
    const Vector3 before = normalize(from - fitMesh.place(vWalk.back()));
    const std::vector<FitIndex> vAhead = walk(at, &BorderVertex::next);
    const Vector3 after = normalize(fitMesh.place(vAhead.back()) - from);
    if (before * after > COS_TURN || before * after < -COS_TURN) return std::nullopt;
    const Vector3 along = normalize(before + after);
    const Vector3 outward = normalize(crossProduct(along, state.sides.vNormal[at.vertex]));
    if ((before - after) * outward <= 0.0) return std::nullopt;
    vWalk.insert(vWalk.end(), vAhead.begin(), vAhead.end());
    std::sort(vWalk.begin(), vWalk.end());
    return Turn{along, outward, std::acos(before * after)};
}

std::optional<BorderFitter::Corner> BorderFitter::findCorner(FitIndex position) {
    const FitIndex vertex = vBorder[position].vertex;
    std::vector<FitIndex> vWalk;
    const std::optional<Turn> turn = state.isFree(vertex) ? turnAt(vBorder[position], vWalk) : std::nullopt;
    if (!turn) return std::nullopt;
    std::vector<RimPlace> vPoint;
    visitBeside(vertex, turn->along, turn->outward, RIM_REACH + MAX_TO_CORNER * state.cell,
                [&](const RimPlace& place, FitIndex nearest) {
                    if (std::any_of(vWalk.begin(), vWalk.end(), [&](FitIndex v) { return isAt(v, nearest); }))
                        vPoint.push_back(place);
                });
    const std::optional<RimCorner> found = findRimCorner(std::move(vPoint), turn->angle);
    if (!found) return std::nullopt;
    const Vector3& from = fitMesh.place(vertex);
    Vector3 place = from + turn->along * found->place.along + turn->outward * found->place.outward;
    if ((place - from).length() > MAX_TO_CORNER * state.cell) return std::nullopt;
    const VertexPlace there = state.finder.find(place, state.sides.of(vertex));
    if (there.numSheets > 0) place = there.sheet;
    return Corner{position, found->empty, place, turn->along, turn->outward};
}

/// Whether the move takes the border over another part of it, in the plane of along and outward.
bool BorderFitter::overlaps(const BorderVertex& at, const Vector3& to, const Vector3& along, const Vector3& outward) const {
    const Vector3 from = fitMesh.place(at.vertex), normal = crossProduct(along, outward);
    const auto inPlane = [&](const Vector3& place) { return std::pair((place - from) * along, (place - from) * outward); };
    const auto sideOf = [](const auto& a, const auto& b, const auto& p) {
        return (b.first - a.first) * (p.second - a.second) - (b.second - a.second) * (p.first - a.first);
    };
    const auto cross = [&](const Vector3& a, const Vector3& b, const Vector3& c, const Vector3& d) {
        const auto pa = inPlane(a), pb = inPlane(b), pc = inPlane(c), pd = inPlane(d);
        return sideOf(pa, pb, pc) * sideOf(pa, pb, pd) < 0.0 && sideOf(pc, pd, pa) * sideOf(pc, pd, pb) < 0.0;
    };
    bool bOver = false;
    grid.visitWithin(to, BORDER_SEARCH * state.cell, [&](FitIndex i, double) {
        const BorderVertex& other = vBorder[i];
        const Vector3 &a = fitMesh.place(other.vertex), &b = fitMesh.place(other.next);
        if (other.vertex == at.vertex || other.next == at.vertex || std::fabs((a - to) * normal) > MAX_OFF_SHEET) return;
        bOver = bOver || cross(from, to, a, b) ||
                (other.next != at.previous && cross(fitMesh.place(at.previous), to, a, b)) ||
                (other.vertex != at.next && cross(to, fitMesh.place(at.next), a, b));
    });
    return bOver;
}

void BorderFitter::findBorder() {
    vBorder.clear();
    std::vector<Vector3> vPlace;
    const std::vector<unsigned char> vAtBorder = fitMesh.verticesAtBorder();
    for (FitIndex v = 0; v < fitMesh.numVertices(); ++v) {
        BorderVertex at{v, NO_INDEX, NO_INDEX};
        if (vAtBorder[v] == 0 || !findBorderNeighbours(v, at.next, at.previous) ||
            (fitMesh.place(at.next) - fitMesh.place(v)).length() < MIN_EDGE * state.cell)
            continue;
        vBorder.push_back(at);
        vPlace.push_back(fitMesh.place(v));
    }
    vPosition.assign(fitMesh.numVertices(), NO_INDEX);
    for (FitIndex i = 0; i < vBorder.size(); ++i)
        vPosition[vBorder[i].vertex] = i;
    grid = PointGrid(vPlace, BORDER_SEARCH * state.cell);
}

/// The neighbours along the border; false where the vertex isn't on exactly one.
bool BorderFitter::findBorderNeighbours(FitIndex vertex, FitIndex& next, FitIndex& previous) const {
    int numBorders = 0;
    fitMesh.visitCorners(vertex, [&](FitIndex t, int k) {
        const FitTriangle& c = fitMesh.corners(t);
        if (fitMesh.neighbour(t, k) == NO_INDEX) {
            next = c[static_cast<std::size_t>(nextCorner(k))];
            ++numBorders;
        }
        if (fitMesh.neighbour(t, previousCorner(k)) == NO_INDEX) {
            previous = c[static_cast<std::size_t>(previousCorner(k))];
            ++numBorders;
        }
    });
    return numBorders == 2 && next != NO_INDEX && previous != NO_INDEX;
}

/// Whether the vertex is one, or a neighbour of one, that is the nearest to a point.
bool BorderFitter::isAt(FitIndex vertex, FitIndex nearest) const {
    return vertex == nearest || fitMesh.isJoined(vertex, nearest);
}

/// The points of the sheet of a vertex within the radius, in spacings: visit(place, nearest vertex).
template <typename Visit>
void BorderFitter::visitBeside(FitIndex vertex, const Vector3& along, const Vector3& outward, double radius,
                               const Visit& visit) const {
    const Vector3& from = fitMesh.place(vertex);
    const SurfaceSide side = state.sides.of(vertex);
    state.grid.visitWithin(from, radius, [&](FitIndex j, double) {
        if (!state.points.isSeenFrom(side, j)) return;
        const Vector3 offset = state.points.vFitted[j] - from;
        if (std::fabs(0.5 * (offset * (side.normal + state.points.vNormal[j]))) > MAX_OFF_SHEET) return;
        visit(RimPlace{offset * along, offset * outward}, state.points.vNearest[j]);
    });
}

/// How far points lie beyond the border at a vertex: those right beside it, or the line from one on either side to one on
/// the other. Only points to which it or a neighbour on the border was the nearest: a border may run along another one, or
/// over a sheet.
double BorderFitter::distanceToLastPoint(const BorderVertex& at, const Vector3& along, const Vector3& outward) const {
    std::vector<RimPlace> vBeyond;
    double farthest = 0.0;
    visitBeside(at.vertex, along, outward, BORDER_RADIUS, [&](const RimPlace& place, FitIndex nearest) {
        const bool bBeside = isAt(at.vertex, nearest);
        if (bBeside && std::fabs(place.along) <= HALF_WIDTH) farthest = std::max(farthest, place.outward);
        if (bBeside || isAt(at.next, nearest) || isAt(at.previous, nearest)) vBeyond.push_back(place);
    });
    for (const RimPlace& a : vBeyond)
        for (const RimPlace& b : vBeyond)
            if (a.along < 0.0 && b.along > 0.0)
                farthest = std::max(farthest, (a.outward * b.along - b.outward * a.along) / (b.along - a.along));
    return farthest;
}

}  // namespace TARN_KEL
