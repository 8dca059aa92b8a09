#pragma once

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

#include "FreshVector.h"
#include "sortMT.h"

namespace TARN_KEL {

/// What forWanted_MT() is asked to pick: not 0 for the wanted ones.
using WantedFlags = FreshVector<char>;

/// isWanted(i) for 0 .. n-1, asked on all workers.
template <typename IsWanted>
WantedFlags wantedFlags_MT(std::size_t n, const IsWanted& isWanted) {
    WantedFlags vWanted(n);
    const auto ask = [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            vWanted[i] = isWanted(i) ? 1 : 0;
    };
    forChunks_MT(n, ask, WORTH_A_TASK);
    return vWanted;
}

/// The first element of each run of equal keys; keyOf(element) gives the key.
template <typename Vector, typename KeyOf>
WantedFlags firstOfRuns_MT(const Vector& v, const KeyOf& keyOf) {
    return wantedFlags_MT(v.size(), [&](std::size_t i) { return i == 0 || keyOf(v[i]) != keyOf(v[i - 1]); });
}

/// put(i, place) for each wanted i, on all workers; the places count from 0, in the order of the i.
/// makeRoom: makeRoom(number of the wanted ones) is called first, on the calling thread.
template <typename MakeRoom, typename Put>
void forWanted_MT(const WantedFlags& vWanted, const MakeRoom& makeRoom, const Put& put) {
    constexpr std::size_t STRETCH = 8192;
    const std::size_t numStretches = (vWanted.size() + STRETCH - 1) / STRETCH;
    std::vector<std::size_t> vPlace(numStretches + 1, 0);  // of the next one of each stretch; the number of all last
    const auto forWantedOfStretches = [&](const auto& visit) {
        forChunks_MT(numStretches, [&](std::size_t begin, std::size_t end) {
            for (std::size_t stretch = begin; stretch < end; ++stretch)
                for (std::size_t i = stretch * STRETCH; i < std::min((stretch + 1) * STRETCH, vWanted.size()); ++i)
                    if (vWanted[i] != 0) visit(stretch, i);
        });
    };
    forWantedOfStretches([&](std::size_t stretch, std::size_t) { ++vPlace[stretch + 1]; });
    std::partial_sum(vPlace.begin(), vPlace.end(), vPlace.begin());
    makeRoom(vPlace.back());
    forWantedOfStretches([&](std::size_t stretch, std::size_t i) { put(i, vPlace[stretch]++); });
}

}  // namespace TARN_KEL
