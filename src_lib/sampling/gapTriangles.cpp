// Each wide disc names three nodes; the same three name it up to three times, and the smallest of their discs counts, for
// each corner sees it in its own plane. What is left out: triangles too small for the grid to leave a gap, triangles over an
// edge of the surface, and, in a second step, those that are wider than the sampling around them explains.
#include "gapTriangles.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "gapLimits.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

// The widest disc of a gap over the usual one. What is usual is the lower third of the radii at a node, less than their
// median, and the more so where each node is a point, as in sparse places. There, at 1:16,
// this closes most windows of 4 spacings (84 of 96 on spheres; with 2.7 it was 55) and leaves those of 8 open (88 of 96).
const double WIDER_THAN_USUAL = 3.1;
const double COS_AGREE = 0.76604444311897803520;  // of 40 degrees between the planes of two corners
const double SIN_LIFT = 0.5;                      // of 30 degrees between a side and the planes of its ends

std::array<NodeId, 2> sideOf(const GapTriangle& triangle, std::size_t i) {
    return {triangle.corners[i], triangle.corners[(i + 1) % 3]};
}

bool isSideSmooth(const Vector3& side, const Vector3& normalA, const Vector3& normalB) {
    const double limit = SIN_LIFT * side.length();
    return std::fabs(normalA * normalB) >= COS_AGREE && std::fabs(normalA * side) <= limit &&
           std::fabs(normalB * side) <= limit;
}

bool isOnOneSheet(const GapTriangle& triangle, const SampleNodes& nodes, const NodePlanes& planes) {
    for (const NodeId node : triangle.corners)
        if (!planes.hasPlane(node)) return false;
    for (std::size_t i = 0; i < 3; ++i) {
        const auto [a, b] = sideOf(triangle, i);
        if (!isSideSmooth(nodes.vPlace[b] - nodes.vPlace[a], planes.vNormal[a], planes.vNormal[b])) return false;
    }
    return true;
}

void appendTriangles(NodeId node, const NodeStar& star, std::vector<GapTriangle>& vTriangle) {
    for (const EmptyDisc& disc : star.vWide) {
        if (disc.radius > MAX_RADIUS) continue;
        GapTriangle triangle{{node, disc.first, disc.second}, disc.radius};
        std::sort(triangle.corners.begin(), triangle.corners.end());
        vTriangle.push_back(triangle);
    }
}

/// What is usual around nodes, asked for once each: a node is a corner of some six triangles.
class UsualRadii {
public:
    UsualRadii(const NodeStars& theStars, std::size_t numNodes) : stars(theStars), vRadius(numNodes, UNKNOWN) {}

    double around(NodeId node) {
        double& radius = vRadius[node];
        if (radius == UNKNOWN) radius = stars.usualRadiusAround(node);
        return radius;
    }

private:
    static constexpr double UNKNOWN = -1.0;

    const NodeStars& stars;
    std::vector<double> vRadius;  // of each node
};

/// By the corner in the sparsest place: where the density changes at once the others know nothing of it.
double explainedRadius(const GapTriangle& triangle, UsualRadii& radii) {
    double usual = 0.0;
    for (const NodeId node : triangle.corners)
        usual = std::max(usual, radii.around(node));
    return WIDER_THAN_USUAL * usual;
}

}  // namespace

std::vector<GapTriangle> gapCandidates(const SampleNodes& nodes, const NodePlanes& planes, const NodeStars& stars) {
    std::vector<GapTriangle> vTriangle;
    for (const NodeId node : planes.vOpen)
        if (const NodeStar* pStar = stars.find(node)) appendTriangles(node, *pStar, vTriangle);
    sortMT(vTriangle.begin(), vTriangle.end(), [](const GapTriangle& a, const GapTriangle& b) {
        return std::tie(a.corners, a.radius) < std::tie(b.corners, b.radius);
    });
    vTriangle.erase(std::unique(vTriangle.begin(), vTriangle.end(),
                                [](const GapTriangle& a, const GapTriangle& b) { return a.corners == b.corners; }),
                    vTriangle.end());
    std::erase_if(vTriangle, [&](const GapTriangle& triangle) {
        return !(longestSideOf(triangle, nodes) >= 2.0 * GAP_RADIUS) || !isOnOneSheet(triangle, nodes, planes);
    });
    return vTriangle;
}

void keepExplained(const NodeStars& stars, std::vector<GapTriangle>& vTriangle) {
    NodeId numNodes = 0;
    for (const GapTriangle& triangle : vTriangle)
        numNodes = std::max(numNodes, triangle.corners.back() + 1);
    UsualRadii radii(stars, numNodes);
    std::erase_if(vTriangle,
                  [&](const GapTriangle& triangle) { return triangle.radius > explainedRadius(triangle, radii); });
}

double areaOf(const GapTriangle& triangle, const SampleNodes& nodes) {
    const Vector3 &a = nodes.vPlace[triangle.corners[0]], &b = nodes.vPlace[triangle.corners[1]],
                  &c = nodes.vPlace[triangle.corners[2]];
    return crossProduct(b - a, c - a).length() / 2.0;
}

double longestSideOf(const GapTriangle& triangle, const SampleNodes& nodes) {
    double sqLongest = 0.0;
    for (std::size_t i = 0; i < 3; ++i) {
        const auto [a, b] = sideOf(triangle, i);
        sqLongest = std::max(sqLongest, (nodes.vPlace[b] - nodes.vPlace[a]).sqLength());
    }
    return std::sqrt(sqLongest);
}

}  // namespace TARN_KEL
