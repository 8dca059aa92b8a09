#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace TARN_KEL {

/// A list of shares, and their sum, which stays up to date at low cost when single shares change.
///
/// The shares are added up pairwise in a tree. So the sum depends on the current shares alone, it doesn't fall when one
/// grows, and when all is done the sum of the done parts equals that of the weights, to the bit.
class ShareSums {
public:
    struct Share {
        double weight = 0.0;
        double done = 0.0;  ///< the part of the weight that is done
        Share operator+(const Share& other) const { return {weight + other.weight, done + other.done}; }
    };

    std::size_t size() const { return numShares; }
    /// Appends a share, at position size(). Cost: O(log n) on average.
    void append(const Share& share) {
        if (numShares == capacity()) grow();
        set(numShares++, share);
    }
    /// O(log n).
    void set(std::size_t position, const Share& share) {
        std::size_t i = capacity() + position;
        vNode[i] = share;
        while (i > 1) {
            i /= 2;
            vNode[i] = vNode[2 * i] + vNode[2 * i + 1];
        }
    }
    Share sum() const { return vNode.empty() ? Share() : vNode[1]; }
    void clear() {
        vNode.clear();
        numShares = 0;
    }

private:
    std::size_t capacity() const { return vNode.size() / 2; }
    void grow() {
        const std::vector<Share> vFormer =
            std::exchange(vNode, std::vector<Share>(std::max<std::size_t>(4 * capacity(), 2)));
        std::copy(vFormer.begin() + static_cast<std::ptrdiff_t>(vFormer.size() / 2), vFormer.end(),
                  vNode.begin() + static_cast<std::ptrdiff_t>(capacity()));
        for (std::size_t i = capacity() - 1; i > 0; --i)
            vNode[i] = vNode[2 * i] + vNode[2 * i + 1];
    }

    std::vector<Share> vNode;  // a binary tree: the children of i are 2 * i and 2 * i + 1, the shares are the second half
    std::size_t numShares = 0;
};

}  // namespace TARN_KEL
