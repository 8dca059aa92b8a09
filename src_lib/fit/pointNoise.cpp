// A point predicts another by r = (n + m) / 2 * (q - p), with the normals n, m at the two. It is 0 for any two points of a
// paraboloid, so no curvature counts as noise.
#include "pointNoise.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>

#include "PointGrid.h"
#include "fitLimits.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

const double NEAREST_RADIUS = 1.3;
const std::size_t NUM_PREDICTED = 5000;
const double TO_DEVIATION = 1.0 / 0.6745;  // from the median of absolute values of a normal distribution
const double MAX_HEIGHT = 2.2;             // of a predicting point over the surface
const double MIN_AGREEMENT = 0.85;         // cosine of the normals
const double NOISE_LEFT = 1.83;            // of a mean within radius r: variance / (1.83 r^2)
const double BIAS_FACTOR = 0.6;            // what of the growth is detail that a mean would take away

/// The height of q over the surface at p that both normals predict.
double predictedHeight(const Vector3& p, const Vector3& normalP, const Vector3& q, const Vector3& normalQ) {
    return 0.5 * ((normalP + normalQ) * (q - p));
}

/// What the others within each radius predict of one point.
struct Predictions {
    struct Sums {
        double weights = 0.0, sqWeights = 0.0, heights = 0.0;
        double weightsTwice = 0.0;  // products of the weights here and in the disc of SHEET_RADII[0]
    };
    std::array<Sums, SHEET_RADII.size() + 1> aSums;  // of NEAREST_RADIUS first
};

double radiusOf(std::size_t k) {
    return k == 0 ? NEAREST_RADIUS : SHEET_RADII[k - 1];
}

/// How far away a point may be that predicts one within the radius. Its height over the plane of that one may be more than
/// MAX_HEIGHT, by half the difference of both normals times the distance: a quadratic equation for the distance.
double reachOf(double radius) {
    const double slope = 0.5 * std::sqrt(2.0 - 2.0 * MIN_AGREEMENT), rest = 1.0 - square(slope);
    const double half = MAX_HEIGHT * slope / rest;
    return half + std::sqrt(square(half) + (square(radius) + square(MAX_HEIGHT)) / rest);
}

/// Within the first numRadii radii. Distances are measured along the plane, in discs rather than balls: else noise would
/// push points out of the smaller ones.
Predictions predict(const FitPoints& points, const PointGrid& grid, const std::vector<PointPlane>& vPlane,
                    std::size_t numRadii, double reach, std::size_t i) {
    Predictions result;
    const Vector3 p = points.vPlace[i], normal = vPlane[i].normal;
    grid.visitWithin(p, reach, [&](FitIndex j, double sqDistance) {
        if (j == i || !areNeighbours(points, i, j) || normal * vPlane[j].normal < MIN_AGREEMENT) return;
        const double height = predictedHeight(p, normal, points.vPlace[j], vPlane[j].normal);
        if (std::fabs(height) > MAX_HEIGHT) return;
        const double sqLateral = sqDistance - square(normal * (points.vPlace[j] - p));
        const double weightInFirst = weightWithin(sqLateral, SHEET_RADII[0]);
        for (std::size_t k = numRadii; k-- > 0;) {
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

/// What means within the k-th radius lose of the detail that is seen within SHEET_RADII[0], as a median square: the
/// difference of both means, less what noise adds to it. The noise of the point itself isn't in it, so it is seen far below
/// that.
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

/// For a sample of the points.
std::vector<Predictions> predictionsOf(const FitPoints& points, const std::vector<PointPlane>& vPlane, std::size_t numRadii,
                                       double reach) {
    const PointGrid grid(points.vPlace, 0.5 * SHEET_RADII.back());
    const std::size_t step = std::max<std::size_t>(1, points.size() / NUM_PREDICTED);
    std::vector<Predictions> vPredictions((points.size() + step - 1) / step);
    forChunks_MT(vPredictions.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            vPredictions[i] = predict(points, grid, vPlane, numRadii, reach, i * step);
    });
    return vPredictions;
}

/// By the errors within the first two radii: that at radius 0, on a line in squares.
double sqNoiseOf(const std::vector<Predictions>& vPredictions) {
    const double near = sqErrorOf(vPredictions, 0), next = sqErrorOf(vPredictions, 1);
    const double slope = std::max(0.0, (next - near) / (square(SHEET_RADII[0]) - square(NEAREST_RADIUS)));
    return std::max(0.0, near - square(NEAREST_RADIUS) * slope);
}

}  // namespace

double noiseOf(const FitPoints& points, const std::vector<PointPlane>& vPlane) {
    return std::sqrt(sqNoiseOf(predictionsOf(points, vPlane, 2, reachOf(SHEET_RADII[0]))));
}

NoiseModel judgeNoise(const FitPoints& points, const std::vector<PointPlane>& vPlane) {
    const double reach = std::sqrt(square(SHEET_RADII.back()) + square(MAX_HEIGHT));
    const std::vector<Predictions> vPredictions = predictionsOf(points, vPlane, SHEET_RADII.size() + 1, reach);
    const double sqNoise = sqNoiseOf(vPredictions);
    NoiseModel model{.noise = std::sqrt(sqNoise)};
    if (!model.isNoisy()) return model;
    double best = std::numeric_limits<double>::max();
    for (std::size_t k = 1; k <= SHEET_RADII.size(); ++k) {
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

double residualOf(const FitPoints& points, const Neighbourhoods& near) {
    std::vector<double> vHeight;
    const std::size_t step = std::max<std::size_t>(1, points.size() / NUM_PREDICTED);
    const auto isInSample = [step](FitIndex i) { return i % step == 0; };
    near.visitWanted(0, near.numPoints(), isInSample, [&](FitIndex i, std::span<const FitIndex> vNear) {
        for (const FitIndex j : vNear) {
            if (j == i || (points.vFitted[j] - points.vFitted[i]).sqLength() >= 4.0) continue;
            vHeight.push_back(
                std::fabs(predictedHeight(points.vFitted[i], points.vNormal[i], points.vFitted[j], points.vNormal[j])));
        }
    });
    return medianOf(vHeight) * TO_DEVIATION / std::sqrt(2.0);
}

}  // namespace TARN_KEL
