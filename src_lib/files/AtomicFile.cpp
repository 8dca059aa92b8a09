// Writes a file by way of a temporary one in the same folder.
#include "AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <locale>
#include <optional>
#include <streambuf>
#include <system_error>
#include <thread>
#include <utility>

namespace fs = std::filesystem;

namespace TARN_KEL {

namespace {
/// Where the bytes of a file name end up.
struct Destination {
    fs::path path;         ///< links followed
    bool bReplace = true;  ///< by a temporary neighbour; false: the file is written directly
    bool bExists = false;
    mode_t mode = 0;  ///< of an existing file
};

/// What to do with an existing destination, or an absent one; nothing for a folder.
std::optional<Destination> inspect(const fs::path& path, bool bReplace) {
    Destination dest{path, bReplace, false, 0};
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return errno == ENOENT ? std::optional(dest) : std::nullopt;
    if (S_ISDIR(info.st_mode)) return std::nullopt;
    dest.bExists = true;
    dest.bReplace = bReplace && S_ISREG(info.st_mode);
    dest.mode = info.st_mode & 0777;
    return dest;
}

/// Follows the links of the last component, so that the file is replaced and not the link to it. An entry below /proc means
/// a file that some process has open: replacing the name wouldn't reach that process.
std::optional<Destination> findDestination(const std::string& filename) {
    constexpr int MAX_LINKS = 40;  // as many as the kernel follows
    fs::path path = filename;
    if (!path.has_filename()) return std::nullopt;
    for (int i = 0; i < MAX_LINKS; ++i) {
        std::error_code ec;
        const fs::path folder = fs::canonical(path.has_parent_path() ? path.parent_path() : fs::path("."), ec);
        if (ec) return std::nullopt;
        if (folder.native().rfind("/proc/", 0) == 0) return inspect(path, false);
        path = folder / path.filename();
        if (!fs::is_symlink(fs::symlink_status(path, ec))) return inspect(path, true);
        path = folder / fs::read_symlink(path, ec);
        if (ec) return std::nullopt;
    }
    return std::nullopt;
}

/// A FIFO can be opened when somebody reads it; a reader that is just starting gets a moment. -1 on failure.
int openDirectly(const fs::path& path) {
    constexpr int NUM_TRIES = 200;
    constexpr std::chrono::milliseconds PAUSE(10);
    int fd = -1;
    for (int i = 0; i < NUM_TRIES; ++i) {
        fd = ::open(path.c_str(), O_WRONLY | O_TRUNC | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        if (fd >= 0 || errno != ENXIO) break;
        std::this_thread::sleep_for(PAUSE);
    }
    if (fd >= 0) ::fcntl(fd, F_SETFL, 0);  // writing waits for the reader
    return fd;
}

/// A new file in the folder of the destination, its mode left to the process's mask as for any new file. Its name is short,
/// since that of the destination may be as long as a name can be. -1 on failure.
int openNeighbour(const Destination& dest, fs::path& neighbour) {
    static std::atomic<unsigned> counter{0};
    constexpr int NUM_TRIES = 100;  // a name can be taken by the leftover of a process that was killed
    if (dest.bExists && ::access(dest.path.c_str(), W_OK) != 0) return -1;
    int fd = -1;
    for (int i = 0; i < NUM_TRIES; ++i) {
        const std::string name = ".kel-" + std::to_string(::getpid()) + "-" + std::to_string(counter++) + ".tmp";
        neighbour = dest.path.parent_path() / name;
        fd = ::open(neighbour.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST) break;
    }
    if (fd >= 0 && dest.bExists) ::fchmod(fd, dest.mode);
    return fd;
}
}  // namespace

/// The open file behind its buffer. After the first error it drops all further bytes.
class AtomicFile::Sink final : public std::streambuf {
public:
    explicit Sink(const std::string& filename) {
        setp(buffer.data(), buffer.data() + buffer.size());
        const std::optional<Destination> found = findDestination(filename);
        if (!found) return;
        dest = *found;
        fd = dest.bReplace ? openNeighbour(dest, neighbour) : openDirectly(dest.path);
        bFailed = fd < 0;
    }
    ~Sink() override { discard(); }
    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;

    bool isOpen() const { return fd >= 0; }

    bool commit() {
        if (!isOpen()) return false;
        flushBuffer();
        if (!bFailed && ::close(std::exchange(fd, -1)) != 0) bFailed = true;
        if (!bFailed && dest.bReplace) bFailed = std::rename(neighbour.c_str(), dest.path.c_str()) != 0;
        if (!bFailed) neighbour.clear();
        const bool bOK = !bFailed;
        discard();
        return bOK;
    }

protected:
    int_type overflow(int_type c) override {
        if (!flushBuffer()) return traits_type::eof();
        if (!traits_type::eq_int_type(c, traits_type::eof())) sputc(traits_type::to_char_type(c));
        return traits_type::not_eof(c);
    }
    std::streamsize xsputn(const char* p, std::streamsize num) override {
        if (num > epptr() - pptr()) {
            if (!flushBuffer()) return 0;
            if (num >= epptr() - pptr()) return writeOut(p, num) ? num : 0;
        }
        traits_type::copy(pptr(), p, static_cast<std::size_t>(num));
        pbump(static_cast<int>(num));  // num fits: it is below the size of the buffer
        return num;
    }
    int sync() override { return flushBuffer() ? 0 : -1; }

private:
    bool flushBuffer() {
        const bool bOK = writeOut(pbase(), pptr() - pbase());
        setp(buffer.data(), buffer.data() + buffer.size());
        return bOK;
    }
    bool writeOut(const char* p, std::streamsize num) {
        while (num > 0 && !bFailed) {
            const ssize_t numWritten = ::write(fd, p, static_cast<std::size_t>(num));
            if (numWritten < 0 && errno == EINTR) continue;
            if (numWritten <= 0) {
                bFailed = true;
                break;
            }
            p += numWritten;
            num -= numWritten;
        }
        return !bFailed;
    }
    void discard() {
        if (fd >= 0) ::close(std::exchange(fd, -1));
        if (!neighbour.empty()) ::unlink(std::exchange(neighbour, {}).c_str());
    }

    std::array<char, 1 << 18> buffer;
    Destination dest;
    fs::path neighbour;  ///< the temporary file while there is one
    int fd = -1;
    bool bFailed = true;
};

bool AtomicFile::mayOpen(const std::string& filename) {
    const std::optional<Destination> dest = findDestination(filename);
    if (!dest || (dest->bExists && ::access(dest->path.c_str(), W_OK) != 0)) return false;
    return dest->bReplace ? ::access(dest->path.parent_path().c_str(), W_OK | X_OK) == 0 : dest->bExists;
}

AtomicFile::AtomicFile(const std::string& filename) : pSink(std::make_unique<Sink>(filename)), out(pSink.get()) {
    out.imbue(std::locale::classic());
}

AtomicFile::~AtomicFile() = default;

bool AtomicFile::isOpen() const {
    return pSink->isOpen();
}

void AtomicFile::write(std::string_view bytes) {
    pSink->sputn(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::ostream& AtomicFile::stream() {
    return out;
}

bool AtomicFile::commit() {
    return pSink->commit();
}

}  // namespace TARN_KEL
