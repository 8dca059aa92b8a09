#include "FitState.h"

#include "fitLimits.h"

namespace TARN_KEL {

namespace {

const double MAX_SPLIT_TO_CREASE = 1.6;  // cells

}  // namespace

FitState::FitState(FitMesh& fitMesh, const FitPoints& fitPoints, const VertexSides& meshSides, double cellEdge)
    : mesh(fitMesh),
      points(fitPoints),
      grid(fitPoints.vFitted, FIT_GRID_EDGE),
      cell(cellEdge),
      sides(meshSides),
      vKind(fitMesh.numVertices(), VertexKind::AS_IT_WAS),
      vRough(fitMesh.numVertices(), 0),
      vChanged(fitMesh.numTriangles(), 1),
      guard(mesh, points, grid, sides, cellEdge),
      finder(points, grid) {}

double FitState::distanceOfEdge(const FitSide& edge) const {
    const auto [a, b] = edge;
    return guard.distanceToPoints((mesh.place(a) + mesh.place(b)) * 0.5, sides.between(a, b));
}

std::vector<Vector3> FitState::placesAround(FitIndex vertex) const {
    const Vector3 from = mesh.place(vertex), mean = mesh.meanOfNeighbours(vertex);
    std::vector<Vector3> vNear = {mean, (from + mean) * 0.5, from};
    mesh.visitCorners(vertex, [&](FitIndex t, int k) {
        const FitIndex next = mesh.corners(t)[static_cast<std::size_t>(nextCorner(k))];
        vNear.push_back((from + mesh.place(next)) * 0.5);
    });
    return vNear;
}

std::optional<EdgeFlip> FitState::findFlip(const FitSide& ends) const {
    const std::optional<FitEdge> edge = mesh.findEdge(ends);
    if (!edge) return std::nullopt;
    const FitQuad q = mesh.quadAt(edge->triangle, edge->k);
    if (!mesh.mayFlip(q)) return std::nullopt;
    return EdgeFlip{q, edge->k};
}

std::optional<EdgeSplit> FitState::findSplit(const FitSide& ends) {
    const std::optional<FitEdge> edge = mesh.findEdge(ends);
    if (!edge) return std::nullopt;
    const FitQuad q = mesh.quadAt(edge->triangle, edge->k);
    if (!mesh.maySplit(q)) return std::nullopt;
    const Vector3 middle = (mesh.place(q.a) + mesh.place(q.b)) * 0.5;
    const SurfaceSide side = sides.between(q.a, q.b);
    const VertexPlace found = finder.find(middle, side);
    if (!found.bCrease || (found.crease - middle).length() >= MAX_SPLIT_TO_CREASE * cell) return std::nullopt;
    return EdgeSplit{q, edge->k, found.crease, side};
}

void FitState::moveVertex(FitIndex vertex, const Vector3& to) {
    mesh.move(vertex, to);
    mesh.visitTriangles(vertex, [&](FitIndex t) { vChanged[t] = 1; });
}

void FitState::perform(const EdgeFlip& flip) {
    const FitQuad& q = flip.quad;
    vHistory.push_back({q.a, q.b, q.c, q.d});
    mesh.flip(flip.quad.t, flip.edge);
}

void FitState::undo(const EdgeFlip& flip) {
    mesh.undoFlip(flip.quad);
    vHistory.pop_back();
}

void FitState::perform(const EdgeSplit& split) {
    const FitQuad& q = split.quad;
    vHistory.push_back({q.a, q.b, q.c, q.d, static_cast<FitIndex>(mesh.numVertices())});
    mesh.split(split.quad.t, split.edge, split.at);
    vChanged.resize(mesh.numTriangles(), 1);
    sides.vNormal.push_back(split.side.normal);
    sides.vPiece.push_back(split.side.piece);
    vKind.push_back(VertexKind::ON_CREASE);
    vRough.push_back(1);
}

void FitState::undo(const EdgeSplit& split) {
    mesh.undoSplit(split.quad);
    vHistory.pop_back();
    vChanged.resize(mesh.numTriangles());
    sides.vNormal.pop_back();
    sides.vPiece.pop_back();
    vKind.pop_back();
    vRough.pop_back();
}

}  // namespace TARN_KEL
