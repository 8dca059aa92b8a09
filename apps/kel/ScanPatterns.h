// How the points of synthetic scans lie on the surface.
#pragma once

#include "ScanChance.h"
#include "ScanShapes.h"

/// How dense the points are at a place, as a share of the density at the densest place.
using Density = std::function<double(const TARN_KEL::Point3&)>;

/// One scan in the making.
struct ScanRun {
    Shape& shape;  // with its spacing, and without its windows
    std::size_t numPoints;
    double ratio;
    double noise;  // in spacings
    Density density;
    Chance& chance;
    std::vector<TARN_KEL::Point3>& vPoints;  // added to
    TARN_KEL::Vector3 offset;                // added to all points

    void add(const Sample& sample);
};

struct ScanPattern {
    const char* name;
    double ratio;  // unless the request has one
    Density (*makeDensity)(const Shape& shape, double ratio, Chance& chance);
    void (*sample)(ScanRun& run);
};

/// All patterns, and the one of a name. Throws std::invalid_argument when there is none.
const std::vector<ScanPattern>& allPatterns();
const ScanPattern& patternNamed(const std::string& name);

/// The mean of the density over the surface.
double meanDensity(const Shape& shape, const Density& density);

/// A place on the surface, missing patches excluded, all places alike.
Sample randomSample(const Shape& shape, Chance& chance);
