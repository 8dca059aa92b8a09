#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <vector>

#include "AddressRange.h"
#include "messages.h"

namespace TARN_TOOLS {

/// Hands out elements of one type and frees none before the end: an element costs an increment, and its pointer stays valid
/// until the pool is destroyed.
///
/// Addresses ascend with creation, across blocks too: the blocks follow each other directly in one range of address space.
/// So the order by address is the order of creation in every run, and an element has a position (indexOf), by which data
/// about it can be kept in a plain vector.
///
/// The pool gives raw storage: it constructs and destroys nothing. The caller sets every field, and destroys elements that
/// own memory before the pool is destroyed. A pool isn't copied and belongs to one thread at a time. When memory runs out,
/// it prints a line and the process ends with exit status 1.
template <typename T>
class SimplePool {
public:
    SimplePool() = default;
    ~SimplePool();
    SimplePool(const SimplePool&) = delete;
    SimplePool& operator=(const SimplePool&) = delete;

    /// Opens the first block. To be called once; a second call ends the process with exit status 1.
    /// firstNum: the number of its elements, 0 or more; negative: 256.
    /// growNum: the number of elements of later blocks; with -1 or 0 it is computed from the blocks so far, see alloc().
    void init(int firstNum, int growNum);
    /// Opens a block of n elements; what is left of the newest block stays unused. Only a computed size is limited.
    /// n: negative: half the size of the first block (all of it if half is 0) for the second one, twice that of the last
    /// block for later ones; at least 1 and at most maxSize.
    void alloc(int n);
    /// The next free element, uninitialised. Amortised constant time.
    T* nextElement() {
        if (++index < blockSize) return current + index;
        alloc(growSize);
        return current + ++index;
    }

    /// Hands out n elements at once, at n positions in a row. Returns the position of the first one.
    std::size_t nextElements(std::size_t n) {
        if (n == 0) return size();
        const std::size_t first = indexOf(nextElement());
        for (std::size_t i = 1; i < n; ++i)
            nextElement();
        return first;
    }
    /// The number of positions in use: all elements handed out, and those that alloc() left unused before them.
    std::size_t size() const { return numBefore + static_cast<std::size_t>(index + 1); }
    /// The position of an element of this pool, 0 to size() - 1, ascending with address and creation.
    std::size_t indexOf(const T* p) const { return static_cast<std::size_t>(p - first()); }
    /// The element at a position below size().
    T* at(std::size_t position) const { return first() + position; }
    /// True when p is an element that this pool handed out.
    bool owns(const T* p) const { return !std::less<const T*>()(p, first()) && std::less<const T*>()(p, first() + size()); }
    /// The number of elements of each block, in order.
    const std::vector<int>& getSizes() const { return sizes; }

    /// The limit of a computed block size, in elements: 100 million bytes.
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
    int index = -1;          // the last element handed out from it
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
    const long long last = sizes.back();  // twice that may not fit in an int
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
