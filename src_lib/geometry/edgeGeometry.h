// Tests on the shape of triangles, for edges that are to be flipped, split or collapsed.
#pragma once

#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

#include "geometryFunctions.h"
#include "kel.h"

namespace TARN_KEL {

/// Whether the angle of two sides of a triangle is below 0.01 or above 179.99 degrees, or one of the sides has no length.
inline bool isSliverAngle(const Vector3& a, const Vector3& b) {
    constexpr double MIN_ANGLE = 0.01, MAX_ANGLE = 179.99;  // degrees
    // More than six degrees from the limits the cosine decides: no square roots and no arc cosine for nearly all triangles.
    constexpr double FAR_SQ_COSINE = 0.99;
    const auto isUsual = [](double square) { return square > 1e-100 && square < 1e100; };
    const double dot = a * b, aa = a.sqLength(), bb = b.sqLength();
    if (isUsual(aa) && isUsual(bb) && dot * dot < FAR_SQ_COSINE * (aa * bb)) return false;

    if (a.isDegenerate() || b.isDegenerate()) return true;
    const double angle = getAngleDegree(normalize(a), normalize(b));
    return angle < MIN_ANGLE || angle > MAX_ANGLE;
}

/// The height of a triangle on its longest side, as a part of that side; NaN when the sides have no length.
/// a, b: two of its sides, from one corner. They are scaled first, so that the size of the triangle doesn't count.
inline double relativeHeight(const Vector3& a, const Vector3& b) {
    const double longest = std::sqrt(std::max({a.sqLength(), b.sqLength(), (b - a).sqLength()}));
    return crossProduct(a / longest, b / longest).length();
}

/// A triangle of at most this relative height is flat: makeManifold() removes it, and no step that keeps a mesh manifold
/// makes one.
constexpr double FLAT_HEIGHT = 1e-6;
inline bool isFlat(const Vector3& a, const Vector3& b) {
    // Well above the limit squares decide: no root for nearly all triangles.
    constexpr double SURE = 4.0 * FLAT_HEIGHT * FLAT_HEIGHT;
    const double square = std::max({a.sqLength(), b.sqLength(), (b - a).sqLength()});
    if (square > 1e-100 && square < 1e100 && crossProduct(a, b).sqLength() > SURE * square * square) return false;
    return !(relativeHeight(a, b) > FLAT_HEIGHT);
}

/// Whether a triangle may be cut from corner a to p, which lies on the side from b to c or near it: when both halves, a-b-p
/// and a-p-c, have a normal that differs by at most 90 degrees from nnv, the normal of the triangle.
inline bool isGentleCut(const Vector3& nnv, const Point3& a, const Point3& b, const Point3& c, const Point3& p) {
    constexpr double MAX_TURN = 90.0;  // degrees
    bool bOK = false;
    const Vector3 n1 = getNormalVector(a, b, p, bOK);
    if (!bOK || getAngleDegree(nnv, n1) > MAX_TURN) return false;
    const Vector3 n2 = getNormalVector(a, p, c, bOK);
    return bOK && getAngleDegree(nnv, n2) <= MAX_TURN;
}

/// The interior angle of a triangle at p in degrees.
inline double angleAt(const Point3& p, const Point3& q, const Point3& r) {
    return getAngleDegree(normalize(q - p), normalize(r - p));
}

/// Whether a triangle keeps some area and turns by at most maxDegrees when a corner moves.
/// nOld, nNew: its normals before and after, as cross products of two sides; nOld must not be the zero vector.
inline bool isGentleTurn(const Vector3& nOld, const Vector3& nNew, double maxDegrees) {
    constexpr double MIN_NEW_NORMAL = 1e-10;  // twice an area
    if (!(nNew.length() >= MIN_NEW_NORMAL)) return false;
    return getAngleDegree(normalize(nOld), normalize(nNew)) <= maxDegrees;
}

/// Whether the edge p0-p1 may be flipped to alt0-alt1: when the two new triangles have normals less than maxDegrees apart.
inline bool isGentleFlip(const Point3& p0, const Point3& p1, const Point3& alt0, const Point3& alt1, double maxDegrees) {
    bool bOK0 = false, bOK1 = false;
    const Vector3 n0 = getNormalVector(alt0, alt1, p1, bOK0), n1 = getNormalVector(alt1, alt0, p0, bOK1);
    return bOK0 && bOK1 && maxDegrees > getAngleDegree(n0, n1);
}

/// Enters the edges whose squared length is below maxSqLen, with that squared length as key.
template <typename Edge, typename SqLengthOf>
void enterShortEdges(const std::vector<Edge*>& vEdge, double maxSqLen, SqLengthOf&& sqLengthOf,
                     std::multimap<double, Edge*>& mmEdges) {
    for (Edge* pEdge : vEdge) {
        const double sqLen = sqLengthOf(*pEdge);
        if (sqLen < maxSqLen) mmEdges.emplace(sqLen, pEdge);
    }
}

}  // namespace TARN_KEL
