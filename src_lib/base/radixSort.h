// Stable sorting by a 64-bit code, digit by digit from the lowest.
//
// Each pass moves all elements to the positions of their digit and keeps the order within a digit, so after the pass of the
// highest digit all are in order. Codes of a run agree in many bits (the grid fills only a part of its range). So a first
// look at all codes finds the bits that vary, and a digit begins at a bit that varies: thirty varying bits in a row take
// four passes.
//
// A pass runs on several threads: each counts the digits of its own part of the source; the counts of all parts, digit by
// digit and part by part, give each part its own positions; then each thread moves its part there. The result of a stable
// sort doesn't depend on how the source was cut. During the call it needs a buffer of the size of the input.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "runTasks.h"

namespace TARN_KEL {

/// Whether the number type has a 64-bit code with the same order.
template <typename Key>
constexpr bool isRadixKey = std::is_arithmetic_v<Key> && sizeof(Key) <= sizeof(std::uint64_t);

/// The code of a number: a < b exactly when code(a) < code(b). The two zeros of a floating point number have the same code.
template <typename Key>
std::uint64_t radixCode(Key key) {
    constexpr std::uint64_t SIGN = std::uint64_t{1} << 63;
    if constexpr (std::is_floating_point_v<Key>) {
        const auto bits = std::bit_cast<std::uint64_t>(static_cast<double>(key) + 0.0);
        return (bits & SIGN) != 0 ? ~bits : bits | SIGN;
    } else if constexpr (std::is_signed_v<Key>) {
        return static_cast<std::uint64_t>(static_cast<std::int64_t>(key)) ^ SIGN;
    } else {
        return key;
    }
}

/// The number that has that code.
inline double doubleOfRadixCode(std::uint64_t code) {
    constexpr std::uint64_t SIGN = std::uint64_t{1} << 63;
    return std::bit_cast<double>((code & SIGN) != 0 ? code & ~SIGN : ~code);
}

/// The sort behind the functions below; codeOf(element) gives the code.
template <typename Element, typename CodeOf>
class RadixSorter {
    static_assert(std::is_trivially_copy_constructible_v<Element> && std::is_trivially_destructible_v<Element> &&
                  alignof(Element) <= alignof(std::max_align_t));

public:
    RadixSorter(Element* pElements, std::size_t numElements, CodeOf codeOf_, int numThreads)
        : pFirst(pElements), n(numElements), codeOf(codeOf_) {
        const std::size_t numParts =
            std::clamp<std::size_t>(n / MIN_PART, 1, static_cast<std::size_t>(std::max(numThreads, 1)));
        for (std::size_t i = 0; i < numParts; ++i)
            vPart.push_back({n / numParts * i, n / numParts * (i + 1), 0, {}});
        vPart.back().end = n;
    }

    void run() {
        if (n < MIN_RADIX) {
            std::stable_sort(pFirst, pFirst + n,
                             [this](const Element& a, const Element& b) { return codeOf(a) < codeOf(b); });
            return;
        }
        std::uint64_t bitsLeft = varyingBits();
        if (bitsLeft == 0) return;
        // Raw: passes construct in place. Elements may be pointers. NOLINTNEXTLINE(bugprone-sizeof-expression)
        const std::unique_ptr<std::byte[]> buffer(new std::byte[n * sizeof(Element)]);
        Element* pSource = pFirst;
        Element* pTarget = reinterpret_cast<Element*>(buffer.get());
        while (bitsLeft != 0) {
            shift = std::countr_zero(bitsLeft);
            bitsLeft &= ~(DIGIT_MASK << shift);
            distribute(pSource, pTarget);
            std::swap(pSource, pTarget);
        }
        if (pSource != pFirst) copyBack(pSource);
    }

private:
    static constexpr int DIGIT_BITS = 9;  // the 512 positions of a pass fit in the first-level cache
    static constexpr std::size_t NUM_DIGITS = std::size_t{1} << DIGIT_BITS;
    static constexpr std::uint64_t DIGIT_MASK = NUM_DIGITS - 1;
    static constexpr std::size_t MIN_RADIX = 1500;  // below, counting costs more than comparing
    static constexpr std::size_t MIN_PART = 30000;  // below, a task costs more than it saves

    struct Part {
        std::size_t begin, end;
        std::uint64_t varying;           // the bits in which its codes differ from the very first code
        std::vector<std::size_t> vNext;  // by digit: the count, then the next position in the target
    };

    std::size_t digitOf(const Element& element) const { return (codeOf(element) >> shift) & DIGIT_MASK; }

    template <typename Func>
    void forParts(const Func& func) {
        std::vector<decltype(makeTask(vPart.front(), func))> vTask;
        for (Part& part : vPart)
            vTask.push_back(makeTask(part, func));
        if (vTask.size() == 1)
            vTask.front()(0);
        else
            runTasks_MT(vTask);
    }
    template <typename Func>
    static auto makeTask(Part& part, const Func& func) {
        return [&part, &func](int) { func(part); };
    }

    std::uint64_t varyingBits() {
        forParts([this](Part& part) {
            const std::uint64_t code = codeOf(*pFirst);
            std::uint64_t varying = 0;
            for (std::size_t i = part.begin; i < part.end; ++i)
                varying |= codeOf(pFirst[i]) ^ code;
            part.varying = varying;
        });
        std::uint64_t varying = 0;
        for (const Part& part : vPart)
            varying |= part.varying;
        return varying;
    }

    void distribute(const Element* pSource, Element* pTarget) {
        forParts([this, pSource](Part& part) {
            part.vNext.assign(NUM_DIGITS, 0);
            for (std::size_t i = part.begin; i < part.end; ++i)
                ++part.vNext[digitOf(pSource[i])];
        });
        std::size_t next = 0;
        for (std::size_t digit = 0; digit < NUM_DIGITS; ++digit)
            for (Part& part : vPart)
                next += std::exchange(part.vNext[digit], next);
        forParts([this, pSource, pTarget](Part& part) {
            std::size_t* pNext = part.vNext.data();
            for (std::size_t i = part.begin; i < part.end; ++i)
                std::construct_at(pTarget + pNext[digitOf(pSource[i])]++, pSource[i]);
        });
    }

    void copyBack(const Element* pSource) {
        forParts([this, pSource](Part& part) {
            std::uninitialized_copy(pSource + part.begin, pSource + part.end, pFirst + part.begin);
        });
    }

    Element* pFirst;  // the caller's
    std::size_t n;
    CodeOf codeOf;
    int shift = 0;  // of the current digit
    std::vector<Part> vPart;
};

/// Sorts n elements by codeOf(element), a 64-bit code, cut into parts for that many threads. Stable.
template <typename Element, typename CodeOf>
void radixSortOnThreads(Element* pElements, std::size_t n, CodeOf codeOf, int numThreads) {
    RadixSorter<Element, CodeOf>(pElements, n, codeOf, numThreads).run();
}

/// Sorts pairs by their first members alone, a code or another number. Stable. O(n), with n elements of memory.
template <typename First, typename Second>
void radixSortByCode(std::vector<std::pair<First, Second>>& v) {
    radixSortOnThreads(
        v.data(), v.size(), [](const std::pair<First, Second>& pair) { return radixCode(pair.first); }, numProcessors());
}

/// Sorts numbers, such as codes. Cost: O(n), with n elements of memory.
template <typename Key>
void radixSort(std::vector<Key>& v) {
    radixSortOnThreads(
        v.data(), v.size(), [](Key key) { return radixCode(key); }, numProcessors());
}

}  // namespace TARN_KEL
