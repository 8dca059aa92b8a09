#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "kel.h"
#include "tools.h"

namespace TARN_KEL {

/// Finds elements that are stored elsewhere: an open table from a hash to the 32-bit index of an element.
///
/// The table keeps no keys. The caller passes the hash of the key that it looks for and a test "is element i the one?",
/// which is called only where 32 bits of the hash agree. A slot has 8 bytes, eight slots fill a cache line, and at most
/// three quarters of the slots are taken. The table has no useful order: whoever needs one keeps it elsewhere.
///
/// Only the upper 32 bits of a hash are used, the tag. A tag's uppermost bits choose the line and its three lowest ones the
/// slot in the line; a collision moves on to the next slots. So growth reads and writes from front to back, and keys whose
/// tags agree in the upper bits share a line: localHash() makes use of that.
///
/// find() may run on several threads as long as nobody changes the table. All operations take O(1) on average; an insert()
/// that makes the table grow takes O(size).
class HashIndex {
public:
    static constexpr std::uint32_t NONE = 0xffffffffU;

    /// The index of the element that isEqual(index) accepts, else NONE.
    template <typename IsEqual>
    std::uint32_t find(std::uint64_t hash, IsEqual&& isEqual) const {
        if (numUsed == 0) return NONE;
        const std::uint32_t tag = tagOf(hash);
        for (std::size_t pos = home(tag);; pos = next(pos)) {
            const Slot& slot = at(pos);
            if (slot.entry == 0) return NONE;
            if (slot.tag == tag && isEqual(slot.entry - 1)) return slot.entry - 1;
        }
    }

    /// Brings the place of that hash into the cache, for a find() or insert() soon after.
    void prefetch(std::uint64_t hash) const {
        if (numUsed != 0) __builtin_prefetch(&at(home(tagOf(hash))));
    }

    /// Enters an element that find() doesn't find. index: below NONE.
    void insert(std::uint64_t hash, std::uint32_t index) {
        if (numUsed >= maxUsed) grow(numBits == 0 ? MIN_BITS : numBits + 1);
        place({tagOf(hash), index + 1});
        ++numUsed;
    }

    /// Removes the element of that hash and index. Returns false when it isn't there.
    bool erase(std::uint64_t hash, std::uint32_t index);

    /// Calls visit(index) for every element, in no useful order.
    template <typename Visit>
    void forEach(Visit&& visit) const {
        for (const Line& line : vLine)
            for (const Slot& slot : line.aSlot)
                if (slot.entry != 0) visit(slot.entry - 1);
    }

    std::size_t size() const { return numUsed; }
    /// Makes room for that many elements without further growth.
    void reserve(std::size_t numElements) {
        std::uint32_t bits = MIN_BITS;
        while (capacityOf(bits) < numElements)
            ++bits;
        if (bits > numBits) grow(bits);
    }
    /// Forgets all elements and frees the memory.
    void clear() { *this = HashIndex(); }

private:
    struct Slot {
        std::uint32_t tag;
        std::uint32_t entry;  ///< index + 1; 0 is a free slot
    };
    struct alignas(64) Line {
        std::array<Slot, 8> aSlot{};
    };
    static constexpr std::uint32_t LINE_BITS = 3;
    static constexpr std::uint32_t MIN_BITS = 4;
    static constexpr std::uint32_t MAX_BITS = 32;

    static std::uint32_t tagOf(std::uint64_t hash) { return static_cast<std::uint32_t>(hash >> 32); }
    static std::size_t capacityOf(std::uint32_t bits) { return (std::size_t{3} << bits) / 4; }

    std::size_t home(std::uint32_t tag) const { return ((tag >> (MAX_BITS - numBits)) & ~std::size_t{7}) | (tag & 7U); }
    std::size_t next(std::size_t pos) const { return (pos + 1) & mask(); }
    std::size_t mask() const { return (std::size_t{1} << numBits) - 1; }
    Slot& at(std::size_t pos) { return vLine[pos >> LINE_BITS].aSlot[pos & 7U]; }
    const Slot& at(std::size_t pos) const { return vLine[pos >> LINE_BITS].aSlot[pos & 7U]; }

    void place(Slot slot) {
        std::size_t pos = home(slot.tag);
        while (at(pos).entry != 0)
            pos = next(pos);
        at(pos) = slot;
    }
    void grow(std::uint32_t bits);

    std::vector<Line> vLine;
    std::uint32_t numBits = 0;  ///< 2^numBits slots; 0: no table yet
    std::size_t numUsed = 0;
    std::size_t maxUsed = 0;
};

inline void HashIndex::grow(std::uint32_t bits) {
    ASSEX(bits <= MAX_BITS);
    std::vector<Line> vOld(std::size_t{1} << (bits - LINE_BITS));
    vOld.swap(vLine);
    numBits = bits;
    maxUsed = capacityOf(bits);
    for (const Line& line : vOld)
        for (const Slot& slot : line.aSlot)
            if (slot.entry != 0) place(slot);
}

inline bool HashIndex::erase(std::uint64_t hash, std::uint32_t index) {
    if (numUsed == 0) return false;
    std::size_t gap = home(tagOf(hash));
    while (at(gap).entry != index + 1) {
        if (at(gap).entry == 0) return false;
        gap = next(gap);
    }
    // Close the gap: entries behind it move up, except those that this would put in front of their home slot.
    for (std::size_t pos = next(gap); at(pos).entry != 0; pos = next(pos)) {
        const std::size_t fromHome = (pos - home(at(pos).tag)) & mask();
        if (fromHome < ((pos - gap) & mask())) continue;
        at(gap) = at(pos);
        gap = pos;
    }
    at(gap) = Slot{};
    --numUsed;
    return true;
}

/// Spreads 64 bits over 64 bits; one to one.
inline std::uint64_t mixHash(std::uint64_t key) {
    key ^= key >> 32;
    key *= 0xd6e8feb86659fd93ULL;
    key ^= key >> 32;
    key *= 0xd6e8feb86659fd93ULL;
    return key ^ (key >> 32);
}

/// A hash that keeps the members of a block in one or two cache lines: for keys that are looked up together, such as the
/// cells of a 2x2x2 block. Blocks of more than about a dozen elements make long runs of taken slots.
/// block: what the members share.
/// member: tells them apart; its lowest eight bits are used unchanged.
inline std::uint64_t localHash(std::uint64_t block, std::uint64_t member) {
    constexpr std::uint64_t MEMBER = 0xffULL << 32;
    return (mixHash(block) & ~MEMBER) | ((member << 32) & MEMBER);
}

/// The hash of a place; equal points have the same hash.
inline std::uint64_t placeHash(const Point3& p) {
    std::uint64_t hash = 0;
    // -0.0 equals 0.0; adding 0.0 makes their bits equal too.
    for (const double c : {p.x(), p.y(), p.z()})
        hash = mixHash(hash ^ std::bit_cast<std::uint64_t>(c + 0.0));
    return hash;
}

}  // namespace TARN_KEL
