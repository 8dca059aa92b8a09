// The unit squares of the pieces are filled by an additive sequence with two irrational steps. Like a scanner it covers a
// square evenly, whatever the number of points, but without the regularity of a grid. The seed shifts the sequence. Each
// piece gets tries in proportion to its area. Tries that fall into a missing patch are repeated on all pieces in that
// proportion, so that the density stays the same everywhere.
//
// Where the density varies, each place accepts only a first part of the sequence: the share that is its relative density.
// The beginning of the sequence covers evenly too, so points are spread evenly at every density.
#include "ScanPatterns.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

using TARN_KEL::crossProduct;
using TARN_KEL::Point3;
using TARN_KEL::Vector3;

namespace {

double fraction(double value) {
    return value - std::floor(value);
}

/// A place of the additive sequence.
struct Sequence {
    double u;
    double v;

    // Powers of the inverse of the real root of x^3 = x + 1: the two-dimensional companion of the golden ratio.
    void advance() {
        u = fraction(u + 0.7548776662466927);
        v = fraction(v + 0.5698402909980532);
    }
};

Sequence randomStart(Chance& chance) {
    return {chance.uniform(), chance.uniform()};
}

// ---- Densities

double evenDensity(const Point3&) {
    return 1.0;
}

Density even(const Shape&, double, Chance&) {
    return evenDensity;
}

/// func(place) for a thousand places of each piece, missing patches included, evenly spread.
void forPlaces(const Shape& shape, const std::function<void(const Piece&, const Sample&)>& func) {
    for (const Piece& piece : shape.vPieces) {
        Sequence at{0.5, 0.5};
        for (int i = 0; i < 1000; ++i, at.advance())
            func(piece, piece.at(at.u, at.v));
    }
}

/// Falls along x from 1 to 1 / ratio, by the same factor each step of the way.
Density falling(const Shape& shape, double ratio, Chance&) {
    double low = HUGE_VAL;
    double high = -HUGE_VAL;
    forPlaces(shape, [&](const Piece&, const Sample& sample) {
        low = std::min(low, sample.point.x());
        high = std::max(high, sample.point.x());
    });
    return [=](const Point3& p) { return std::pow(ratio, -std::clamp((p.x() - low) / (high - low), 0.0, 1.0)); };
}

/// One value in six balls around places of the surface, another one outside.
Density inPatches(const Shape& shape, double inside, double outside, Chance& chance) {
    constexpr int NUM_PATCHES = 6;
    constexpr double SHARE = 0.25;  // of the area, were the surface flat and the patches apart
    const double radius = std::sqrt(SHARE * shape.truth.area / (PI * NUM_PATCHES));
    std::vector<Point3> vCentre;
    vCentre.reserve(NUM_PATCHES);
    for (int i = 0; i < NUM_PATCHES; ++i)
        vCentre.push_back(randomSample(shape, chance).point);
    return [=](const Point3& p) {
        const bool bInside = std::any_of(vCentre.begin(), vCentre.end(),
                                         [&](const Point3& centre) { return (p - centre).sqLength() < radius * radius; });
        return bInside ? inside : outside;
    };
}

Density doubled(const Shape& shape, double, Chance& chance) {
    return inPatches(shape, 1.0, 0.5, chance);
}

Density thinned(const Shape& shape, double ratio, Chance& chance) {
    return inPatches(shape, 1.0 / ratio, 1.0, chance);
}

// ---- Patterns

/// Goes on with a piece for numTries samples and adds those that it accepts.
void samplePiece(const Piece& piece, std::size_t numTries, Sequence& at, Sampling& run) {
    for (; numTries > 0; --numTries) {
        at.advance();
        const Sample sample = piece.at(at.u, at.v);
        if (piece.accepts(sample.point)) run.add(sample);
    }
}

/// func(piece, its number, share of numTries) with shares in proportion to the areas.
template <typename Func>
void forShares(const Shape& shape, std::size_t numTries, const Func& func) {
    const double wholeArea = shape.wholeArea();
    std::size_t numTried = 0;
    double areaSoFar = 0.0;
    for (std::size_t i = 0; i < shape.vPieces.size(); ++i) {
        areaSoFar += shape.vPieces[i].area;
        const bool bLast = i + 1 == shape.vPieces.size();
        const auto numUpToHere =
            bLast ? numTries : static_cast<std::size_t>(static_cast<double>(numTries) * (areaSoFar / wholeArea));
        func(shape.vPieces[i], i, numUpToHere - numTried);
        numTried = numUpToHere;
    }
}

void addEvenly(const Shape& shape, std::size_t numPoints, Sampling& run) {
    std::vector<Sequence> vSequence;
    const std::size_t numWanted = run.vPoints.size() + numPoints;
    while (run.vPoints.size() < numWanted)
        forShares(shape, numWanted - run.vPoints.size(), [&](const Piece& piece, std::size_t i, std::size_t numTries) {
            if (vSequence.size() == i) vSequence.push_back(randomStart(run.chance));
            samplePiece(piece, numTries, vSequence[i], run);
        });
}

void sampleEvenly(Sampling& run) {
    addEvenly(run.shape, run.numPoints, run);
}

void sampleRandomly(Sampling& run) {
    for (std::size_t i = 0; i < run.numPoints; ++i)
        run.add(randomSample(run.shape, run.chance));
}

/// A try of the sequence. It is accepted when the whole scan has at least so many tries.
struct RankedSample {
    double rank;
    Sample sample;
};

/// The samples of rank up to maxRank, piece by piece.
std::vector<RankedSample> rankedSamples(const Sampling& run, const Density& density, const std::vector<Sequence>& vStart,
                                        double maxRank) {
    std::vector<RankedSample> vRanked;
    const double wholeArea = run.shape.wholeArea();
    for (std::size_t i = 0; i < vStart.size(); ++i) {
        const Piece& piece = run.shape.vPieces[i];
        Sequence at = vStart[i];
        for (double number = 0.5; number * wholeArea / piece.area <= maxRank; number += 1.0) {
            at.advance();
            const Sample sample = piece.at(at.u, at.v);
            const double rank = number * wholeArea / piece.area / density(sample.point);
            if (rank <= maxRank && piece.accepts(sample.point)) vRanked.push_back({rank, sample});
        }
    }
    return vRanked;
}

void addByDensity(const Density& density, std::size_t numPoints, Sampling& run) {
    std::vector<Sequence> vStart;
    for (std::size_t i = 0; i < run.shape.vPieces.size(); ++i)
        vStart.push_back(randomStart(run.chance));
    std::vector<RankedSample> vRanked;
    double maxRank = static_cast<double>(numPoints) / meanDensity(run.shape, density);
    while (vRanked.size() < numPoints)
        vRanked = rankedSamples(run, density, vStart, maxRank *= 1.05);
    if (numPoints == 0) return;
    std::vector<double> vRank;
    vRank.reserve(vRanked.size());
    for (const RankedSample& ranked : vRanked)
        vRank.push_back(ranked.rank);
    std::sort(vRank.begin(), vRank.end());
    const double lastRank = vRank[numPoints - 1];
    std::size_t numLeft = numPoints;  // pieces of one area may have equal ranks
    for (const RankedSample& ranked : vRanked)
        if (ranked.rank <= lastRank && numLeft > 0) run.add(ranked.sample), --numLeft;
}

void sampleByDensity(Sampling& run) {
    addByDensity(run.density, run.numPoints, run);
}

/// An even scan, and a second one of the places where the density is doubled.
void sampleTwiceInPatches(Sampling& run) {
    const double mean = meanDensity(run.shape, run.density);  // half of the largest comes of the even scan
    const auto numEven = static_cast<std::size_t>(static_cast<double>(run.numPoints) * 0.5 / mean);
    addEvenly(run.shape, numEven, run);
    const auto inPatch = [&run](const Point3& p) { return run.density(p) == 1.0 ? 1.0 : 0.0; };
    addByDensity(inPatch, run.numPoints - numEven, run);
}

void sampleTwoScans(Sampling& run) {
    const Vector3 oblique = Vector3(1.0, 2.0, 3.0) / std::sqrt(14.0);
    addEvenly(run.shape, run.numPoints / 2, run);
    run.offset = oblique * (run.ratio * run.shape.truth.spacing);
    addEvenly(run.shape, run.numPoints - run.numPoints / 2, run);
}

/// A sphere of radius 1 is wound round from pole to pole in one line. With the angle from the pole a = acos(1 - 2 t), t from
/// 0 to 1 as the points go, and 2 T a round the axis, the turns are pi / T apart and the points 4 T / n.
void sampleSphereInLines(std::size_t numTries, Sampling& run) {
    const double numTurns = std::sqrt(PI * static_cast<double>(numTries) / (4.0 * run.ratio));
    const Vector3 axis = run.chance.direction();
    const Vector3 toSide = crossProduct(axis, run.chance.direction());
    const Vector3 u = toSide / toSide.length();
    const Vector3 v = crossProduct(axis, u);
    for (std::size_t i = 0; i < numTries; ++i) {
        const double height = 1.0 - 2.0 * (static_cast<double>(i) + 0.5) / static_cast<double>(numTries);
        const double longitude = 2.0 * numTurns * std::acos(height);
        const double r = std::sqrt(1.0 - height * height);
        const Vector3 n = axis * height + u * (r * std::cos(longitude)) + v * (r * std::sin(longitude));
        if (run.shape.vPieces.front().accepts(Point3() + n)) run.add({Point3() + n, n});
    }
}

/// Rows across the square of the piece, each a little oblique so that it goes on in the next one.
void samplePieceInLines(const Piece& piece, std::size_t numTries, Sampling& run) {
    const double numRows = std::max(1.0, std::round(std::sqrt(static_cast<double>(numTries) / run.ratio)));
    const double start = run.chance.uniform();
    for (std::size_t i = 0; i < numTries; ++i) {
        const double v = (static_cast<double>(i) + 0.5) / static_cast<double>(numTries);
        const Sample sample = piece.at(fraction(start + v * numRows), v);
        if (piece.accepts(sample.point)) run.add(sample);
    }
}

void sampleInLines(Sampling& run) {
    const double triesPerPoint = run.shape.wholeArea() / run.shape.truth.area;
    const auto numTries = static_cast<std::size_t>(std::lround(static_cast<double>(run.numPoints) * triesPerPoint));
    if (run.shape.bSphere)
        sampleSphereInLines(numTries, run);
    else
        forShares(run.shape, numTries,
                  [&](const Piece& piece, std::size_t, std::size_t numHere) { samplePieceInLines(piece, numHere, run); });
}

/// Each point stands for the same angle around the axis and in height, thus for an area that grows with the square of the
/// distance and where the surface is seen at a slant.
void sampleByLidar(Sampling& run) {
    if (!run.shape.bHall) throw std::invalid_argument("The pattern 'lidar' needs the shape 'hall'");
    const Point3 scanner(5.0, 3.0, 1.5);
    const double maxElevation = PI / 3.0;
    const auto n = static_cast<double>(run.numPoints);
    const double numTurns = std::sqrt(n * 2.0 * maxElevation / (2.0 * PI * run.ratio));
    const double start = 2.0 * PI * run.chance.uniform();
    const double anglesPerPoint = 2.0 * PI * 2.0 * maxElevation / n;
    std::vector<Sample> vSample;
    double area = 0.0;
    for (std::size_t i = 0; i < run.numPoints; ++i) {
        const double share = (static_cast<double>(i) + 0.5) / n;
        const double elevation = maxElevation * (2.0 * share - 1.0);
        const double azimuth = start + 2.0 * PI * numTurns * share;
        const double r = std::cos(elevation);
        const Vector3 direction(r * std::cos(azimuth), r * std::sin(azimuth), std::sin(elevation));
        vSample.push_back(castIntoHall(scanner, direction));
        area += anglesPerPoint * r * (vSample.back().point - scanner).sqLength() / -(direction * vSample.back().normal);
    }
    // The room's band without the shadow of the ball, and the ball's cap.
    run.shape.truth = {area, std::sqrt(area / n), 2, 4, 0};
    for (const Sample& sample : vSample)
        run.add(sample);
}

const std::vector<ScanPattern> PATTERNS = {
    {"even", 1.0, 0.0, even, sampleEvenly},
    {"random", 1.0, 0.0, even, sampleRandomly},
    {"varying", 16.0, 1.0, falling, sampleByDensity},
    {"lines", 8.0, 0.0, even, sampleInLines},
    {"overlap", 2.0, 0.0, doubled, sampleTwiceInPatches},
    {"sparse", 16.0, 1.0, thinned, sampleByDensity},
    {"misfit", 1.0, 0.0, even, sampleTwoScans},
    {"lidar", 2.0, 0.0, even, sampleByLidar},
};

}  // namespace

void Sampling::add(const Sample& sample) {
    const double shift = noise > 0.0 ? noise * shape.truth.spacing * chance.normal() : 0.0;
    vPoints.push_back(sample.point + sample.normal * shift + offset);
}

const std::vector<ScanPattern>& allPatterns() {
    return PATTERNS;
}

const ScanPattern& patternNamed(const std::string& name) {
    const auto it = std::ranges::find(PATTERNS, name, &ScanPattern::name);
    if (it == PATTERNS.end()) throw std::invalid_argument("There is no pattern '" + name + "'");
    return *it;
}

double meanDensity(const Shape& shape, const Density& density) {
    double sum = 0.0;
    double area = 0.0;
    forPlaces(shape, [&](const Piece& piece, const Sample& sample) {
        if (!piece.accepts(sample.point)) return;
        sum += piece.area * density(sample.point);
        area += piece.area;
    });
    return sum / area;
}

Sample randomSample(const Shape& shape, Chance& chance) {
    while (true) {
        double place = chance.uniform() * shape.wholeArea();
        std::size_t i = 0;
        for (; i + 1 < shape.vPieces.size() && place >= shape.vPieces[i].area; ++i)
            place -= shape.vPieces[i].area;
        const Sequence at = randomStart(chance);
        const Sample sample = shape.vPieces[i].at(at.u, at.v);
        if (shape.vPieces[i].accepts(sample.point)) return sample;
    }
}
