// A folder for temporary files.
#pragma once

#include <array>
#include <string>
#include <thread>

/// Exists as long as the object, and is removed with all that is in it: in the end, and when a signal ends the program
/// (SIGINT, SIGTERM or SIGHUP, if they weren't ignored or taken before). One at a time.
///
/// A signal handler may do next to nothing, so it only wakes a thread, which removes the folder and ends the program by the
/// same signal.
class TemporaryFolder {
public:
    /// Makes the folder where the system has its temporary files. Throws Failure when it can't.
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return folder; }

private:
    void waitForSignal() const;
    void remove() const;

    std::string folder;
    std::array<int, 2> aPipe{};  // file descriptors; the bytes in it are numbers of signals, 0 for the end
    std::thread watcher;
};
