// How much of the spread of points is noise.
#pragma once

#include <array>

#include "FitPoints.h"
#include "Neighbourhoods.h"
#include "pointPlanes.h"

namespace TARN_KEL {

/// The neighbourhoods that there are; clean points have the smallest.
constexpr std::array<double, 7> SHEET_RADII = {2.0, 2.4, 2.9, 3.5, 4.2, 5.0, 6.0};

struct NoiseModel {
    double noise = 0.0;              ///< standard deviation along the normal
    double radius = SHEET_RADII[0];  ///< of the neighbourhoods that suit it
    double share = 0.0;              ///< of noise in what is seen within that radius

    bool isNoisy() const { return noise >= MIN_NOISE; }

private:
    static constexpr double MIN_NOISE = 0.02;  // less isn't worth averaging
};

/// The standard deviation along the normal alone, at a fraction of the cost. vPlane: of all points.
double noiseOf(const FitPoints& points, const std::vector<PointPlane>& vPlane);

/// The error of predictions at radius 0 is noise, what it gains with the radius is detail. vPlane: of all points. Of a
/// sample of them; O(points) for the rest.
NoiseModel judgeNoise(const FitPoints& points, const std::vector<PointPlane>& vPlane);

/// The deviation of fitted points from what each neighbour within 2 predicts.
double residualOf(const FitPoints& points, const Neighbourhoods& near);

}  // namespace TARN_KEL
