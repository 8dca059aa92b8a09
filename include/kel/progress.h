// Listening to the progress of runs, and cancelling them.
#pragma once

#include <string>

namespace TARN_KEL {

/// Listens to the progress of runs. Derive from it and pass an object to subscribe().
class ProgressBase {
public:
    virtual ~ProgressBase() = default;

    /// Called some 30 to 200 times in a run, on the thread of the run; runs with options call it again with the same
    /// fraction, twenty times a second, while their workers are busy, and a worker may send a message meanwhile.
    ///
    /// Return quickly and don't call the library from here. To cancel the run, throw: the exception ends the run, frees its
    /// memory and reaches the caller of the run.
    ///
    /// @param name      the kind of run, such as "Reconstruct"
    /// @param fraction  how much is done, from 0.0 to 1.0
    virtual void update(const std::string& name, double fraction) = 0;
};

/// Sets the listener of the calling thread for all its later runs.
///
/// @param pProgress  remains the caller's and must live until unsubscribe() or the end of the thread; null changes nothing
void subscribe(ProgressBase* pProgress);

/// Removes the listener of the calling thread.
void unsubscribe();

}  // namespace TARN_KEL
