#pragma once

#include <pthread.h>

#include <map>
#include <mutex>

namespace TARN_KEL {

/// One object of type T for each thread, created at the thread's first call.
///
/// The objects exist until the process ends, so that a pointer to one never dangles. The system may give the id of an ended
/// thread to a later one, which then gets the object of the earlier thread. So when a thread ends, `T::onThreadEnd()` is
/// called, which must bring the object back to its initial state.
template <typename T>
class ThreadSingleton {
public:
    /// The calling thread's object, owned here. Costs a short lock and a look-up: in a loop, keep the pointer.
    static T* getInstance() {
        T* pObject = nullptr;
        {
            const std::lock_guard<std::mutex> lock(mtx);
            T*& slot = m[pthread_self()];
            if (slot == nullptr) slot = new T();
            pObject = slot;
        }
        farewell.pObject = pObject;
        return pObject;
    }

    static inline std::mutex mtx;  ///< guards m
    /// Thread id to object. Never destroyed, for threads that outlive the static objects.
    static inline std::map<pthread_t, T*>& m = *new std::map<pthread_t, T*>();

private:
    struct Farewell {
        T* pObject = nullptr;  // in m, not owned
        ~Farewell() {
            if (pObject != nullptr) pObject->onThreadEnd();
        }
    };
    static inline thread_local Farewell farewell;
};

}  // namespace TARN_KEL
