#pragma once

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <vector>

/// Disjoint sets of numbers from 0 on, each alone at the start. Path halving; the least member stands for its set.
class Sets {
public:
    explicit Sets(std::size_t size) : vParent(size), count(size) { std::iota(vParent.begin(), vParent.end(), 0); }
    void join(std::uint32_t a, std::uint32_t b) {
        const auto [low, high] = std::minmax({root(a), root(b)});
        if (low == high) return;
        vParent[high] = low;
        --count;
    }
    std::uint32_t root(std::uint32_t i) {
        while (vParent[i] != i)
            i = vParent[i] = vParent[vParent[i]];
        return i;
    }
    std::size_t numSets() const { return count; }

private:
    std::vector<std::uint32_t> vParent;
    std::size_t count;
};
