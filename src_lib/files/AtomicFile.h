#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <string_view>

namespace TARN_KEL {

/// Writes a file so that its name never stands for half of one.
///
/// The bytes go through a big buffer to a temporary neighbour in the folder of the destination; commit() renames it. Without
/// commit(), or after any error, the neighbour is removed and an older file stays as it was. A new file gets the mode that
/// any new file gets, a replaced one keeps its mode; a link is followed, never replaced. What can't be replaced (a device
/// such as /dev/stdout or /dev/full, a FIFO, an open file reached through /proc) is written directly.
///
/// Nothing is thrown or printed for an I/O error: it is remembered, and commit() tells it. One thread.
class AtomicFile {
public:
    /// Whether a file of that name could be opened, as far as that can be told without touching anything.
    static bool mayOpen(const std::string& filename);

    /// Opens. Look at isOpen().
    explicit AtomicFile(const std::string& filename);
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    /// False when the destination can't be written: a folder, no such folder, no permission, a FIFO that nobody reads.
    bool isOpen() const;
    /// Appends bytes: the fast way, together with appendNumber() of textNumbers.h.
    void write(std::string_view bytes);
    /// The same file as a stream, in the "C" locale whatever the global one is. May be mixed with write().
    std::ostream& stream();
    /// Ends the file and puts it in its place; call it once, nothing may be written afterwards. False when anything failed,
    /// from opening to a full disk.
    bool commit();

private:
    class Sink;
    std::unique_ptr<Sink> pSink;
    std::ostream out;
};

}  // namespace TARN_KEL
