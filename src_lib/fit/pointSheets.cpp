// Two points are neighbours when they are near, belong to one piece of the mesh and see it from the same side: walls never
// mix.
//
//     planes       a plane through the neighbours of each point
//     noise        how far the points are off what others predict, near and far: noise is alike, detail grows
//     neighbours   again, within a radius that suits the noise; the planes stay small
//     normals      planes vote for the normal of a point by how well they hold it and their own points; so the planes
//                  wholly on one side of a crease win. Then three rounds with those of like normals, within less where
//                  few are alike
//     places       moved onto the sheet of the neighbours of like normals, by the share that noise has in what is seen
//
// Means are taken over heights 0.5 * (n + m) * (q - p), with the normals n, m at both points. These are 0 for any two points
// of a paraboloid, so no average of them shrinks a curved sheet.
#include "pointSheets.h"

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <span>

#include "NearLanes.h"
#include "Neighbourhoods.h"
#include "fitLimits.h"
#include "pointNoise.h"
#include "pointPlanes.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

const double NOISY_RADIUS = 2.5;   // of a second look where the first one sees noise: that bends planes through few points
const double LIKE_NORMALS = 0.25;  // deviation of normals on one sheet, as a chord
const auto OF_NORMALS = static_cast<float>(0.5 / (LIKE_NORMALS * LIKE_NORMALS));
const float MIN_LIKE = 0.7F;     // of the weights within a radius, those of like normals
const float LEAST_VOTE = 0.05F;  // of a neighbour at the radius

/// So that the farthest neighbours count, if only a little.
float inverseSquareOf(double radius) {
    return static_cast<float>(1.0 / square(1.0001 * radius));
}

/// Calls work(position, positions of the neighbours, lanes to use) for all points on all workers.
template <typename Four, typename Work>
void forPoints_MT(const Neighbourhoods& near, const Work& work) {
    forChunks_MT(near.numPoints(), [&](std::size_t begin, std::size_t end) {
        NearLanes<Four> lanes;
        near.visitPoints(begin, end, [&](FitIndex i, std::span<const FitIndex> vNear) { work(i, vNear, lanes); });
    });
}

// ---- Normals

/// Planes that vote.
struct FourPlanes {
    Lanes sqDistance;  // of their points
    LaneVector toCentre, normal;
    Lanes doubt;  // how badly they hold the point and their own ones
};

/// vIndex: the neighbours of the i-th point, within the radius.
Vector3 votedNormal(const FitPoints& points, const std::vector<PointPlane>& vPlane, FitIndex i,
                    std::span<const FitIndex> vIndex, double radius, double sqTolerance, NearLanes<FourPlanes>& lanes) {
    const Vector3& p = points.vPlace[i];
    const auto fill = [&](FourPlanes& four, std::size_t lane, FitIndex j) {
        four.sqDistance[lane] = static_cast<float>((points.vPlace[j] - p).sqLength());
        four.toCentre.set(lane, vPlane[j].centre - p);
        four.normal.set(lane, vPlane[j].normal);
        four.doubt[lane] = static_cast<float>(vPlane[j].sqSpread);
    };
    const auto leaveOut = [](FourPlanes& four, std::size_t lane) { four.doubt[lane] = FAR_LANE; };
    const std::span<FourPlanes> vNear = lanes.gather(vIndex, fill, leaveOut);
    Lanes least = allLanes(std::numeric_limits<float>::max());
    for (FourPlanes& four : vNear) {
        const Lanes height = four.normal * four.toCentre;
        four.doubt += height * height;
        least = smallerOf(least, four.doubt);
    }
    const float leastDoubt = smallestOf(least), perTolerance = static_cast<float>(1.0 / sqTolerance);
    const float inverseSqRadius = inverseSquareOf(radius);
    LaneVector sum{};
    for (const FourPlanes& four : vNear)
        sum += four.normal * ((LEAST_VOTE + weightWithin(four.sqDistance, inverseSqRadius)) *
                              fallOff((four.doubt - leastDoubt) * perTolerance));
    return unitOr(sum.sum(), points.vSide[i]);
}

/// Points with normals.
struct FourPoints {
    LaneVector offset, normal;
};

/// The neighbours of the i-th point, by their positions. vPlace: of all points, as measured or fitted.
std::span<const FourPoints> gather(const FitPoints& points, const std::vector<Vector3>& vPlace, FitIndex i,
                                   std::span<const FitIndex> vIndex, NearLanes<FourPoints>& lanes) {
    const Vector3 p = vPlace[i];
    return lanes.gather(
        vIndex,
        [&](FourPoints& four, std::size_t lane, FitIndex j) {
            four.offset.set(lane, vPlace[j] - p);
            four.normal.set(lane, points.vNormal[j]);
        },
        [](FourPoints& four, std::size_t lane) { four.offset.x[lane] = FAR_LANE; });
}

/// How much neighbours count: near, of a like normal, on the same sheet.
class SheetWeight {
public:
    explicit SheetWeight(double noise) : ofHeights(static_cast<float>(0.5 / square(0.1 + 2.0 * noise))) {}
    Lanes operator()(float inverseSqRadius, const LaneVector& normal, const FourPoints& four) const {
        const Lanes height = heightOver(normal, four);
        return weightWithin(four.offset.sqLength(), inverseSqRadius) *
               fallOff((normal - four.normal).sqLength() * OF_NORMALS + height * height * ofHeights);
    }
    /// Over the surface that the normals at both points predict.
    static Lanes heightOver(const LaneVector& normal, const FourPoints& four) {
        return 0.5F * ((normal + four.normal) * four.offset);
    }

private:
    float ofHeights;
};

/// The radius for a point: that of the neighbourhoods, or less where too much of what is in it has other normals. On a
/// tight curve means over more would make facets of it. Beside creases less would do no good, but costs little either.
class LikenessRadius {
public:
    explicit LikenessRadius(double largest)
        : numRadii(static_cast<std::size_t>(std::lower_bound(SHEET_RADII.begin(), SHEET_RADII.end(), largest) -
                                            SHEET_RADII.begin()) +
                   1) {
        std::transform(SHEET_RADII.begin(), SHEET_RADII.end(), inverseSqRadii.begin(), inverseSquareOf);
    }
    /// normal: of the point; vNear: its neighbours.
    double operator()(const LaneVector& normal, std::span<const FourPoints> vNear) const {
        if (numRadii == 1) return SHEET_RADII[0];
        std::array<Lanes, SHEET_RADII.size()> weights{}, likeWeights{};
        for (const FourPoints& four : vNear) {
            const Lanes sqDistance = four.offset.sqLength();
            const Lanes likeness = fallOff((normal - four.normal).sqLength() * OF_NORMALS);
            for (std::size_t k = 0; k < numRadii; ++k) {
                const Lanes weight = weightWithin(sqDistance, inverseSqRadii[k]);
                weights[k] += weight;
                likeWeights[k] += weight * likeness;
            }
        }
        std::size_t k = numRadii - 1;
        while (k > 0 && sumOf(likeWeights[k]) < MIN_LIKE * sumOf(weights[k]))
            --k;
        return SHEET_RADII[k];
    }

private:
    std::size_t numRadii;
    std::array<float, SHEET_RADII.size()> inverseSqRadii{};
};

void voteForNormals(FitPoints& points, const Neighbourhoods& near, const std::vector<PointPlane>& vPlane) {
    const double sqTolerance = square(0.03) + 0.25 * square(points.noise);
    points.vNormal.resize(points.size());
    forPoints_MT<FourPlanes>(near, [&](FitIndex i, std::span<const FitIndex> vIndex, auto& lanes) {
        points.vNormal[i] = votedNormal(points, vPlane, i, vIndex, near.getRadius(), sqTolerance, lanes);
    });
}

/// Returns the radius within which each point was averaged.
std::vector<double> averageNormals(FitPoints& points, const Neighbourhoods& near) {
    std::vector<double> vRadius(points.size());
    const LikenessRadius radiusFor(near.getRadius());
    const SheetWeight weightOf(points.noise);
    std::vector<Vector3> vNext(points.size());
    for (int round = 0; round < 3; ++round) {
        forPoints_MT<FourPoints>(near, [&](FitIndex i, std::span<const FitIndex> vIndex, auto& lanes) {
            const LaneVector normal = allLanes(points.vNormal[i]);
            const std::span<const FourPoints> vNear = gather(points, points.vPlace, i, vIndex, lanes);
            if (round == 0) vRadius[i] = radiusFor(normal, vNear);
            const float inverseSqRadius = inverseSquareOf(vRadius[i]);
            LaneVector sum{};
            for (const FourPoints& four : vNear)
                sum += four.normal * weightOf(inverseSqRadius, normal, four);
            vNext[i] = unitOr(sum.sum(), points.vNormal[i]);
        });
        points.vNormal.swap(vNext);
    }
    return vRadius;
}

// ---- Places

void findPlaces(FitPoints& points, const Neighbourhoods& near, const std::vector<double>& vRadius, double share) {
    points.vFitted = points.vPlace;
    if (share == 0.0) return;
    std::vector<Vector3> vNext(points.size());
    for (int round = 0; round < 2; ++round) {
        const SheetWeight weightOf(round == 0 ? points.noise : 0.5 * points.noise);
        forPoints_MT<FourPoints>(near, [&](FitIndex i, std::span<const FitIndex> vIndex, auto& lanes) {
            const float inverseSqRadius = inverseSquareOf(vRadius[i]);
            const LaneVector normal = allLanes(points.vNormal[i]);
            Lanes sum{}, sumOfWeights{};
            for (const FourPoints& four : gather(points, points.vFitted, i, vIndex, lanes)) {
                const Lanes weight = weightOf(inverseSqRadius, normal, four);
                sum += weight * SheetWeight::heightOver(normal, four);
                sumOfWeights += weight;
            }
            vNext[i] = points.vFitted[i] + points.vNormal[i] * static_cast<double>(sumOf(sum) / sumOf(sumOfWeights));
        });
        points.vFitted.swap(vNext);
    }
    for (std::size_t i = 0; i < points.size(); ++i)
        points.vFitted[i] = points.vPlace[i] + (points.vFitted[i] - points.vPlace[i]) * share;
}

}  // namespace

void findPointSheets(FitPoints& points, bool bNoise) {
    auto pNear = std::make_unique<Neighbourhoods>(points, SHEET_RADII[0]);
    std::vector<PointPlane> vPlane = planesOf(points, *pNear, SHEET_RADII[0]);
    NoiseModel model;
    if (bNoise) model.noise = noiseOf(points, vPlane);
    if (model.isNoisy()) {
        pNear.reset();
        std::vector<PointPlane>().swap(vPlane);
        pNear = std::make_unique<Neighbourhoods>(points, NOISY_RADIUS);
        vPlane = planesOf(points, *pNear, NOISY_RADIUS);
        model = judgeNoise(points, vPlane);
        pNear.reset();
        pNear = std::make_unique<Neighbourhoods>(points, model.radius);
    }
    points.noise = model.noise;
    points.radius = model.radius;
    voteForNormals(points, *pNear, vPlane);
    std::vector<PointPlane>().swap(vPlane);
    const std::vector<double> vRadius = averageNormals(points, *pNear);
    findPlaces(points, *pNear, vRadius, model.share);
    points.residual = residualOf(points, *pNear);
}

}  // namespace TARN_KEL
