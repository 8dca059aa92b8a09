#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <utility>
#include <vector>

namespace TARN_KEL {

/// Disjoint sets of the numbers 0 to numMembers - 1, each a set of its own at first. The root of a set is its lowest member.
/// join() and findRoot() take amortised O(log n), and nearly constant time in practice.
class Forest {
public:
    using Member = std::uint32_t;

    explicit Forest(std::size_t numMembers) : vParent(numMembers), count(numMembers) {
        std::iota(vParent.begin(), vParent.end(), Member{0});
    }
    Member findRoot(Member member) {
        while (vParent[member] != member)
            member = vParent[member] = vParent[vParent[member]];
        return member;
    }
    void join(Member a, Member b) {
        const auto [low, high] = std::minmax({findRoot(a), findRoot(b)});
        if (low == high) return;
        vParent[high] = low;
        --count;
    }
    std::size_t numSets() const { return count; }

private:
    std::vector<Member> vParent;
    std::size_t count;
};

/// Disjoint sets as above in which any two members either agree or are opposed, as triangles of a sheet do that face the
/// same side or opposite sides. At most 2^31 members.
///
/// Each member is in a forest twice, as itself and as its own opposite. Opposed members are joined with each other's
/// opposites, so that each set is there twice, the second time as a mirror image.
class ParityForest {
public:
    using Member = Forest::Member;

    explicit ParityForest(std::size_t numMembers) : images(2 * numMembers) {}
    /// The root, and whether the member is opposed to it.
    std::pair<Member, bool> find(Member member) {
        const Member root = images.findRoot(2 * member);
        return {root / 2, root % 2 != 0};
    }
    /// Joins the sets of two members that are opposed (bAgainst) or agree. Returns false, with nothing changed, when both
    /// are in one set already and it is the other way round.
    bool join(Member a, Member b, bool bAgainst) {
        const Member like = 2 * b + (bAgainst ? 1 : 0), unlike = like ^ 1;
        if (images.findRoot(2 * a) == images.findRoot(unlike)) return false;
        images.join(2 * a, like);
        images.join(2 * a + 1, unlike);
        return true;
    }

private:
    Forest images;  // 2 i: member i; 2 i + 1: its opposite
};

}  // namespace TARN_KEL
