// The triangles of a vertex form a list through their corners: vFirst has its first corner, vNext the corner behind each. So
// flips and splits relink a few numbers, and nothing is allocated for a vertex.
#include "FitMesh.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "geometryFunctions.h"
#include "runs.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

const std::size_t MANY = 64;       // triangles of a vertex; no scan makes more
const std::size_t MIN_DEGREE = 3;  // of the ends of an edge that is flipped, before

std::size_t at(int k) {
    return static_cast<std::size_t>(k);
}

/// Which corner the vertex is; it must be one.
std::size_t slotOf(const FitTriangle& c, FitIndex vertex) {
    return c[0] == vertex ? 0 : c[1] == vertex ? 1 : 2;
}

FitIndex thirdCorner(const FitTriangle& c, FitIndex a, FitIndex b) {
    return c[0] ^ c[1] ^ c[2] ^ a ^ b;
}

FitIndex cornerOf(FitIndex t, int k) {
    return 3 * t + static_cast<FitIndex>(k);
}

}  // namespace

FitMesh::FitMesh(std::vector<Vector3> vPlaces, std::vector<FitTriangle> vTriangles)
    : vPlace(std::move(vPlaces)),
      vTriangle(std::move(vTriangles)),
      vNeighbour(vTriangle.size(), {NO_INDEX, NO_INDEX, NO_INDEX}),
      vFirst(vPlace.size(), NO_INDEX),
      vNext(3 * vTriangle.size(), NO_INDEX) {
    for (FitIndex t = static_cast<FitIndex>(vTriangle.size()); t-- > 0;)
        for (int k = 2; k >= 0; --k)
            enterCorner(t, k);
    findNeighbours();
}

void FitMesh::findNeighbours() {
    struct HalfEdge {
        std::uint64_t ends;
        FitIndex corner;
        bool operator<(const HalfEdge& other) const {
            return ends != other.ends ? ends < other.ends : corner < other.corner;
        }
    };
    std::vector<HalfEdge> vHalf;
    vHalf.reserve(3 * vTriangle.size());
    for (FitIndex t = 0; t < vTriangle.size(); ++t)
        for (int k = 0; k < 3; ++k) {
            const auto [low, high] = std::minmax(vTriangle[t][at(k)], vTriangle[t][at(nextCorner(k))]);
            vHalf.push_back({std::uint64_t{low} << 32 | high, cornerOf(t, k)});
        }
    sortMT(vHalf.begin(), vHalf.end());
    const auto endsOf = [](const HalfEdge& half) { return half.ends; };
    forEachRun(vHalf.cbegin(), vHalf.cend(), endsOf, [this](auto first, auto end) {
        const FitIndex a = first->corner, b = std::prev(end)->corner;
        if (end - first != 2 || vTriangle[a / 3][a % 3] == vTriangle[b / 3][b % 3]) return;
        vNeighbour[a / 3][a % 3] = b / 3;
        vNeighbour[b / 3][b % 3] = a / 3;
    });
}

int FitMesh::edgeFrom(FitIndex t, FitIndex a, FitIndex b) const {
    const FitTriangle& c = vTriangle[t];
    for (int k = 0; k < 3; ++k)
        if (c[at(k)] == a && c[at(nextCorner(k))] == b) return k;
    return -1;
}

std::optional<FitEdge> FitMesh::findEdge(const FitSide& ends) const {
    std::optional<FitEdge> edge;
    visitTriangles(ends.first, [&](FitIndex t) {
        const int k = edgeFrom(t, ends.first, ends.second);
        if (k >= 0 && neighbour(t, k) != NO_INDEX) edge = FitEdge{t, k};
    });
    return edge;
}

int FitMesh::cornerAt(FitIndex t, FitIndex vertex) const {
    const FitTriangle& c = vTriangle[t];
    for (int k = 0; k < 3; ++k)
        if (c[at(k)] == vertex) return k;
    return -1;
}

std::size_t FitMesh::degree(FitIndex vertex) const {
    std::size_t count = 0;
    visitTriangles(vertex, [&](FitIndex) { ++count; });
    return count;
}

bool FitMesh::isHub(FitIndex vertex) const {
    std::size_t count = 0;
    for (FitIndex corner = vFirst[vertex]; corner != NO_INDEX && count <= MANY; corner = vNext[corner])
        ++count;
    return count > MANY;
}

bool FitMesh::isAtBorder(FitIndex vertex) const {
    bool bBorder = false;
    visitCorners(vertex, [&](FitIndex t, int k) {
        bBorder = bBorder || neighbour(t, k) == NO_INDEX || neighbour(t, previousCorner(k)) == NO_INDEX;
    });
    return bBorder;
}

std::vector<unsigned char> FitMesh::verticesAtBorder() const {
    std::vector<unsigned char> vAtBorder(vPlace.size());
    for (FitIndex t = 0; t < vTriangle.size(); ++t)
        for (int k = 0; k < 3; ++k)
            if (neighbour(t, k) == NO_INDEX) vAtBorder[vTriangle[t][at(k)]] = vAtBorder[vTriangle[t][at(nextCorner(k))]] = 1;
    return vAtBorder;
}

bool FitMesh::isJoined(FitIndex a, FitIndex b) const {
    for (FitIndex corner = vFirst[a]; corner != NO_INDEX; corner = vNext[corner])
        if (cornerAt(corner / 3, b) >= 0) return true;
    return false;
}

void FitMesh::enterCorner(FitIndex t, int k) {
    FitIndex& first = vFirst[vTriangle[t][at(k)]];
    vNext[cornerOf(t, k)] = first;
    first = cornerOf(t, k);
}

void FitMesh::removeCorner(FitIndex t, int k) {
    FitIndex* pLink = &vFirst[vTriangle[t][at(k)]];
    while (*pLink != cornerOf(t, k))
        pLink = &vNext[*pLink];
    *pLink = vNext[*pLink];
}

void FitMesh::setCorners(FitIndex t, const FitTriangle& triangle, const FitTriangle& neighbours) {
    for (int k = 0; k < 3; ++k)
        if (vTriangle[t][at(k)] != triangle[at(k)]) removeCorner(t, k);
    const FitTriangle former = vTriangle[t];
    vTriangle[t] = triangle;
    vNeighbour[t] = neighbours;
    for (int k = 0; k < 3; ++k)
        if (former[at(k)] != triangle[at(k)]) enterCorner(t, k);
}

void FitMesh::appendTriangle(const FitTriangle& triangle, const FitTriangle& neighbours) {
    const auto t = static_cast<FitIndex>(vTriangle.size());
    vTriangle.push_back(triangle);
    vNeighbour.push_back(neighbours);
    vNext.resize(3 * vTriangle.size(), NO_INDEX);
    for (int k = 0; k < 3; ++k)
        enterCorner(t, k);
}

// The edge that the neighbour shares runs from `to` to `from` there: two triangles may be neighbours twice.
void FitMesh::replaceNeighbour(FitIndex t, FitIndex former, FitIndex now, FitIndex from, FitIndex to) {
    if (t == NO_INDEX) return;
    const int k = edgeFrom(t, to, from);
    if (k >= 0 && neighbour(t, k) == former) vNeighbour[t][at(k)] = now;
}

FitQuad FitMesh::quadAt(FitIndex t, int k) const {
    FitQuad q{};
    q.t = t;
    q.o = neighbour(t, k);
    q.a = vTriangle[t][at(k)];
    q.b = vTriangle[t][at(nextCorner(k))];
    q.c = thirdCorner(vTriangle[t], q.a, q.b);
    q.d = thirdCorner(vTriangle[q.o], q.a, q.b);
    const auto overFrom = [&](FitIndex triangle, FitIndex v) {
        return vNeighbour[triangle][slotOf(vTriangle[triangle], v)];
    };
    q.overBC = overFrom(q.t, q.b);
    q.overCA = overFrom(q.t, q.c);
    q.overAD = overFrom(q.o, q.a);
    q.overDB = overFrom(q.o, q.d);
    return q;
}

bool FitMesh::maySplit(const FitQuad& q) const {
    return q.c != q.d && !isHub(q.a) && !isHub(q.b) && !isHub(q.c) && !isHub(q.d);
}

bool FitMesh::mayFlip(const FitQuad& q) const {
    return maySplit(q) && !isJoined(q.c, q.d) && degree(q.a) > MIN_DEGREE && degree(q.b) > MIN_DEGREE;
}

// The two triangles become (a, d, c) and (d, b, c).
void FitMesh::flip(FitIndex t, int k) {
    const FitQuad q = quadAt(t, k);
    replaceNeighbour(q.overAD, q.o, q.t, q.a, q.d);
    replaceNeighbour(q.overBC, q.t, q.o, q.b, q.c);
    setCorners(q.t, {q.a, q.d, q.c}, {q.overAD, q.o, q.overCA});
    setCorners(q.o, {q.d, q.b, q.c}, {q.overDB, q.overBC, q.t});
}

void FitMesh::undoFlip(const FitQuad& q) {
    replaceNeighbour(q.overAD, q.t, q.o, q.a, q.d);
    replaceNeighbour(q.overBC, q.o, q.t, q.b, q.c);
    restore(q);
}

void FitMesh::restore(const FitQuad& q) {
    setCorners(q.t, {q.a, q.b, q.c}, {q.o, q.overBC, q.overCA});
    setCorners(q.o, {q.b, q.a, q.d}, {q.t, q.overAD, q.overDB});
}

// The two triangles become (a, v, c) and (v, a, d), and (v, b, c) and (b, v, d) are new.
void FitMesh::split(FitIndex t, int k, const Vector3& place) {
    const FitQuad q = quadAt(t, k);
    const auto v = static_cast<FitIndex>(vPlace.size());
    const auto newT = static_cast<FitIndex>(vTriangle.size()), newO = newT + 1;
    vPlace.push_back(place);
    vFirst.push_back(NO_INDEX);
    replaceNeighbour(q.overBC, q.t, newT, q.b, q.c);
    replaceNeighbour(q.overDB, q.o, newO, q.d, q.b);
    setCorners(q.t, {q.a, v, q.c}, {q.o, newT, q.overCA});
    setCorners(q.o, {v, q.a, q.d}, {q.t, q.overAD, newO});
    appendTriangle({v, q.b, q.c}, {newO, q.overBC, q.t});
    appendTriangle({q.b, v, q.d}, {newT, q.o, q.overDB});
}

void FitMesh::undoSplit(const FitQuad& q) {
    const auto newO = static_cast<FitIndex>(vTriangle.size() - 1), newT = newO - 1;
    replaceNeighbour(q.overBC, newT, q.t, q.b, q.c);
    replaceNeighbour(q.overDB, newO, q.o, q.d, q.b);
    for (const FitIndex t : {newT, newO})
        for (int k = 0; k < 3; ++k)
            removeCorner(t, k);
    restore(q);
    vTriangle.resize(newT);
    vNeighbour.resize(newT);
    vNext.resize(std::size_t{3} * newT);
    vPlace.pop_back();
    vFirst.pop_back();
}

std::vector<Vector3> FitMesh::smoothNormals() const {
    std::vector<Vector3> vSum(vPlace.size());
    for (FitIndex t = 0; t < vTriangle.size(); ++t) {
        const Vector3 area = areaVectorOf(t);
        for (const FitIndex v : vTriangle[t])
            vSum[v] += area;
    }
    for (Vector3& n : vSum)
        n = normalize(n);
    std::vector<Vector3> vSmooth = vSum;
    for (const FitTriangle& c : vTriangle) {
        const Vector3 sum = vSum[c[0]] + vSum[c[1]] + vSum[c[2]];
        for (const FitIndex v : c)
            vSmooth[v] += sum;
    }
    for (Vector3& n : vSmooth)
        n = normalize(n);
    return vSmooth;
}

Vector3 FitMesh::meanOfNeighbours(FitIndex vertex) const {
    Vector3 sum;
    double count = 0.0;
    visitTriangles(vertex, [&](FitIndex t) {
        for (const FitIndex corner : corners(t))
            if (corner != vertex) {
                sum += vPlace[corner];
                count += 1.0;
            }
    });
    return sum / count;
}

double FitMesh::meanEdgeLength() const {
    double sum = 0.0;
    for (const FitTriangle& c : vTriangle)
        for (int k = 0; k < 3; ++k)
            sum += (vPlace[c[at(k)]] - vPlace[c[at(nextCorner(k))]]).length();
    return vTriangle.empty() ? 0.0 : sum / (3.0 * static_cast<double>(vTriangle.size()));
}

}  // namespace TARN_KEL
