#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <string_view>

namespace TARN_KEL {

/// Writes a file so that under its name there is never half of one.
///
/// The bytes go through a big buffer to a temporary file in the folder of the destination; commit() renames it. Without
/// commit(), or after any error, the temporary file is removed and an older file stays as it was. A new file gets the usual
/// mode of new files, a replaced one keeps its mode; a link is followed, never replaced. A destination that can't be
/// replaced (a device such as /dev/stdout or /dev/full, a FIFO, an open file reached through /proc) is written directly.
///
/// Nothing is thrown or printed for an I/O error: it is remembered, and commit() returns false. One thread.
class AtomicFile {
public:
    /// Whether a file of that name could be opened, as far as that can be told without changing anything.
    static bool mayOpen(const std::string& filename);

    /// Opens the file. isOpen() tells whether that worked.
    explicit AtomicFile(const std::string& filename);
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    /// False when the destination can't be written: it is a folder, its folder doesn't exist, there is no permission, or it
    /// is a FIFO that nobody reads.
    bool isOpen() const;
    /// Appends bytes: the fast way, together with appendNumber() of textNumbers.h.
    void write(std::string_view bytes);
    /// The same file as a stream, in the "C" locale whatever the global one is. May be used together with write().
    std::ostream& stream();
    /// Finishes the file and puts it in its place. To be called once; nothing may be written afterwards. Returns false when
    /// anything failed, from opening to a full disk.
    bool commit();

private:
    class Sink;
    std::unique_ptr<Sink> pSink;
    std::ostream out;
};

}  // namespace TARN_KEL
