// The energy by which flips are judged in both meshes. The meshes differ in how a normal is computed, in the exponent and in
// the treatment of flat triangles.
//
// A flip, with the names that are used below:
//
//            B                        B
//          / | \                    /   \         T0 = (opp0, A, B), T1 = (opp1, B, A)
//    N01 /   |   \ N12            / alt1  \       alt0 = (opp0, A, opp1), alt1 = (opp0, opp1, B)
//      /     |     \            /           \     .
//   opp0  T0 | T1  opp1  ->  opp0 --------- opp1
//      \     |     /            \           /
//    N02 \   |   / N11            \ alt0  /
//          \ | /                    \   /
//            A                        A
//
// The edge AB is replaced by the other diagonal. At each of the four sides the triangle behind it, if there is just one, has
// another neighbour than before. The energy of an edge with two triangles is (length * fold)^exponent.
#pragma once

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <vector>

#include "geometryFunctions.h"
#include "kel.h"
#include "tools.h"

namespace TARN_KEL {

/// The gain of a flip that isn't possible.
constexpr double FLIP_IMPOSSIBLE = std::numeric_limits<double>::lowest();

/// How far two triangles are from being coplanar, by the dot product of their unit normals: 0 for equal normals, 2 for
/// opposite ones.
constexpr double fold(double dot) {
    if (dot > 1.0) return 0.0;
    if (dot < -1.0) return 2.0;
    return 1.0 - dot;
}

/// Whether two triangles with that fold lie nearly on each other: within 10 degrees.
constexpr bool isFoldedBack(double foldOfPair) {
    return foldOfPair > 1.984807753;
}

/// The directions of the sides of a triangle; zero vectors where a side has no length.
struct SideDirections {
    SideDirections(const Point3& p0, const Point3& p1, const Point3& p2)
        : vec01(normalize(p1 - p0)), vec02(normalize(p2 - p0)), vec12(normalize(p2 - p1)) {}
    /// The cosine of the largest angle, for three unit vectors.
    double minCosPhi() const { return std::clamp(std::min({vec01 * vec02, -vec01 * vec12, vec12 * vec02}), -1.0, 1.0); }

    Vector3 vec01, vec02, vec12;
};

/// The largest angle after a flip: above 130 (FLAT) or 160 degrees (VERY_FLAT) and larger than before, or neither (NONE).
enum class FlipCap { NONE, FLAT, VERY_FLAT };

/// altCos: the cosine of the largest angle after the flip.
/// curCos: curCos() gives the one before; called only where it matters.
template <typename CurCos>
FlipCap capOfFlip(double altCos, CurCos&& curCos) {
    constexpr double COS_FLAT = -0.6427861415753421, COS_VERY_FLAT = -0.9396918140444841;  // 130, 160 degrees
    if (!(COS_FLAT > altCos) || !(curCos() > altCos)) return FlipCap::NONE;
    return COS_VERY_FLAT > altCos ? FlipCap::VERY_FLAT : FlipCap::FLAT;
}

/// The corners of the drawing above.
struct FlipCorners {
    const Point3 &opp0, &opp1, &a, &b;
};

/// The unit normals of the triangles before and after the flip, all of one orientation.
struct FlipNormals {
    Vector3 vec0, vec1, altVec0, altVec1;

    /// False when a triangle after the flip has no normal.
    bool setAlt(const FlipCorners& c) {
        bool bOK0 = false, bOK1 = false;
        altVec0 = getNormalVector(c.opp0, c.a, c.opp1, bOK0);
        altVec1 = getNormalVector(c.opp0, c.opp1, c.b, bOK1);
        if (!bOK0 || !bOK1) return false;
        ASSEX(altVec0.isNV() && altVec1.isNV());
        return true;
    }
};

enum class FlipSide { N01, N02, N11, N12 };

/// The energies of the edge and of the four sides now, minus those after the flip. Most of the time is spent on the ten
/// powers; in flat surroundings their bases are exactly 0.
/// normalBehind: normalBehind(side, bOK) gives the normal of the triangle behind that side, as if it agreed with the two;
/// bOK is false when there isn't just one, or it has no normal.
template <typename NormalBehind>
double flipEnergyDrop(const FlipCorners& c, const FlipNormals& n, double exponent, NormalBehind&& normalBehind) {
    const auto& [vec0, vec1, altVec0, altVec1] = n;
    const auto term = [exponent](double length, double edgeFold) {
        const double base = length * edgeFold;
        return base == 0.0 ? 0.0 : std::pow(base, exponent);
    };
    double cur = term((c.b - c.a).length(), fold(vec0 * vec1));
    double alt = term((c.opp1 - c.opp0).length(), fold(altVec0 * altVec1));
    const auto addSide = [&](const Vector3& side, double curDot, double altDot) {
        const double length = side.length();
        cur += term(length, fold(curDot));
        alt += term(length, fold(altDot));
    };
    bool bOK = false;
    const Vector3 vecN01 = normalBehind(FlipSide::N01, bOK);
    if (bOK) {
        ASSEX(vecN01.isNV() && vec0.isNV() && altVec1.isNV());
        addSide(c.b - c.opp0, vecN01 * vec0, vecN01 * altVec1);
    }
    const Vector3 vecN02 = normalBehind(FlipSide::N02, bOK);
    if (bOK) {
        ASSEX(vecN02.isNV() && vec0.isNV() && altVec0.isNV());
        addSide(c.a - c.opp0, vecN02 * vec0, vecN02 * altVec0);
    }
    const Vector3 vecN11 = normalBehind(FlipSide::N11, bOK);
    if (bOK) {
        ASSEX(vecN11.isNV() && vec1.isNV() && altVec0.isNV());
        addSide(c.a - c.opp1, vecN11 * vec1, vecN11 * altVec0);
    }
    const Vector3 vecN12 = normalBehind(FlipSide::N12, bOK);
    if (bOK) {
        ASSEX(vecN12.isNV() && vec1.isNV() && altVec1.isNV());
        addSide(c.b - c.opp1, vecN12 * vec1, vecN12 * altVec1);
    }
    return cur - alt;
}

/// Sets the unit normals of the two triangles on an edge, computed by normalOf(triangle, bOK), the second one as if it
/// agreed with the first. Returns false, with the vectors unchanged, unless the edge has just two triangles and both have
/// normals.
template <typename Triangle, typename Edge, typename NormalOf>
bool agreeingNormals(const Edge& edge, NormalOf&& normalOf, Vector3& normal0, Vector3& normal1) {
    Triangle *pT0, *pT1;
    if (!edge.getTwoTriangles(pT0, pT1, true)) return false;
    bool bOK0 = false, bOK1 = false;
    const Vector3 n0 = normalOf(*pT0, bOK0), n1 = normalOf(*pT1, bOK1);
    if (!bOK0 || !bOK1) return false;
    normal0 = n0;
    normal1 = pT0->needFlip(pT1) ? -n1 : n1;
    return true;
}

/// Appends the edges that are folded by at least angleDeg degrees.
/// agreeingNormals: agreeingNormals(edge, n0, n1), as above; when it returns false, the edge is left out with a warning.
template <typename Edge, typename AgreeingNormals>
void appendFolds(const std::vector<Edge*>& vEdge, double angleDeg, AgreeingNormals&& agreeingNormals,
                 std::vector<Edge*>& vOut) {
    const double limit = std::cos(angleDeg / 180.0 * 3.14159);
    for (Edge* pEdge : vEdge) {
        Vector3 normal0, normal1;
        if (!agreeingNormals(*pEdge, normal0, normal1)) {
            warning(KEL_PLACE, "No NNV, skipped edge");
            continue;
        }
        if (!(std::clamp(normal0 * normal1, -1.0, 1.0) > limit)) vOut.push_back(pEdge);
    }
}

}  // namespace TARN_KEL
