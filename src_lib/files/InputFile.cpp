// Opens regular files, FIFOs and devices for reading, with limits that keep the reader from waiting forever.
#include "InputFile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <streambuf>
#include <system_error>
#include <thread>

namespace TARN_KEL {

/// The open file behind a small buffer for single characters. It throws std::system_error, which std::istream turns into
/// bad().
class InputFile::Source final : public std::streambuf {
public:
    explicit Source(const std::string& filename)
        : fd(::open(filename.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
        if (fd < 0) return;
        if (::fstat(fd, &info) == 0 && !S_ISDIR(info.st_mode)) return;
        ::close(fd);
        fd = -1;
    }
    ~Source() override {
        if (fd >= 0) ::close(fd);
    }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    bool isOpen() const { return fd >= 0; }
    bool isRegular() const { return isOpen() && S_ISREG(info.st_mode); }
    std::uint64_t size() const { return static_cast<std::uint64_t>(info.st_size); }

protected:
    int_type underflow() override {
        if (gptr() == egptr()) {
            const std::size_t num = readSome(buffer.data(), buffer.size());
            setg(buffer.data(), buffer.data(), buffer.data() + num);
            if (num == 0) return traits_type::eof();
        }
        return traits_type::to_int_type(*gptr());
    }
    std::streamsize xsgetn(char* p, std::streamsize num) override {
        std::streamsize numDone = std::min(num, egptr() - gptr());
        traits_type::copy(p, gptr(), static_cast<std::size_t>(numDone));
        setg(eback(), gptr() + numDone, egptr());
        while (numDone < num) {
            const std::size_t numRead = readSome(p + numDone, static_cast<std::size_t>(num - numDone));
            if (numRead == 0) break;
            numDone += static_cast<std::streamsize>(numRead);
        }
        return numDone;
    }
    pos_type seekoff(off_type offset, std::ios_base::seekdir dir, std::ios_base::openmode) override {
        if (!isRegular()) return {off_type(-1)};
        const off_type ahead = egptr() - gptr();  // by so many bytes the file position is ahead of the stream's
        if (dir == std::ios_base::cur && offset == 0) return ::lseek(fd, 0, SEEK_CUR) - ahead;
        if (dir == std::ios_base::cur) offset -= ahead;
        const int whence = dir == std::ios_base::beg ? SEEK_SET : dir == std::ios_base::end ? SEEK_END : SEEK_CUR;
        setg(buffer.data(), buffer.data(), buffer.data());
        return ::lseek(fd, offset, whence);
    }
    pos_type seekpos(pos_type pos, std::ios_base::openmode mode) override {
        return seekoff(off_type(pos), std::ios_base::beg, mode);
    }

private:
    /// At least one byte; none at the end.
    std::size_t readSome(char* p, std::size_t num) {
        for (;;) {
            const ssize_t numRead = ::read(fd, p, num);
            if (numRead > 0) {
                count(static_cast<std::size_t>(numRead));
                return static_cast<std::size_t>(numRead);
            }
            if (numRead == 0 && !waitForWriter()) return 0;
            if (numRead < 0) waitForBytes();
        }
    }
    void count(std::size_t num) {
        constexpr std::uint64_t MAX_FROM_DEVICE = 256U << 20;
        bSeenWriter = true;
        numFromDevice += S_ISCHR(info.st_mode) || S_ISBLK(info.st_mode) ? num : 0;
        if (numFromDevice > MAX_FROM_DEVICE) throw std::system_error(EFBIG, std::generic_category());
    }
    /// A FIFO without writer reads as if at its end. Gives a writer that is just starting a moment.
    bool waitForWriter() {
        constexpr std::chrono::milliseconds PAUSE(10);
        if (!S_ISFIFO(info.st_mode) || bSeenWriter || numWaits >= 200) return false;
        ++numWaits;
        std::this_thread::sleep_for(PAUSE);
        return true;
    }
    void waitForBytes() {
        if (errno == EINTR) return;
        if (errno != EAGAIN) throw std::system_error(errno, std::generic_category());
        bSeenWriter = true;
        pollfd request{fd, POLLIN, 0};
        ::poll(&request, 1, -1);
    }

    std::array<char, 1 << 14> buffer;
    struct stat info {};
    int fd;
    int numWaits = 0;
    bool bSeenWriter = false;
    std::uint64_t numFromDevice = 0;
};

InputFile::InputFile(const std::string& filename) : pSource(std::make_unique<Source>(filename)), in(pSource.get()) {
    if (!pSource->isOpen()) in.setstate(std::ios_base::failbit);
}

InputFile::~InputFile() = default;

bool InputFile::isOpen() const {
    return pSource->isOpen();
}

std::optional<std::uint64_t> InputFile::size() const {
    if (!pSource->isRegular()) return std::nullopt;
    return pSource->size();
}

std::istream& InputFile::stream() {
    return in;
}

}  // namespace TARN_KEL
