// Weighted means over the neighbours of a point, four neighbours at a time in single precision. All is relative to a place
// in the cell of the point, so that is as good as 1e-6 spacings anywhere in a cloud.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

#include "FitPoints.h"
#include "LaneVector.h"
#include "Neighbourhoods.h"
#include "kel.h"
#include "sortMT.h"

namespace TARN_KEL {

/// A vector and a number beside it, in one set of lanes.
inline Lanes packed(const Vector3& v, double beside = 0.0) {
    return Lanes{static_cast<float>(v.x()), static_cast<float>(v.y()), static_cast<float>(v.z()),
                 static_cast<float>(beside)};
}
/// Of four of these.
inline LaneVector unpacked(Lanes a, Lanes b, Lanes c, Lanes d) {
    const Lanes xyAB = __builtin_shufflevector(a, b, 0, 4, 1, 5), zwAB = __builtin_shufflevector(a, b, 2, 6, 3, 7);
    const Lanes xyCD = __builtin_shufflevector(c, d, 0, 4, 1, 5), zwCD = __builtin_shufflevector(c, d, 2, 6, 3, 7);
    return {__builtin_shufflevector(xyAB, xyCD, 0, 1, 4, 5), __builtin_shufflevector(xyAB, xyCD, 2, 3, 6, 7),
            __builtin_shufflevector(zwAB, zwCD, 0, 1, 4, 5), __builtin_shufflevector(zwAB, zwCD, 2, 3, 6, 7)};
}

/// A place beyond all radii.
inline Lanes farPlace() {
    return packed({FAR_AWAY, 0.0, 0.0});
}

/// What is looked at of the candidates of one cell after the other: N vectors of each. They are packed once for a cell, and
/// picked from there for each of its points.
template <std::size_t N>
class NearLanes {
public:
    using Packed = std::array<Lanes, N>;
    using Four = std::array<LaneVector, N>;

    /// pack(point) for each candidate; nobody fills up the last lanes, so it must count for nothing.
    template <typename Pack>
    void enter(std::span<const FitIndex> vCandidate, const Packed& nobody, const Pack& pack) {
        vPacked.clear();
        for (const FitIndex j : vCandidate)
            vPacked.push_back(pack(j));
        vPacked.push_back(nobody);
    }
    /// Of some candidates, by their positions: all, or every second one. The span holds until the next call.
    std::span<Four> pick(std::span<const FitIndex> vPosition, std::size_t step) {
        const std::size_t num = (vPosition.size() + step - 1) / step, numFours = (num + NUM_LANES - 1) / NUM_LANES;
        if (vFour.size() < numFours) vFour.resize(2 * numFours);
        const auto packedAt = [&](std::size_t k) -> const Packed& {
            return k < num ? vPacked[vPosition[step * k]] : vPacked.back();
        };
        for (std::size_t i = 0, k = 0; i < numFours; ++i, k += NUM_LANES) {
            const Packed &a = packedAt(k), &b = packedAt(k + 1), &c = packedAt(k + 2), &d = packedAt(k + 3);
            for (std::size_t n = 0; n < N; ++n)
                vFour[i][n] = unpacked(a[n], b[n], c[n], d[n]);
        }
        return {vFour.data(), numFours};
    }

private:
    std::vector<Packed> vPacked;
    std::vector<Four> vFour;
};

/// Which neighbours are looked at. For a mean that is averaged again, every second one of more than MANY_NEAR will do.
enum class NearShare { ALL, HALF_OF_MANY };
constexpr std::size_t MANY_NEAR = 32;

/// For each point on all workers: visit(point, origin, its neighbours as a span of NearLanes<N>::Four). pack(neighbour,
/// origin): what is looked at of it; places relative to the origin, which is near all of them. nobody: as of NearLanes.
template <std::size_t N, typename Pack, typename Visit>
void forPoints_MT(const FitPoints& points, const Neighbourhoods& near, NearShare share,
                  const typename NearLanes<N>::Packed& nobody, const Pack& pack, const Visit& visit) {
    forChunks_MT(near.numPoints(), [&](std::size_t begin, std::size_t end) {
        NearLanes<N> lanes;
        Vector3 origin;
        near.visitCells(
            begin, end, [](FitIndex) { return true; },
            [&](FitIndex first, std::span<const FitIndex> vCandidate) {
                origin = points.vPlace[first];
                lanes.enter(vCandidate, nobody, [&](FitIndex j) { return pack(j, origin); });
            },
            [&](FitIndex i, std::span<const FitIndex> vPosition) {
                const bool bHalf = share == NearShare::HALF_OF_MANY && vPosition.size() > MANY_NEAR;
                visit(i, origin, lanes.pick(vPosition, bHalf ? 2 : 1));
            });
    });
}

/// Nearly exp(-x) for x of at least 0, at a fraction of its cost; next to 0 from some hundred on.
inline Lanes fallOff(Lanes x) {
    const float nothing = 2000.0F;  // the power is still a normal number: others are slow
    Lanes t = 1.0F / (1.0F + smallerOf(x, allLanes(nothing)) * (1.0F / 16.0F));
    t *= t;
    t *= t;
    t *= t;
    return t * t;
}

}  // namespace TARN_KEL
