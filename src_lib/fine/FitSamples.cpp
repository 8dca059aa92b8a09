#include "FitSamples.h"

#include <algorithm>
#include <cmath>

#include "TriangleTree.h"
#include "geometryFunctions.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t MIN_PARALLEL_SAMPLES = 1000;
// As shares of the area of a triangle in even meshes: with these the sum is the integral of a square over the surface.
constexpr double VERTEX_WEIGHT = 0.5, CENTRE_WEIGHT = 0.75;
// A corner with less of a sample can't do anything for it.
constexpr double MIN_WEIGHT = 1e-3;

/// Where a point stands over a triangle. Off the triangle, the foot is taken on its nearest side, near enough.
struct Foot {
    std::array<double, 3> aWeight;
    Vector3 normal;
    double height;
};

Foot footOn(const TrianglePlaces& triangle, const Vector3& p) {
    const auto& [a, b, c] = triangle;
    const Vector3 normal = crossProduct(b - a, c - a);
    const double wb = std::max(0.0, crossProduct(p - a, c - a) * normal / normal.sqLength());
    const double wc = std::max(0.0, crossProduct(b - a, p - a) * normal / normal.sqLength());
    const double wa = std::max(0.0, 1.0 - wb - wc), sum = wa + wb + wc;
    const Vector3 unit = normalize(normal);
    return {{wa / sum, wb / sum, wc / sum}, unit, unit * (p - a)};
}

}  // namespace

FitSamples::FitSamples(const FlatSurface& surface, const FlatSurface& original) {
    findFeet(surface, original);
    listShares(surface.numVertices());
}

void FitSamples::findFeet(const FlatSurface& surface, const FlatSurface& original) {
    std::vector<TrianglePlaces> vPlaces;
    std::vector<Index> vFirstCorner;
    for (Index c = 0; c < surface.vVertex.size(); c += 3) {
        if (surface.vVertex[c] == FlatSurface::NONE) continue;
        vPlaces.push_back({surface.placeAt(c), surface.placeAt(c + 1), surface.placeAt(c + 2)});
        vFirstCorner.push_back(c);
    }
    const TriangleTree tree(vPlaces);
    vSample.resize(original.numVertices() + original.numTriangles());
    const auto sampleAt = [&](std::size_t i) -> Sample {
        const bool bVertex = i < original.numVertices();
        const auto t = static_cast<Index>(i - original.numVertices());
        const Vector3 p = bVertex ? original.vPlace[i] : original.centreOf(t);
        const std::size_t nearest = tree.nearest(p).position;
        const Foot foot = footOn(vPlaces[nearest], p);
        const Index* const pCorner = &surface.vVertex[vFirstCorner[nearest]];
        return {{pCorner[0], pCorner[1], pCorner[2]},
                foot.aWeight,
                foot.normal,
                foot.height,
                bVertex ? VERTEX_WEIGHT : CENTRE_WEIGHT};
    };
    forChunks_MT(
        vSample.size(),
        [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i)
                vSample[i] = sampleAt(i);
        },
        MIN_PARALLEL_SAMPLES);
}

void FitSamples::listShares(std::size_t numVertices) {
    shares = listsByNumber<Share>(numVertices, [&](const auto& add) {
        for (Index i = 0; i < vSample.size(); ++i)
            for (Index k = 0; k < 3; ++k)
                add(vSample[i].aVertex[k], Share{i, k});
    });
}

Quadric FitSamples::around(Index vertex, const Vector3& place) const {
    Quadric sum;
    for (const Share* pShare = shares.begin(vertex); pShare != shares.end(vertex); ++pShare) {
        const Sample& sample = vSample[pShare->sample];
        const double weight = sample.aWeight[pShare->corner];
        if (weight < MIN_WEIGHT) continue;
        // The height is 0 when the vertex has risen by height / weight.
        sum += Quadric(sample.normal, place + sample.normal * (sample.height / weight), sample.weight * weight * weight);
    }
    return sum;
}

void FitSamples::move(Index vertex, const Vector3& way) {
    for (const Share* pShare = shares.begin(vertex); pShare != shares.end(vertex); ++pShare) {
        Sample& sample = vSample[pShare->sample];
        sample.height -= sample.aWeight[pShare->corner] * (sample.normal * way);
    }
}

}  // namespace TARN_KEL
