// How the points of synthetic scans lie on the surface.
#pragma once

#include "ScanChance.h"
#include "ScanShapes.h"

/// The density of points at a place, relative to the densest place: 0 to 1.
using Density = std::function<double(const TARN_KEL::Point3&)>;

/// The state of one scan while it is made.
struct Sampling {
    Shape& shape;  // with its spacing, and without its windows
    std::size_t numPoints;
    double ratio;
    double noise;  // in spacings
    Density density;
    Chance& chance;
    std::vector<TARN_KEL::Point3>& vPoints;  // points are appended here
    TARN_KEL::Vector3 offset;                // all points are moved by this

    void add(const Sample& sample);
};

struct ScanPattern {
    const char* name;
    double ratio;       // used when the request has none
    double leastRatio;  // that the request may have
    Density (*makeDensity)(const Shape& shape, double ratio, Chance& chance);
    void (*sample)(Sampling& run);
};

/// All patterns, and the pattern with that name. Throws std::invalid_argument on an unknown name.
const std::vector<ScanPattern>& allPatterns();
const ScanPattern& patternNamed(const std::string& name);

/// The mean of the density over the surface.
double meanDensity(const Shape& shape, const Density& density);

/// A random place on the surface outside its missing patches, uniformly distributed by area.
Sample randomSample(const Shape& shape, Chance& chance);
