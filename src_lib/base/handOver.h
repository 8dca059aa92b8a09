#pragma once

#include <memory>
#include <vector>

namespace TARN_KEL {

/// Appends an object to a vector whose owner deletes its elements. When the vector can't grow, the object is deleted.
/// Returns the object.
template <typename T>
T* handOver(std::unique_ptr<T> pOwned, std::vector<T*>& vOwner) {
    vOwner.push_back(pOwned.get());
    return pOwned.release();
}

/// Deletes the objects in such a vector, the last one first, and empties it.
template <typename T>
void deleteAll(std::vector<T*>& vOwner) {
    while (!vOwner.empty()) {
        delete vOwner.back();
        vOwner.pop_back();
    }
}

}  // namespace TARN_KEL
