#pragma once

#include <cstdint>
#include <istream>
#include <memory>
#include <optional>
#include <string>

namespace TARN_KEL {

/// A file opened for reading that can't block its reader or give endless data; only a writer that keeps a FIFO open can.
///
/// Folders aren't opened. A FIFO is read like a file; one that nobody writes to counts as empty after two seconds. A device
/// that isn't at its end after 256 MB, such as /dev/zero, is a read error: stream().bad() is then set, as for a failing
/// disk. One thread.
class InputFile {
public:
    /// Opens the file. isOpen() tells whether that worked.
    explicit InputFile(const std::string& filename);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    bool isOpen() const;
    /// The length of a regular file in bytes; empty for other files.
    std::optional<std::uint64_t> size() const;
    /// The stream to read from. Big reads bypass its buffer. Only a regular file allows seeking.
    std::istream& stream();

private:
    class Source;
    std::unique_ptr<Source> pSource;
    std::istream in;
};

}  // namespace TARN_KEL
