// Two points are neighbours when they are near, belong to one piece of the mesh and see it from the same side: walls never
// mix.
//
//     planes       a plane through the neighbours of each point
//     noise        how far the points are off what others predict, near and far: noise is alike, detail grows
//     neighbours   again, within a radius that suits the noise; the planes stay small
//     normals      planes vote for the normal of a point by how well they hold it and their own points; so the planes
//                  wholly on one side of a crease win. Then means over those of like normals, within less where few are
//                  alike; three rounds where there is noise
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
#include "processMemory.h"

namespace TARN_KEL {

namespace {

const double NOISY_RADIUS = 2.5;   // of a second look where the first one sees noise: that bends planes through few points
const int NOISY_ROUNDS = 3;        // of means of normals; where there is no noise, the first one settles them
const double LIKE_NORMALS = 0.25;  // deviation of normals on one sheet, as a chord
const auto OF_NORMALS = static_cast<float>(0.5 / (LIKE_NORMALS * LIKE_NORMALS));
const float MIN_LIKE = 0.7F;     // of the weights within a radius, those of like normals
const float LEAST_VOTE = 0.05F;  // of a neighbour at the radius

// ---- Normals

/// Planes that vote: the places of their points, with how badly they hold their own ones beside; their centres; normals.
using FourPlanes = NearLanes<3>::Four;

/// vNear: the planes of the neighbours of the i-th point, within the radius. own: its place among them.
Vector3 votedNormal(const FitPoints& points, FitIndex i, std::span<FourPlanes> vNear, const LaneVector& own, double radius,
                    double sqTolerance) {
    Lanes least = allLanes(std::numeric_limits<float>::max());
    for (auto& [place, centre, normal] : vNear) {
        const Lanes height = normal * (centre - own);
        place.w += height * height;  // from now on the doubt
        least = smallerOf(least, place.w);
    }
    const float leastDoubt = smallestOf(least), perTolerance = static_cast<float>(1.0 / sqTolerance);
    const float inverseSqRadius = inverseSquareOf(radius);
    LaneVector sum{};
    for (const auto& [place, centre, normal] : vNear)
        sum += normal * ((LEAST_VOTE + weightWithin((place - own).sqLength(), inverseSqRadius)) *
                         fallOff((place.w - leastDoubt) * perTolerance));
    return unitOr(sum.sum(), points.vSide[i]);
}

/// Points with normals.
using FourPoints = NearLanes<2>::Four;

/// For all points on all workers: visit(point, its place among its neighbours, these). vPlace: of all points, as measured or
/// fitted.
template <typename Visit>
void forPointsWithNormals_MT(const FitPoints& points, const std::vector<Vector3>& vPlace, const Neighbourhoods& near,
                             NearShare share, const Visit& visit) {
    forPoints_MT<2>(
        points, near, share, {farPlace(), Lanes{}},
        [&](FitIndex j, const Vector3& origin) {
            return NearLanes<2>::Packed{packed(vPlace[j] - origin), packed(points.vNormal[j])};
        },
        [&](FitIndex i, const Vector3& origin, std::span<const FourPoints> vNear) {
            visit(i, allLanes(vPlace[i] - origin), vNear);
        });
}

/// How much neighbours count: near, of a like normal, on the same sheet.
class SheetWeight {
public:
    explicit SheetWeight(double noise) : ofHeights(static_cast<float>(0.5 / square(0.1 + 2.0 * noise))) {}
    /// offset: from the point that looks, with the normal n, to the other one, with the normal m.
    Lanes operator()(float inverseSqRadius, const LaneVector& offset, const LaneVector& n, const LaneVector& m) const {
        const Lanes height = heightOver(offset, n, m);
        return weightWithin(offset.sqLength(), inverseSqRadius) *
               fallOff((n - m).sqLength() * OF_NORMALS + height * height * ofHeights);
    }
    /// Over the surface that the normals at both points predict.
    static Lanes heightOver(const LaneVector& offset, const LaneVector& n, const LaneVector& m) {
        return 0.5F * ((n + m) * offset);
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
    /// own, normal: of the point; vNear: its neighbours.
    double operator()(const LaneVector& own, const LaneVector& normal, std::span<const FourPoints> vNear) const {
        std::size_t k = numRadii - 1;  // the radius of most
        while (k > 0 && !isAlike(own, normal, vNear, inverseSqRadii[k]))
            --k;
        return SHEET_RADII[k];
    }

private:
    static bool isAlike(const LaneVector& own, const LaneVector& normal, std::span<const FourPoints> vNear,
                        float inverseSqRadius) {
        Lanes weights{}, likeWeights{};
        for (const auto& [place, otherNormal] : vNear) {
            const Lanes weight = weightWithin((place - own).sqLength(), inverseSqRadius);
            weights += weight;
            likeWeights += weight * fallOff((normal - otherNormal).sqLength() * OF_NORMALS);
        }
        return sumOf(likeWeights) >= MIN_LIKE * sumOf(weights);
    }

    std::size_t numRadii;
    std::array<float, SHEET_RADII.size()> inverseSqRadii{};
};

void voteForNormals(FitPoints& points, const Neighbourhoods& near, const std::vector<PointPlane>& vPlane) {
    const double sqTolerance = square(0.03) + 0.25 * square(points.noise);
    points.vNormal.resize(points.size());
    const Lanes nobody = packed({}, FAR_AWAY);
    forPoints_MT<3>(
        points, near, NearShare::HALF_OF_MANY, {nobody, Lanes{}, Lanes{}},
        [&](FitIndex j, const Vector3& origin) {
            return NearLanes<3>::Packed{packed(points.vPlace[j] - origin, vPlane[j].sqSpread),
                                        packed(vPlane[j].centre - origin), packed(vPlane[j].normal)};
        },
        [&](FitIndex i, const Vector3& origin, std::span<FourPlanes> vNear) {
            points.vNormal[i] =
                votedNormal(points, i, vNear, allLanes(points.vPlace[i] - origin), near.getRadius(), sqTolerance);
        });
}

/// Returns the radius within which each point was averaged.
std::vector<double> averageNormals(FitPoints& points, const Neighbourhoods& near, int numRounds) {
    std::vector<double> vRadius(points.size());
    const LikenessRadius radiusFor(near.getRadius());
    const SheetWeight weightOf(points.noise);
    std::vector<Vector3> vNext(points.size());
    for (int round = 0; round < numRounds; ++round) {
        // The radius and the last means are of all.
        const bool bHalf = round > 0 && round + 1 < numRounds;
        const NearShare share = bHalf ? NearShare::HALF_OF_MANY : NearShare::ALL;
        const auto visit = [&](FitIndex i, const LaneVector& own, std::span<const FourPoints> vNear) {
            const LaneVector normal = allLanes(points.vNormal[i]);
            if (round == 0) vRadius[i] = radiusFor(own, normal, vNear);
            const float inverseSqRadius = inverseSquareOf(vRadius[i]);
            LaneVector sum{};
            for (const auto& [place, otherNormal] : vNear)
                sum += otherNormal * weightOf(inverseSqRadius, place - own, normal, otherNormal);
            vNext[i] = unitOr(sum.sum(), points.vNormal[i]);
        };
        forPointsWithNormals_MT(points, points.vPlace, near, share, visit);
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
        const auto visit = [&](FitIndex i, const LaneVector& own, std::span<const FourPoints> vNear) {
            const float inverseSqRadius = inverseSquareOf(vRadius[i]);
            const LaneVector normal = allLanes(points.vNormal[i]);
            Lanes sum{}, sumOfWeights{};
            for (const auto& [place, otherNormal] : vNear) {
                const LaneVector offset = place - own;
                const Lanes weight = weightOf(inverseSqRadius, offset, normal, otherNormal);
                sum += weight * SheetWeight::heightOver(offset, normal, otherNormal);
                sumOfWeights += weight;
            }
            vNext[i] = points.vFitted[i] + points.vNormal[i] * static_cast<double>(sumOf(sum) / sumOf(sumOfWeights));
        };
        forPointsWithNormals_MT(points, points.vFitted, near, NearShare::ALL, visit);
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
        freeMemory(vPlane);
        pNear = std::make_unique<Neighbourhoods>(points, NOISY_RADIUS);
        vPlane = planesOf(points, *pNear, NOISY_RADIUS);
        model = judgeNoise(points, vPlane);
        pNear.reset();
        pNear = std::make_unique<Neighbourhoods>(points, model.radius);
    }
    points.noise = model.noise;
    points.radius = model.radius;
    voteForNormals(points, *pNear, vPlane);
    freeMemory(vPlane);
    const std::vector<double> vRadius = averageNormals(points, *pNear, bNoise && !model.isNoisy() ? 1 : NOISY_ROUNDS);
    findPlaces(points, *pNear, vRadius, model.share);
    points.residual = residualOf(points, *pNear);
}

}  // namespace TARN_KEL
