#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <utility>
#include <vector>

namespace TARN_KEL {

/// Disjoint sets of the numbers 0 to numMembers - 1, each a set of its own at first. The root of a set is its lowest member.
/// All operations take O(log n) at worst when averaged, next to nothing in practice.
class Forest {
public:
    using Member = std::uint32_t;

    explicit Forest(std::size_t numMembers) : vParent(numMembers) { std::iota(vParent.begin(), vParent.end(), Member{0}); }
    Member findRoot(Member member) {
        while (vParent[member] != member)
            member = vParent[member] = vParent[vParent[member]];
        return member;
    }
    void join(Member a, Member b) {
        const auto [low, high] = std::minmax({findRoot(a), findRoot(b)});
        vParent[high] = low;
    }

private:
    std::vector<Member> vParent;
};

/// Disjoint sets as above, whose members stand in one of two ways to each other, as the two sides of a sheet do.
class ParityForest {
public:
    using Member = Forest::Member;

    explicit ParityForest(std::size_t numMembers) : vParent(numMembers), vParity(numMembers, 0) {
        std::iota(vParent.begin(), vParent.end(), Member{0});
    }
    /// The root, and whether the member stands against it.
    std::pair<Member, bool> find(Member member) {
        char parity = 0;
        while (vParent[member] != member) {
            vParity[member] ^= vParity[vParent[member]];
            vParent[member] = vParent[vParent[member]];
            parity ^= vParity[member];
            member = vParent[member];
        }
        return {member, parity != 0};
    }
    /// Joins the sets of two members that stand against each other, or not. False when they are in one set already and stand
    /// the other way.
    bool join(Member a, Member b, bool bAgainst) {
        const auto [rootA, parityA] = find(a);
        const auto [rootB, parityB] = find(b);
        const bool bRootsAgainst = (parityA != parityB) != bAgainst;
        if (rootA == rootB) return !bRootsAgainst;
        const auto [low, high] = std::minmax(rootA, rootB);
        vParent[high] = low;
        vParity[high] = bRootsAgainst ? 1 : 0;
        return true;
    }

private:
    std::vector<Member> vParent;
    std::vector<char> vParity;  // against the parent; 0 for a root
};

}  // namespace TARN_KEL
