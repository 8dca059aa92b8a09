#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace TARN_KEL {

/// A list of pointers that stores its first two inside itself: the triangles on an edge, of which there are rarely more.
///
/// Has the interface of a vector and takes 24 bytes. It doesn't own what the pointers point to. Once it had a third entry it
/// keeps its heap block until it is destroyed, so elements of a pool that contain one must be destroyed explicitly. Neither
/// copied nor moved, since edges never change their address.
template <typename T>
class SmallPtrList {
public:
    using value_type = T*;
    using iterator = T**;
    using const_iterator = T* const*;

    SmallPtrList() = default;
    ~SmallPtrList() {
        if (isOnHeap()) std::free(storage.pHeap);
    }
    SmallPtrList(const SmallPtrList&) = delete;
    SmallPtrList& operator=(const SmallPtrList&) = delete;

    std::size_t size() const { return numUsed; }
    bool empty() const { return numUsed == 0; }
    iterator begin() { return isOnHeap() ? storage.pHeap : storage.aInline; }
    iterator end() { return begin() + numUsed; }
    const_iterator begin() const { return isOnHeap() ? storage.pHeap : storage.aInline; }
    const_iterator end() const { return begin() + numUsed; }
    T*& operator[](std::size_t i) { return begin()[i]; }
    T* operator[](std::size_t i) const { return begin()[i]; }
    T*& front() { return *begin(); }
    T* front() const { return *begin(); }
    T*& back() { return end()[-1]; }
    T* back() const { return end()[-1]; }

    void push_back(T* p) {
        if (numUsed == capacity) grow();
        begin()[numUsed++] = p;
    }
    void pop_back() { --numUsed; }
    void clear() { numUsed = 0; }

    /// Removes the entry of p, of which there is at most one, by moving the last entry into its place. Returns false when
    /// there is none. Cost: O(size), but constant time for the last entry.
    bool removeByLast(const T* p) {
        if (!empty() && back() == p) {
            pop_back();
            return true;
        }
        for (T*& pEntry : *this) {
            if (pEntry != p) continue;
            pEntry = back();
            pop_back();
            return true;
        }
        return false;
    }

private:
    static constexpr std::uint32_t NUM_INLINE = 2;

    bool isOnHeap() const { return capacity > NUM_INLINE; }
    void grow() {
        const std::size_t bytes = std::size_t{2} * capacity * sizeof(T*);
        void* pOld = isOnHeap() ? storage.pHeap : nullptr;
        T** pNew = static_cast<T**>(std::realloc(pOld, bytes));
        if (pNew == nullptr) throw std::bad_alloc();
        if (!isOnHeap()) std::memcpy(pNew, storage.aInline, sizeof storage.aInline);
        storage.pHeap = pNew;
        capacity *= 2;
    }

    union {
        T* aInline[NUM_INLINE] = {nullptr, nullptr};
        T** pHeap;
    } storage;
    std::uint32_t numUsed = 0;
    std::uint32_t capacity = NUM_INLINE;
};

}  // namespace TARN_KEL
