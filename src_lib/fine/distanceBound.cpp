// A triangle is cut into convex pieces, each of which is within the limit of one triangle of the other surface. The distance
// to a triangle is a convex function, so it is largest at a corner of the piece: that is all that must be looked at.
//
// The triangle R to try is the one nearest to the middle of a piece. If the whole piece isn't near R, it is cut along the
// three walls that stand on the sides of R. What is between the walls has its distance to the plane of R, which is linear;
// the other parts are pieces of their own, mostly nearer to other triangles. Two surfaces in one plane are recognised as
// such by this, however their triangles overlap. A piece that no wall cuts is halved.
#include "distanceBound.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "sortMT.h"

namespace TARN_KEL {

namespace {

using Polygon = std::vector<Vector3>;

constexpr std::size_t MAX_PIECES = 2000, MANY_PIECES = 50;  // of a triangle
constexpr double CLOSE = 0.125;
// A cut that takes away less of a piece is none: rounding could cut off as little again and again.
constexpr double MIN_SHARE = 1e-3;
constexpr std::size_t MIN_PARALLEL_PROOFS = 256;

Vector3 middleOf(const Polygon& polygon) {
    Vector3 sum;
    for (const Vector3& p : polygon)
        sum += p;
    return sum / static_cast<double>(polygon.size());
}

double areaOf(const Polygon& polygon) {
    Vector3 sum;
    for (std::size_t i = 2; i < polygon.size(); ++i)
        sum += crossProduct(polygon[i - 1] - polygon[0], polygon[i] - polygon[0]);
    return sum.length();
}

/// Cuts a convex polygon where height(corner) is 0: the part above, and the rest.
template <typename Height>
void cut(const Polygon& polygon, const Height& height, Polygon& above, Polygon& below) {
    above.clear();
    below.clear();
    for (std::size_t i = 0; i < polygon.size(); ++i) {
        const Vector3 p = polygon[i], q = polygon[(i + 1) % polygon.size()];
        const double hp = height(p), hq = height(q);
        if (hp >= 0.0) above.push_back(p);
        if (hp <= 0.0) below.push_back(p);
        if ((hp > 0.0 && hq < 0.0) || (hp < 0.0 && hq > 0.0)) {
            const Vector3 between = p + (q - p) * (hp / (hp - hq));
            above.push_back(between);
            below.push_back(between);
        }
    }
}

class Prover {
public:
    Prover(const TriangleTree& theTree, double theLimit) : tree(theTree), limit(theLimit) {}
    /// The largest distance proved so far.
    double bound() const { return std::sqrt(sqBound); }

    bool prove(const TrianglePlaces& triangle) {
        near = NearestTriangle::NONE;  // anew, or the way to cut would depend on the chunks
        vOpen.assign(1, Polygon(triangle.begin(), triangle.end()));
        for (numPieces = 0; !vOpen.empty(); ++numPieces) {
            if (numPieces == MAX_PIECES) return false;
            Polygon piece = std::move(vOpen.back());
            vOpen.pop_back();
            if (!provePiece(piece)) return false;
        }
        return true;
    }

private:
    bool provePiece(Polygon& piece) {
        const Vector3 middle = middleOf(piece);
        const NearestTriangle start = near == NearestTriangle::NONE
                                          ? NearestTriangle()
                                          : NearestTriangle{near, sqDistance(middle, tree.triangle(near))};
        const NearestTriangle nearest = tree.nearest(middle, start);
        near = nearest.position;
        if (!(nearest.sqDistance <= limit * limit)) return false;
        const TrianglePlaces& r = tree.triangle(near);
        // Where the distance is small it isn't worth a cut to see how small; nor after many cuts.
        const double enough = numPieces < MANY_PIECES ? CLOSE * limit : limit;
        if (accept(piece, r, enough) || cutAlongWalls(piece, r) || accept(piece, r, limit)) return true;
        halve(piece);
        return true;
    }
    bool accept(const Polygon& piece, const TrianglePlaces& r, double distance) {
        double largest = 0.0;
        for (const Vector3& p : piece)
            largest = std::max(largest, sqDistance(p, r));
        if (!(largest <= distance * distance)) return false;
        sqBound = std::max(sqBound, largest);
        return true;
    }
    /// Leaves the parts beyond the walls as open pieces. False, with nothing done, when next to nothing is between the walls
    /// that is near, or nothing beyond them.
    bool cutAlongWalls(const Polygon& piece, const TrianglePlaces& r) {
        const Vector3 normal = crossProduct(r[1] - r[0], r[2] - r[0]);
        const std::size_t numBefore = vOpen.size();
        Polygon inside = piece, rest, beyond;
        for (std::size_t i = 0; i < 3 && inside.size() >= 3; ++i) {
            const Vector3 from = r[i], inward = crossProduct(normal, r[(i + 1) % 3] - r[i]);
            cut(
                inside, [&](const Vector3& p) { return (p - from) * inward; }, rest, beyond);
            if (beyond.size() >= 3) vOpen.push_back(beyond);
            inside.swap(rest);
        }
        if (vOpen.size() > numBefore && areaOf(inside) > MIN_SHARE * areaOf(piece) && accept(inside, r, limit)) return true;
        vOpen.resize(numBefore);
        return false;
    }
    void halve(const Polygon& piece) {
        std::size_t from = 0, to = 1;
        for (std::size_t i = 0; i < piece.size(); ++i)
            for (std::size_t j = 0; j < i; ++j)
                if ((piece[i] - piece[j]).sqLength() > (piece[from] - piece[to]).sqLength()) from = i, to = j;
        const Vector3 along = piece[to] - piece[from], centre = (piece[from] + piece[to]) * 0.5;
        Polygon one, two;
        cut(
            piece, [&](const Vector3& p) { return (p - centre) * along; }, one, two);
        vOpen.push_back(one);
        vOpen.push_back(two);
    }

    const TriangleTree& tree;
    const double limit;
    double sqBound = 0.0;
    std::size_t numPieces = 0;                 // of the triangle, so far
    std::size_t near = NearestTriangle::NONE;  // of the last piece of the triangle: mostly near the next one, too
    std::vector<Polygon> vOpen;
};

}  // namespace

std::optional<double> distanceBound(const std::vector<TrianglePlaces>& vFrom, const TriangleTree& to, double limit) {
    std::vector<double> vBound(vFrom.size(), 0.0);
    std::atomic<bool> bFailed = false;
    forChunks_MT(
        vFrom.size(),
        [&](std::size_t begin, std::size_t end) {
            Prover prover(to, limit);
            for (std::size_t i = begin; i < end && !bFailed; ++i) {
                if (!prover.prove(vFrom[i])) bFailed = true;
                vBound[i] = prover.bound();
            }
        },
        MIN_PARALLEL_PROOFS);
    if (bFailed) return std::nullopt;
    double bound = 0.0;
    for (const double b : vBound)
        bound = std::max(bound, b);
    return bound;
}

}  // namespace TARN_KEL
