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
// A point predicts another by r = (n + m) / 2 * (q - p), with the normals n, m at the two. It is 0 for any two points of a
// paraboloid, so no curvature counts as noise, and no average of it shrinks a curved sheet.
#include "pointSheets.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>

#include "Moments.h"
#include "fitLimits.h"
#include "principalAxes.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

const double SAME_SIDE = -0.2;     // cosine of the sides of two neighbours
const double LEAST_RADIUS = 2.0;   // of clean points, and of a first look: no list is made twice for these
const double NOISY_RADIUS = 2.5;   // of a second look where the first one sees noise: that bends planes through few points
const double MIN_NOISE = 0.02;     // less isn't worth averaging
const double LIKE_NORMALS = 0.25;  // deviation of normals on one sheet, as a chord
const double OF_NORMALS = 0.5 / (LIKE_NORMALS * LIKE_NORMALS);
const double MIN_LIKE = 0.7;           // of the weights within a radius, those of like normals
const std::size_t MIN_NEIGHBOURS = 4;  // of a plane, the point included
// Second over third eigenvalue of a plane. Less is a scan line: what is least across it is anything but the surface's
// normal.
const double MIN_WIDTH = 0.1;
const double NO_PLANE = 1e3;  // spread of the plane of a point whose neighbours are too few or on a line

double square(double x) {
    return x * x;
}

/// The height of q over the surface at p that both normals predict.
double predictedHeight(const Vector3& p, const Vector3& normalP, const Vector3& q, const Vector3& normalQ) {
    return 0.5 * ((normalP + normalQ) * (q - p));
}

// ---- Neighbours

bool areNeighbours(const FitPoints& points, std::size_t i, std::size_t j) {
    return points.vPiece[i] == points.vPiece[j] && points.vSide[i] * points.vSide[j] > SAME_SIDE;
}

/// The neighbours of each point within a radius, itself included.
class Neighbourhoods {
public:
    Neighbourhoods(const FitPoints& points, double theRadius) : radius(theRadius), vRange(points.size()) {
        const PointGrid grid(points.vPlace, radius);
        const std::size_t numChunks = std::max<std::size_t>(1, grid.numCells() / CELLS_PER_CHUNK);
        vChunk.resize(numChunks);
        forChunks_MT(numChunks, [&](std::size_t begin, std::size_t end) {
            for (std::size_t chunk = begin; chunk < end; ++chunk)
                fillChunk(points, grid, chunk, grid.numCells() * chunk / numChunks,
                          grid.numCells() * (chunk + 1) / numChunks);
        });
    }

    double getRadius() const { return radius; }
    template <typename Visit>
    void visit(std::size_t i, const Visit& visitor) const {
        const Range& range = vRange[i];
        const std::vector<FitIndex>& vNeighbour = vChunk[range.chunk];
        for (std::size_t k = range.begin; k < range.end; ++k)
            visitor(vNeighbour[k]);
    }

private:
    static constexpr std::size_t CELLS_PER_CHUNK = 256;
    struct Range {
        FitIndex chunk = 0, begin = 0, end = 0;
    };

    void fillChunk(const FitPoints& points, const PointGrid& grid, std::size_t chunk, std::size_t begin, std::size_t end) {
        std::vector<FitIndex>& vNeighbour = vChunk[chunk];
        FitIndex i = 0;
        grid.visitCells(
            begin, end,
            [&](FitIndex place) {
                i = place;
                const auto next = static_cast<FitIndex>(vNeighbour.size());
                vRange[i] = {static_cast<FitIndex>(chunk), next, next};
            },
            [&](FitIndex j, double) {
                if (!areNeighbours(points, i, j)) return;
                vNeighbour.push_back(j);
                ++vRange[i].end;
            });
    }

    double radius;
    std::vector<Range> vRange;                  // of each point, in the list of its chunk
    std::vector<std::vector<FitIndex>> vChunk;  // lists of some hundred cells each: none is copied to grow another one
};

// ---- Planes

/// The plane through the neighbours of a point.
struct PointPlane {
    Vector3 normal, centre;
    double sqSpread = 0.0;  // mean square of the distance of the neighbours from it
};

PointPlane planeOf(const FitPoints& points, const Neighbourhoods& near, double radius, std::size_t i) {
    const Vector3& p = points.vPlace[i];
    Vector3 sum;
    double sumOfWeights = 0.0;
    std::size_t count = 0;
    Moments moments;
    near.visit(i, [&](FitIndex j) {
        const Vector3 offset = points.vPlace[j] - p;
        const double weight = weightWithin(offset.sqLength(), 1.0001 * radius);
        if (weight == 0.0) return;
        ++count;
        sum += offset * weight;
        sumOfWeights += weight;
        moments.add(offset, weight);
    });
    const Vector3 mean = sum / sumOfWeights;
    if (count < MIN_NEIGHBOURS) return {points.vSide[i], p + mean, NO_PLANE};
    const Moments central{moments.xx / sumOfWeights - square(mean.x()),    moments.xy / sumOfWeights - mean.x() * mean.y(),
                          moments.xz / sumOfWeights - mean.x() * mean.z(), moments.yy / sumOfWeights - square(mean.y()),
                          moments.yz / sumOfWeights - mean.y() * mean.z(), moments.zz / sumOfWeights - square(mean.z())};
    const PrincipalAxes axes = principalAxes(central);
    if (axes.middle < MIN_WIDTH * axes.largest) return {points.vSide[i], p + mean, NO_PLANE};
    const Vector3 normal = axes.normal.isDegenerate() ? points.vSide[i] : axes.normal;
    return {normal * points.vSide[i] < 0.0 ? -normal : normal, p + mean, std::max(0.0, axes.least)};
}

std::vector<PointPlane> planesOf(const FitPoints& points, const Neighbourhoods& near, double radius) {
    std::vector<PointPlane> vPlane(points.size());
    forChunks_MT(points.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            vPlane[i] = planeOf(points, near, radius, i);
    });
    return vPlane;
}

// ---- Noise

struct NoiseModel {
    double noise = 0.0;
    double radius = LEAST_RADIUS;  // of the neighbourhoods that suit it
    double share = 0.0;            // of noise in what is seen within that radius
};

const std::array<double, 7> RADII = {2.0, 2.4, 2.9, 3.5, 4.2, 5.0, 6.0};
const double NEAREST_RADIUS = 1.3;
const std::size_t NUM_PREDICTED = 5000;
const double TO_DEVIATION = 1.0 / 0.6745;  // from the median of absolute values of a normal distribution
const double MAX_HEIGHT = 2.2;             // of a predicting point over the surface
const double MIN_AGREEMENT = 0.85;         // cosine of the normals
const double NOISE_LEFT = 1.83;            // of a mean within radius r: variance / (1.83 r^2)
const double BIAS_FACTOR = 0.6;            // what of the growth is detail that a mean would take away

/// What the others within each radius predict of one point.
struct Predictions {
    struct Sums {
        double weights = 0.0, sqWeights = 0.0, heights = 0.0;
        double weightsTwice = 0.0;  // products of the weights here and in the disc of RADII[0]
    };
    std::array<Sums, RADII.size() + 1> aSums;  // of NEAREST_RADIUS first
};

double radiusOf(std::size_t k) {
    return k == 0 ? NEAREST_RADIUS : RADII[k - 1];
}

/// Distances are measured along the plane, in discs rather than balls: else noise would push points out of the smaller ones.
Predictions predict(const FitPoints& points, const PointGrid& grid, const std::vector<PointPlane>& vPlane, std::size_t i) {
    Predictions result;
    const Vector3 p = points.vPlace[i], normal = vPlane[i].normal;
    const double reach = std::sqrt(square(RADII.back()) + square(MAX_HEIGHT));
    grid.visitWithin(p, reach, [&](FitIndex j, double sqDistance) {
        if (j == i || !areNeighbours(points, i, j) || normal * vPlane[j].normal < MIN_AGREEMENT) return;
        const double height = predictedHeight(p, normal, points.vPlace[j], vPlane[j].normal);
        if (std::fabs(height) > MAX_HEIGHT) return;
        const double sqLateral = sqDistance - square(normal * (points.vPlace[j] - p));
        const double weightInFirst = weightWithin(sqLateral, RADII[0]);
        for (std::size_t k = RADII.size() + 1; k-- > 0;) {
            const double weight = weightWithin(sqLateral, radiusOf(k));
            if (weight == 0.0) break;
            result.aSums[k].weights += weight;
            result.aSums[k].sqWeights += weight * weight;
            result.aSums[k].heights += weight * height;
            result.aSums[k].weightsTwice += weight * weightInFirst;
        }
    });
    return result;
}

/// The median square error of predictions within the k-th radius, less what the error of few neighbours adds.
double sqErrorOf(const std::vector<Predictions>& vPredictions, std::size_t k) {
    std::vector<double> vError, vFew;
    for (const Predictions& predictions : vPredictions) {
        const Predictions::Sums& sums = predictions.aSums[k];
        if (!(sums.weights > 0.0)) continue;
        vError.push_back(std::fabs(sums.heights / sums.weights));
        vFew.push_back(sums.sqWeights / square(sums.weights));
    }
    return square(medianOf(vError) * TO_DEVIATION) / (1.0 + medianOf(vFew));
}

/// What means within the k-th radius lose of the detail that is seen within RADII[0], as a median square: the difference of
/// both means, less what noise adds to it. The noise of the point itself isn't in it, so it is seen far below that.
double sqLossOf(const std::vector<Predictions>& vPredictions, std::size_t k, double sqNoise) {
    std::vector<double> vDifference, vNoise;
    for (const Predictions& predictions : vPredictions) {
        const Predictions::Sums &first = predictions.aSums[1], &sums = predictions.aSums[k];
        if (!(first.weights > 0.0)) continue;
        vDifference.push_back(std::fabs(sums.heights / sums.weights - first.heights / first.weights));
        vNoise.push_back(sums.sqWeights / square(sums.weights) + first.sqWeights / square(first.weights) -
                         2.0 * sums.weightsTwice / (sums.weights * first.weights));
    }
    return std::max(0.0, square(medianOf(vDifference) * TO_DEVIATION) - sqNoise * medianOf(vNoise));
}

/// The error at radius 0 is noise, what it gains with the radius is detail.
NoiseModel judgeNoise(const FitPoints& points, const std::vector<PointPlane>& vPlane) {
    const PointGrid grid(points.vPlace, 0.5 * RADII.back());
    const std::size_t step = std::max<std::size_t>(1, points.size() / NUM_PREDICTED);
    std::vector<Predictions> vPredictions((points.size() + step - 1) / step);
    forChunks_MT(vPredictions.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            vPredictions[i] = predict(points, grid, vPlane, i * step);
    });
    const double near = sqErrorOf(vPredictions, 0), next = sqErrorOf(vPredictions, 1);
    const double slope = std::max(0.0, (next - near) / (square(RADII[0]) - square(NEAREST_RADIUS)));
    const double sqNoise = std::max(0.0, near - square(NEAREST_RADIUS) * slope);
    NoiseModel model{.noise = std::sqrt(sqNoise)};
    if (model.noise < MIN_NOISE) return model;
    double best = std::numeric_limits<double>::max();
    for (std::size_t k = 1; k <= RADII.size(); ++k) {
        const double detail = std::max(0.0, sqErrorOf(vPredictions, k) - sqNoise);
        const double loss = sqLossOf(vPredictions, k, sqNoise);
        const double cost = sqNoise / (NOISE_LEFT * square(radiusOf(k))) + BIAS_FACTOR * loss;
        if (cost >= best) continue;
        best = cost;
        model.radius = radiusOf(k);
        model.share = sqNoise / (sqNoise + detail);
    }
    return model;
}

// ---- Normals

/// Nearly exp(-x) for x of at least 0.0, at a fraction of its cost.
double fallOff(double x) {
    double t = 1.0 / (1.0 + x / 16.0);
    t *= t;
    t *= t;
    t *= t;
    return t * t;
}

Vector3 votedNormal(const FitPoints& points, const Neighbourhoods& near, const std::vector<PointPlane>& vPlane,
                    std::size_t i, double sqTolerance) {
    const Vector3& p = points.vPlace[i];
    const auto doubtOf = [&](FitIndex j) { return vPlane[j].sqSpread + square(vPlane[j].normal * (p - vPlane[j].centre)); };
    double least = std::numeric_limits<double>::max();
    near.visit(i, [&](FitIndex j) { least = std::min(least, doubtOf(j)); });
    Vector3 sum;
    near.visit(i, [&](FitIndex j) {
        const double weight = 0.05 + weightWithin((points.vPlace[j] - p).sqLength(), 1.0001 * near.getRadius());
        sum += vPlane[j].normal * (weight * fallOff((doubtOf(j) - least) / sqTolerance));
    });
    return unitOr(sum, points.vSide[i]);
}

/// How much a neighbour counts: near, of a like normal, on the same sheet.
class SheetWeight {
public:
    explicit SheetWeight(double noise) : ofHeights(0.5 / square(0.1 + 2.0 * noise)) {}
    double operator()(double radius, double sqDistance, const Vector3& normalI, const Vector3& normalJ,
                      double height) const {
        return weightWithin(sqDistance, 1.0001 * radius) *
               fallOff((normalI - normalJ).sqLength() * OF_NORMALS + height * height * ofHeights);
    }

private:
    double ofHeights;
};

/// The radius for each point: that of the neighbourhoods, or less where too much of what is in it has other normals. On a
/// tight curve means over more would make facets of it. Beside creases less would do no good, but costs little either.
std::vector<double> radiiByLikeness(const FitPoints& points, const Neighbourhoods& near) {
    std::vector<double> vRadius(points.size(), near.getRadius());
    const auto itLargest = std::lower_bound(RADII.begin(), RADII.end(), near.getRadius());
    const auto numRadii = static_cast<std::size_t>(itLargest - RADII.begin()) + 1;
    if (numRadii == 1) return vRadius;
    const auto radiusFor = [&](std::size_t i) {
        std::array<double, RADII.size()> weights{}, likeWeights{};
        near.visit(i, [&](FitIndex j) {
            const double sqDistance = (points.vPlace[j] - points.vPlace[i]).sqLength();
            const double likeness = fallOff((points.vNormal[i] - points.vNormal[j]).sqLength() * OF_NORMALS);
            for (std::size_t k = numRadii; k-- > 0;) {
                const double weight = weightWithin(sqDistance, 1.0001 * RADII[k]);
                if (weight == 0.0) break;
                weights[k] += weight;
                likeWeights[k] += weight * likeness;
            }
        });
        std::size_t k = numRadii - 1;
        while (k > 0 && likeWeights[k] < MIN_LIKE * weights[k])
            --k;
        return RADII[k];
    };
    forChunks_MT(points.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            vRadius[i] = radiusFor(i);
    });
    return vRadius;
}

/// Returns the radius within which each point was averaged.
std::vector<double> findNormals(FitPoints& points, const Neighbourhoods& near, const std::vector<PointPlane>& vPlane) {
    const double sqTolerance = square(0.03) + 0.25 * square(points.noise);
    points.vNormal.resize(points.size());
    forChunks_MT(points.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            points.vNormal[i] = votedNormal(points, near, vPlane, i, sqTolerance);
    });
    std::vector<double> vRadius = radiiByLikeness(points, near);
    const SheetWeight weightOf(points.noise);
    std::vector<Vector3> vNext(points.size());
    for (int round = 0; round < 3; ++round) {
        forChunks_MT(points.size(), [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                const Vector3 p = points.vPlace[i], normal = points.vNormal[i];
                Vector3 sum;
                near.visit(i, [&](FitIndex j) {
                    const Vector3 offset = points.vPlace[j] - p, &other = points.vNormal[j];
                    sum += other * weightOf(vRadius[i], offset.sqLength(), normal, other, 0.5 * ((normal + other) * offset));
                });
                vNext[i] = unitOr(sum, normal);
            }
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
        forChunks_MT(points.size(), [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                const Vector3 p = points.vFitted[i], normal = points.vNormal[i];
                double sum = 0.0, sumOfWeights = 0.0;
                near.visit(i, [&](FitIndex j) {
                    const double height = predictedHeight(p, normal, points.vFitted[j], points.vNormal[j]);
                    const double sqDistance = (points.vPlace[j] - points.vPlace[i]).sqLength();
                    const double weight = weightOf(vRadius[i], sqDistance, normal, points.vNormal[j], height);
                    sum += weight * height;
                    sumOfWeights += weight;
                });
                vNext[i] = p + normal * (sum / sumOfWeights);
            }
        });
        points.vFitted.swap(vNext);
    }
    for (std::size_t i = 0; i < points.size(); ++i)
        points.vFitted[i] = points.vPlace[i] + (points.vFitted[i] - points.vPlace[i]) * share;
}

/// The deviation of fitted points from what each neighbour within 2 predicts.
double residualOf(const FitPoints& points, const Neighbourhoods& near) {
    std::vector<double> vHeight;
    const std::size_t step = std::max<std::size_t>(1, points.size() / NUM_PREDICTED);
    for (std::size_t i = 0; i < points.size(); i += step)
        near.visit(i, [&](FitIndex j) {
            if (j == i || (points.vFitted[j] - points.vFitted[i]).sqLength() >= 4.0) return;
            vHeight.push_back(
                std::fabs(predictedHeight(points.vFitted[i], points.vNormal[i], points.vFitted[j], points.vNormal[j])));
        });
    return medianOf(vHeight) * TO_DEVIATION / std::sqrt(2.0);
}

}  // namespace

void findPointSheets(FitPoints& points, bool bNoise) {
    auto pNear = std::make_unique<Neighbourhoods>(points, LEAST_RADIUS);
    std::vector<PointPlane> vPlane = planesOf(points, *pNear, LEAST_RADIUS);
    NoiseModel model;
    if (bNoise) model = judgeNoise(points, vPlane);
    if (model.noise >= MIN_NOISE) {
        pNear.reset();
        pNear = std::make_unique<Neighbourhoods>(points, NOISY_RADIUS);
        vPlane = planesOf(points, *pNear, NOISY_RADIUS);
        model = judgeNoise(points, vPlane);
        pNear.reset();
        pNear = std::make_unique<Neighbourhoods>(points, model.radius);
    }
    points.noise = model.noise;
    points.radius = model.radius;
    const std::vector<double> vRadius = findNormals(points, *pNear, vPlane);
    findPlaces(points, *pNear, vRadius, model.share);
    points.residual = residualOf(points, *pNear);
}

}  // namespace TARN_KEL
