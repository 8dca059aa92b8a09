#pragma once

#include <cstddef>
#include <cstring>
#include <istream>
#include <memory>
#include <string_view>

#include "textNumbers.h"

namespace TARN_KEL {

/// What ends a line of a text.
enum class LineEnd {
    LINE_FEED,  ///< '\n' alone; a '\r' before it belongs to the line
    ANY         ///< '\n', '\r', or both
};

/// The first end of a line in [p, end); end when there is none.
const char* findLineEnd(const char* p, const char* end, LineEnd lineEnd);

/// Reads a stream in big blocks and gives access to a window of it: bytes, words and lines in place, without a copy.
///
/// The window [begin(), end()) has the bytes that are read and not yet consumed. It moves with every call that isn't const,
/// so views and pointers into it are valid until the next such call. Memory: one block, and more when a caller needs more at
/// once.
class BlockReader {
public:
    /// in: must outlive this object. Its position is ahead of the reader by size() bytes.
    explicit BlockReader(std::istream& in);

    const char* begin() const { return pBegin; }
    const char* end() const { return pEnd; }
    std::size_t size() const { return static_cast<std::size_t>(pEnd - pBegin); }

    /// Extends the window to at least numBytes. Returns false when the stream ends before; then the window has all that is
    /// left.
    bool fill(std::size_t numBytes) { return size() >= numBytes || readMore(numBytes); }
    /// Consumes bytes of the window.
    void skip(std::size_t numBytes) { pBegin += numBytes; }
    /// Consumes bytes in the window and beyond it. Returns false when the stream ends before.
    bool skipFar(std::size_t numBytes);

    /// Sets line to the next line without its end. Returns false at the end of the stream. Of a line longer than MAX_TEXT
    /// bytes only the beginning is returned.
    bool nextLine(std::string_view& line, LineEnd lineEnd = LineEnd::LINE_FEED);
    /// The next run of characters that aren't white space; empty at the end. A run longer than MAX_TEXT bytes may be
    /// returned in pieces.
    std::string_view nextWord();

    /// Whether the stream ended by an error.
    bool failed() const { return in.bad(); }

    static constexpr std::size_t MAX_TEXT = std::size_t{64} << 20;

private:
    bool readMore(std::size_t numBytes);
    void dropLine(LineEnd lineEnd);

    std::istream& in;
    std::unique_ptr<char[]> buffer;
    std::size_t capacity;
    char* pBegin;
    char* pEnd;
    bool bInLongLine = false;    ///< the rest of a line that was returned in part is still to be dropped
    bool bBehindReturn = false;  ///< a '\n' here belongs to the '\r' that ended the last line
};

}  // namespace TARN_KEL
