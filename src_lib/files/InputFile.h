#pragma once

#include <cstdint>
#include <istream>
#include <memory>
#include <optional>
#include <string>

namespace TARN_KEL {

/// A file opened for reading that, but for a writer that holds a FIFO open, can't hang or flood its reader.
///
/// Folders aren't opened. A FIFO is read like a file; one that nobody writes to is empty after two seconds. A device that
/// isn't at its end after 256 MB, such as /dev/zero, counts as a read error: stream().bad() is then set, as it is when the
/// disk fails. One thread.
class InputFile {
public:
    /// Opens. Look at isOpen().
    explicit InputFile(const std::string& filename);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    bool isOpen() const;
    /// The length in bytes of a regular file; nothing for what has no length.
    std::optional<std::uint64_t> size() const;
    /// Big reads go past the stream's buffer. Only a regular file can be sought in.
    std::istream& stream();

private:
    class Source;
    std::unique_ptr<Source> pSource;
    std::istream in;
};

}  // namespace TARN_KEL
