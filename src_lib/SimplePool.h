#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <vector>

#include "AddressRange.h"
#include "messages.h"

namespace TARN_TOOLS {

/// Hands out elements of one type and never frees a single one: an element costs an increment, and its pointer stays valid
/// until the pool ends.
///
/// Addresses ascend with creation, across blocks too: the blocks lie one directly behind the other in one range of address
/// space. So an order by address is the order of making in every run, and an element has a position (indexOf) under which
/// data about it can stand in a plain vector.
///
/// The pool gives raw storage: it constructs and destroys nothing. The taker sets every field, and an element that owns
/// memory is destroyed by its owner before the pool ends. A pool isn't copied and belongs to one thread at a time. When
/// memory runs out, a line is printed and the process ends with exit status 1.
template <typename T>
class SimplePool {
public:
    SimplePool() = default;
    ~SimplePool();
    SimplePool(const SimplePool&) = delete;
    SimplePool& operator=(const SimplePool&) = delete;

    /// Opens a first block of that many elements; 0 is a size too. Later blocks have growNum elements, or with -1 or 0 a
    /// size from the blocks so far, see alloc(). Called once; a second call ends the process with exit status 1.
    void init(int firstNum, int growNum);
    /// Opens a block of n elements; what is left of the newest block stays unused. A negative n stands for half of the first
    /// block (all of it when that is 0), later for twice the last block, at least 1 and at most maxSize; a given size isn't
    /// limited.
    void alloc(int n);
    /// The next free element, uninitialised. Amortised constant time.
    T* nextElement() {
        if (++index < blockSize) return current + index;
        alloc(growSize);
        return current + ++index;
    }

    /// The number of positions given away: all elements handed out, and what alloc() left unused before them.
    std::size_t size() const { return numBefore + static_cast<std::size_t>(index + 1); }
    /// The position of an element of this pool, 0 to size() - 1, ascending with address and creation.
    std::size_t indexOf(const T* p) const { return static_cast<std::size_t>(p - first()); }
    /// The element at a position below size().
    T* at(std::size_t position) const { return first() + position; }
    /// True when p is an element that this pool handed out.
    bool owns(const T* p) const { return !std::less<const T*>()(p, first()) && std::less<const T*>()(p, first() + size()); }
    /// The number of elements of each block, in order.
    const std::vector<int>& getSizes() const { return sizes; }

    /// The limit of a computed block size: 100 million bytes.
    static constexpr int maxSize = static_cast<int>(100000000 / sizeof(T));

private:
    static constexpr std::size_t MAX_SILENT_BLOCKS = 50;

    int computedSize() const;
    T* first() const { return reinterpret_cast<T*>(range.begin()); }
    [[noreturn]] static void fail(const char* text) {
        TARN_KEL::out() << text << std::endl;
        std::exit(1);
    }

    AddressRange range;      // all blocks
    std::vector<int> sizes;  // of the blocks
    T* current = nullptr;    // the newest block
    int index = -1;          // the last element handed out of it
    int blockSize = 0;       // of the newest block
    int firstSize = 256;
    int growSize = -1;
    bool initialised = false;
    std::size_t numBefore = 0;  // the position of current[0]
};

template <typename T>
SimplePool<T>::~SimplePool() {
    if (sizes.size() > MAX_SILENT_BLOCKS)
        TARN_KEL::out() << "SimplePool::~SimplePool: Number of containers to release: " << sizes.size() << std::endl;
}

template <typename T>
void SimplePool<T>::init(int firstNum, int growNum) {
    if (initialised) fail("SimplePool::init(..), ERROR: This pool is already initialized");
    if (firstNum >= 0) firstSize = firstNum;
    growSize = growNum == 0 ? -1 : growNum;
    alloc(firstSize);
    initialised = true;
}

template <typename T>
int SimplePool<T>::computedSize() const {
    if (sizes.empty()) return firstSize;
    const long long last = sizes.back();  // twice of it may not fit in an int
    const long long half = last / 2 == 0 ? last : last / 2;
    return static_cast<int>(std::clamp<long long>(sizes.size() == 1 ? half : 2 * last, 1, std::max(maxSize, 1)));
}

template <typename T>
void SimplePool<T>::alloc(int n) {
    if (n < 0) n = computedSize();
    if (!sizes.empty()) numBefore += static_cast<std::size_t>(blockSize);
    if (!range.open((numBefore + static_cast<std::size_t>(n)) * sizeof(T)))
        fail("SimplePool::alloc(..), ERROR: Out of memory, sorry");
    sizes.push_back(n);
    current = first() + numBefore;
    index = -1;
    blockSize = n;
}

}  // namespace TARN_TOOLS
