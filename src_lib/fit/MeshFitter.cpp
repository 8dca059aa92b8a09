// A round goes from what is sure to what leans on it: smooth places first, then corners and creases, where sheets meet that
// have settled by then; edges last, since which diagonal is the better one depends on where its ends are.
//
//     places      for each vertex the sheets around it (SheetFinder): one, or two and three that meet
//     folds       vertices at folds go between their neighbours, or no later move would be allowed there
//     sheets      each vertex to its nearest sheet, at most a cell or so
//     corners     the nearest vertex to each, and it stays there
//     creases     vertices near one, where no neighbour is on it already
//     stuck ones  go round, by the places of their neighbours
//     edges       flipped where the other diagonal lies nearer to the points (EdgeFitter)
//
// Spots that are mended and borders that go out take turns: a fold at a border holds it, and a border that goes out may
// fold.
//
// Vertices are taken one after the other, in the order of their numbers or of their distances: each move is judged against
// the moves before it. Only what changes nothing, the search for sheets and for bad triangles, runs on several threads.
//
// A vertex that is near its sheet has settled: it isn't looked at again unless it is marked rough, as it is where sheets
// meet and where a move was refused.
#include "MeshFitter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "PointFollower.h"
#include "Progress.h"
#include "SpotMender.h"
#include "Untangler.h"
#include "fitLimits.h"
#include "sortMT.h"
#include "transformed.h"

namespace TARN_KEL {

namespace {

const int NUM_ROUNDS = 3;
// In cells:
const double MAX_TO_SHEET = 1.2;
const double MAX_TO_CREASE = 1.2;
const double CORNER_DISTANCE = 0.7;  // of two corners
const double CREASE_DISTANCE = 0.5;  // of neighbours on a crease
const double MAX_UNFOLD = 1.5;
// In spacings:
const double CORNER_SCALE = 1.4;  // of the second look for a corner
const double MAX_LIFT = 0.1;
const double SETTLED = 0.05;
const double STUCK = 0.15;

struct Target {
    double distance;
    FitIndex vertex;
    bool operator<(const Target& other) const {
        return distance != other.distance ? distance < other.distance : vertex < other.vertex;
    }
};

}  // namespace

MeshFitter::MeshFitter(FitMesh& mesh, const FitPoints& points, const VertexSides& meshSides, double cellEdge)
    : state(mesh, points, meshSides, cellEdge),
      fitMesh(mesh),
      guard(state.guard),
      edges(state),
      borders(state),
      vStart(mesh.places()),
      vStartTriangle(mesh.triangles()) {}

FitCounts MeshFitter::fit() {
    ProgressStep progress("FT_rounds", NUM_ROUNDS);
    holdHubs();
    for (int round = 0; round < NUM_ROUNDS; ++round) {
        findPlaces();
        markRough();
        if (round > 0) smoothFolds();
        moveToSheets();
        turnBadUpright(round == 0);
        moveToCorners();
        moveToCreases();
        freeStuck();
        flipEdges();
        if (round + 1 == NUM_ROUNDS)
            for (int again = 0; again < 3 && splitEdges(); ++again) {
                freeStuck();
                flipEdges();
                state.sides.vNormal = fitMesh.smoothNormals();
            }
        state.sides.vNormal = fitMesh.smoothNormals();
        progress.advance();
    }
    borders.reachRims();
    mendSpots();
    borders.reachRims();
    liftByChords();
    followPoints();
    counts.numPairs = edges.getNumPairs();
    return counts;
}

std::size_t MeshFitter::untangle(std::vector<CrossingPair> vPair) {
    return Untangler(fitMesh, vStart).untangle(touchedVertices(), std::move(vPair));
}

void MeshFitter::holdHubs() {
    for (FitIndex v = 0; v < fitMesh.numVertices(); ++v)
        if (fitMesh.isHub(v))
            fitMesh.visitTriangles(v, [&](FitIndex t) {
                for (const FitIndex corner : fitMesh.corners(t))
                    state.vKind[corner] = VertexKind::HELD;
            });
}

void MeshFitter::findPlaces() {
    vFound.resize(fitMesh.numVertices());
    vSettled.resize(fitMesh.numVertices());
    forChunks_MT(fitMesh.numVertices(), [&](std::size_t begin, std::size_t end) {
        SheetFinder ownFinder(state.points, state.grid);
        for (std::size_t i = begin; i < end; ++i) {
            const auto v = static_cast<FitIndex>(i);
            if (isSettled(v)) continue;
            if (state.vKind[v] == VertexKind::ON_CORNER || state.vKind[v] == VertexKind::HELD ||
                state.sides.vNormal[v].isDegenerate()) {
                vFound[v] = {};
                continue;
            }
            VertexPlace& found = vFound[v];
            found = ownFinder.find(fitMesh.place(v), state.sides.of(v));
            if (found.numSheets < 2 || found.bCorner) continue;
            const VertexPlace wider = ownFinder.find(fitMesh.place(v), state.sides.of(v), CORNER_SCALE);
            found.bCorner = wider.bCorner;
            found.corner = wider.corner;
        }
    });
}

void MeshFitter::markRough() {
    for (FitIndex v = 0; v < vFound.size(); ++v)
        if (vFound[v].numSheets == 0 || vFound[v].bRough) state.vRough[v] = 1;
}

// ---- Folds

void MeshFitter::smoothFolds() {
    std::vector<unsigned char> vMoved(fitMesh.numVertices());
    for (int again = 0; again < 4; ++again) {
        std::vector<unsigned char> vAtFold(fitMesh.numVertices());
        fitMesh.forEachInnerEdge([&](FitIndex t, int, FitIndex other) {
            if (!guard.isFold(t, other)) return;
            for (const FitIndex v : fitMesh.corners(t))
                vAtFold[v] = 1;
            for (const FitIndex v : fitMesh.corners(other))
                vAtFold[v] = 1;
        });
        std::size_t numMoved = 0;
        for (FitIndex v = 0; v < vAtFold.size(); ++v) {
            if (vAtFold[v] == 0 || vFound[v].numSheets == 0 || fitMesh.isAtBorder(v)) continue;
            state.vRough[v] = 1;
            if (!tryUnfold(v)) continue;
            vMoved[v] = 1;
            ++numMoved;
        }
        counts.numUnfolded += numMoved;
        if (numMoved == 0) break;
    }
    for (FitIndex v = 0; v < vMoved.size(); ++v)
        if (state.vKind[v] == VertexKind::AS_IT_WAS && state.vRough[v] != 0)
            vFound[v] = state.finder.find(fitMesh.place(v), state.sides.of(v));
}

bool MeshFitter::tryUnfold(FitIndex vertex) {
    const Vector3 from = fitMesh.place(vertex);
    const double former = guard.countFolds(vertex, from);
    if (former < 1.0) return false;
    const Vector3 offset = fitMesh.meanOfNeighbours(vertex) - from;
    for (const double part : {1.0, 0.6, 0.3}) {
        const Vector3 to = from + offset * part;
        if (guard.countFolds(vertex, to) >= former - 0.6 || guard.leavesBare(vertex, to)) continue;
        state.moveVertex(vertex, to);
        state.vKind[vertex] = VertexKind::AS_IT_WAS;
        return true;
    }
    return false;
}

// ---- Sheets

void MeshFitter::moveToSheets() {
    for (FitIndex v = 0; v < fitMesh.numVertices(); ++v) {
        if (vFound[v].numSheets == 0 || !state.isFree(v)) continue;
        const Vector3 from = fitMesh.place(v);
        Vector3 offset = vFound[v].sheet - from;
        if (isSettled(v)) continue;
        const double length = offset.length(), limit = MAX_TO_SHEET * state.cell;
        if (length > limit) offset *= limit / length;
        const auto tryMove = [&](const Vector3& to) {
            if (!guard.mayMove(v, to)) return false;
            state.moveVertex(v, to);
            state.vKind[v] = VertexKind::ON_SHEET;
            vSettled[v] = length < SETTLED;
            return true;
        };
        if (!tryMove(from + offset) && !tryMove(from + offset * 0.5)) state.vRough[v] = 1;
    }
}

/// Vertices whose triangles face the wrong way are spread between their neighbours. bAll: settled ones as well.
void MeshFitter::turnBadUpright(bool bAll) {
    std::vector<unsigned char> vBad(fitMesh.numVertices());
    forChunks_MT(fitMesh.numVertices(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const auto v = static_cast<FitIndex>(i);
            if (!bAll && isSettled(v)) continue;
            vBad[v] = vFound[v].numSheets == 1 && state.isFree(v) && !fitMesh.isAtBorder(v) &&
                      guard.countBad(v, fitMesh.place(v), vFound[v].normal) > 0;
        }
    });
    std::size_t numTurned = 1;
    for (int again = 0; again < 3 && numTurned > 0; ++again) {
        numTurned = 0;
        for (FitIndex v = 0; v < fitMesh.numVertices(); ++v) {
            if (vBad[v] == 0 || !tryTurnUpright(v)) continue;
            state.vRough[v] = 1;
            ++numTurned;
        }
    }
}

bool MeshFitter::tryTurnUpright(FitIndex vertex) {
    const Vector3 from = fitMesh.place(vertex), normal = vFound[vertex].normal;
    const SurfaceSide side{normal, state.sides.vPiece[vertex]};
    const int former = guard.countBad(vertex, from, normal);
    if (former == 0) return false;
    const Vector3 offset = fitMesh.meanOfNeighbours(vertex) - from;
    for (const double part : {1.0, 0.5}) {
        const VertexPlace found = state.finder.find(from + offset * part, side);
        if (found.numSheets != 1 || (found.sheet - from).length() > MAX_UNFOLD * state.cell) continue;
        if (guard.countBad(vertex, found.sheet, found.normal) >= former || guard.leavesBare(vertex, found.sheet)) continue;
        state.moveVertex(vertex, found.sheet);
        return true;
    }
    return false;
}

// ---- Corners and creases

void MeshFitter::moveToCorners() {
    std::vector<Target> vTarget;
    for (FitIndex v = 0; v < fitMesh.numVertices(); ++v) {
        const double distance = (vFound[v].corner - fitMesh.place(v)).length();
        if (vFound[v].bCorner && distance < MAX_TO_CORNER * state.cell) vTarget.push_back({distance, v});
    }
    std::sort(vTarget.begin(), vTarget.end());
    const std::vector<Vector3> vCorner =
        transformed(vTarget, [this](const Target& target) { return vFound[target.vertex].corner; });
    const PointGrid cornerGrid(vCorner, CORNER_DISTANCE * state.cell);
    std::vector<unsigned char> vTaken(vCorner.size());
    const auto take = [&](const Vector3& corner) {
        cornerGrid.visitWithin(corner, CORNER_DISTANCE * state.cell, [&](FitIndex i, double) { vTaken[i] = 1; });
    };
    for (FitIndex v = 0; v < fitMesh.numVertices(); ++v)
        if (state.vKind[v] == VertexKind::ON_CORNER) take(fitMesh.place(v));
    for (std::size_t i = 0; i < vTarget.size(); ++i) {
        const FitIndex v = vTarget[i].vertex;
        if (vTaken[i] != 0 || !guard.mayMove(v, vCorner[i])) continue;
        state.moveVertex(v, vCorner[i]);
        state.vKind[v] = VertexKind::ON_CORNER;
        take(vCorner[i]);
        ++counts.numCorners;
    }
}

void MeshFitter::moveToCreases() {
    std::vector<Target> vTarget;
    for (FitIndex v = 0; v < fitMesh.numVertices(); ++v) {
        if (!vFound[v].bCrease || !state.isFree(v)) continue;
        const double distance = (vFound[v].crease - fitMesh.place(v)).length();
        if (distance < MAX_TO_CREASE * state.cell) vTarget.push_back({distance, v});
    }
    std::sort(vTarget.begin(), vTarget.end());
    for (const Target& target : vTarget) {
        const Vector3 crease = vFound[target.vertex].crease;
        bool bTaken = false;
        fitMesh.visitTriangles(target.vertex, [&](FitIndex t) {
            for (const FitIndex u : fitMesh.corners(t))
                bTaken = bTaken || (u != target.vertex && state.isOnCrease(u) &&
                                    (fitMesh.place(u) - crease).length() < CREASE_DISTANCE * state.cell);
        });
        if (bTaken || !guard.mayMove(target.vertex, crease)) continue;
        state.moveVertex(target.vertex, crease);
        state.vKind[target.vertex] = VertexKind::ON_CREASE;
        ++counts.numOnCreases;
    }
}

/// Vertices that can't go straight to a sheet, since their triangles would fold, go round: to the sheets and creases nearest
/// to where their neighbours are.
void MeshFitter::freeStuck() {
    for (FitIndex v = 0; v < fitMesh.numVertices(); ++v)
        if (state.vRough[v] != 0 && state.isFree(v) && vFound[v].numSheets > 0 && !fitMesh.isAtBorder(v)) tryFree(v);
}

bool MeshFitter::tryFree(FitIndex vertex) {
    const Vector3 from = fitMesh.place(vertex);
    if (guard.distanceToPoints(from, state.sides.of(vertex)) < STUCK) return false;
    const std::vector<Vector3> vNear = state.placesAround(vertex);
    return std::any_of(vNear.begin(), vNear.end(), [&](const Vector3& near) { return tryFreeBy(vertex, near); });
}

/// Moves a vertex to the crease or the sheet nearest to a place, if it may.
bool MeshFitter::tryFreeBy(FitIndex vertex, const Vector3& near) {
    const Vector3 from = fitMesh.place(vertex);
    const VertexPlace found = state.finder.find(near, state.sides.of(vertex));
    if (found.numSheets == 0) return false;
    const auto mayMove = [&](const Vector3& to) {
        return (to - from).length() < MAX_UNFOLD * state.cell && guard.mayMove(vertex, to);
    };
    if (found.bCrease && mayMove(found.crease)) {
        state.moveVertex(vertex, found.crease);
        state.vKind[vertex] = VertexKind::ON_CREASE;
        ++counts.numOnCreases;
        return true;
    }
    if (!mayMove(found.sheet)) return false;
    state.moveVertex(vertex, found.sheet);
    state.vKind[vertex] = VertexKind::ON_SHEET;
    return true;
}

// ---- Edges and spots

void MeshFitter::flipEdges() {
    counts.numFlips += edges.flipTowardsPoints();
}

bool MeshFitter::splitEdges() {
    const std::size_t numSplits = edges.splitAtCreases();
    vFound.resize(fitMesh.numVertices());
    return numSplits > 0;
}

void MeshFitter::mendSpots() {
    SpotMender mender(state);
    if (mender.hasFew()) {
        Untangler untangler(fitMesh, vStart);
        counts.numUntangled += untangler.untangle(touchedVertices(), untangler.crossingsAmong(roughTriangles()));
        mender.mend(untangler.verticesLeft());
        vFound.resize(fitMesh.numVertices());
    }
    counts.numSpots = mender.getNumSpots();
    counts.numMended = mender.getNumMended();
}

// ---- The end

/// Those that moved, and those of triangles that were flipped or split.
std::vector<FitIndex> MeshFitter::touchedVertices() const {
    std::vector<unsigned char> vTouched(fitMesh.numVertices(), 1);
    for (FitIndex v = 0; v < vStart.size(); ++v)
        vTouched[v] = !(fitMesh.place(v) - vStart[v]).isDegenerate();
    for (FitIndex t = 0; t < fitMesh.numTriangles(); ++t)
        if (t >= vStartTriangle.size() || fitMesh.corners(t) != vStartTriangle[t])
            for (const FitIndex corner : fitMesh.corners(t))
                vTouched[corner] = 1;
    std::vector<FitIndex> vVertex;
    for (FitIndex v = 0; v < vTouched.size(); ++v)
        if (vTouched[v] != 0 && state.vKind[v] != VertexKind::HELD) vVertex.push_back(v);
    return vVertex;
}

/// Those with a rough corner: almost all crossings are among these.
std::vector<FitIndex> MeshFitter::roughTriangles() const {
    std::vector<FitIndex> vTriangle;
    for (FitIndex t = 0; t < fitMesh.numTriangles(); ++t) {
        const FitTriangle& c = fitMesh.corners(t);
        if (state.vRough[c[0]] != 0 || state.vRough[c[1]] != 0 || state.vRough[c[2]] != 0) vTriangle.push_back(t);
    }
    return vTriangle;
}

/// On one sheet, and looked at.
bool MeshFitter::isSmooth(FitIndex vertex) const {
    return state.vKind[vertex] == VertexKind::ON_SHEET && vFound[vertex].numSheets == 1;
}

/// Triangles cut curved sheets: their vertices go out by the mean depth of the cut.
void MeshFitter::liftByChords() {
    std::vector<double> vDepth(fitMesh.numVertices()), vArea(fitMesh.numVertices());
    std::vector<unsigned char> vNot(fitMesh.numVertices());
    for (FitIndex t = 0; t < fitMesh.numTriangles(); ++t) {
        const FitTriangle& c = fitMesh.corners(t);
        if (!isSmooth(c[0]) || !isSmooth(c[1]) || !isSmooth(c[2])) {
            for (const FitIndex v : c)
                vNot[v] = 1;
            continue;
        }
        double depth = 0.0;
        for (std::size_t k = 0; k < 3; ++k) {
            const FitIndex a = c[k], b = c[(k + 1) % 3];
            depth += (vFound[a].normal - vFound[b].normal) * (fitMesh.place(a) - fitMesh.place(b)) / 24.0;
        }
        const double area = fitMesh.areaVectorOf(t).length();
        for (const FitIndex v : c) {
            vDepth[v] += area * depth;
            vArea[v] += area;
        }
    }
    for (FitIndex v = 0; v < fitMesh.numVertices(); ++v)
        if (vNot[v] == 0 && vArea[v] > 0.0)
            fitMesh.move(v, fitMesh.place(v) + vFound[v].normal * std::clamp(vDepth[v] / vArea[v], -MAX_LIFT, MAX_LIFT));
}

void MeshFitter::followPoints() {
    std::vector<unsigned char> vSmooth(fitMesh.numVertices());
    for (FitIndex v = 0; v < vSmooth.size(); ++v)
        vSmooth[v] = isSmooth(v);
    PointFollower(state).follow(vSmooth);
}

}  // namespace TARN_KEL
