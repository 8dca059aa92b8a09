// A folder for temporary files.
#include "TemporaryFolder.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "Failure.h"

namespace fs = std::filesystem;

namespace {

constexpr std::array<int, 3> SIGNALS{SIGINT, SIGTERM, SIGHUP};
constexpr char NO_SIGNAL = 0;

std::atomic<int> pipeEnd{-1};  // where the handler writes
static_assert(std::atomic<int>::is_always_lock_free);

extern "C" void passOn(int signal) {
    const int error = errno;
    const char number = static_cast<char>(signal);
    [[maybe_unused]] const ssize_t none = ::write(pipeEnd, &number, 1);
    errno = error;
}

/// Gives signals another action where they have this one: what the user has ignored, as nohup does, stays so.
void replaceAction(void (*from)(int), void (*to)(int)) {
    for (const int signal : SIGNALS) {
        struct sigaction action {};
        if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler != from) continue;
        action.sa_handler = to;
        action.sa_flags = SA_RESTART;
        ::sigaction(signal, &action, nullptr);
    }
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
    std::string name = (fs::temp_directory_path() / "kel-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw Failure("Can't make a temporary folder " + name);
    folder = name;
    if (::pipe2(aPipe.data(), O_CLOEXEC) != 0) {
        remove();
        throw Failure("There are too many open files");
    }
    pipeEnd = aPipe[1];
    watcher = std::thread([this] { waitForSignal(); });
    replaceAction(SIG_DFL, passOn);
}

TemporaryFolder::~TemporaryFolder() {
    remove();  // first, as a signal may come until the end
    replaceAction(passOn, SIG_DFL);
    [[maybe_unused]] const ssize_t none = ::write(aPipe[1], &NO_SIGNAL, 1);
    watcher.join();
    for (const int end : aPipe)
        ::close(end);
}

void TemporaryFolder::waitForSignal() const {
    char number = NO_SIGNAL;
    while (::read(aPipe[0], &number, 1) < 0 && errno == EINTR) {
    }
    if (number == NO_SIGNAL) return;
    remove();
    std::signal(number, SIG_DFL);
    std::raise(number);
}

void TemporaryFolder::remove() const {
    std::error_code ignored;
    fs::remove_all(folder, ignored);
}
