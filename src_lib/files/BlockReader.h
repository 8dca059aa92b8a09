#pragma once

#include <cstddef>
#include <cstring>
#include <istream>
#include <memory>
#include <string_view>

#include "textNumbers.h"

namespace TARN_KEL {

/// Reads a stream in big blocks and shows them through a window: bytes, words and lines in place, without a copy.
///
/// The window [begin(), end()) holds the bytes that are read and not yet consumed. It moves with every call that isn't
/// const, so views and pointers into it are good until the next such call. Memory: one block, more while a caller asks for
/// more at once.
class BlockReader {
public:
    /// The stream must outlive this object. It is ahead of the reader by size().
    explicit BlockReader(std::istream& in);

    const char* begin() const { return pBegin; }
    const char* end() const { return pEnd; }
    std::size_t size() const { return static_cast<std::size_t>(pEnd - pBegin); }

    /// Makes the window hold at least numBytes. False when the stream ends before; the window then holds all that is left.
    bool fill(std::size_t numBytes) { return size() >= numBytes || readMore(numBytes); }
    /// Consumes bytes of the window.
    void skip(std::size_t numBytes) { pBegin += numBytes; }
    /// Consumes bytes within and behind the window; false when the stream ends before.
    bool skipFar(std::size_t numBytes);

    /// The next line without its '\n'; false at the end. A line beyond MAX_TEXT bytes is shown up to there.
    bool nextLine(std::string_view& line);
    /// The next run of characters that aren't white space; empty at the end. Beyond MAX_TEXT bytes it may come in pieces.
    std::string_view nextWord();

    /// Whether the stream ended by an error.
    bool failed() const { return in.bad(); }

    static constexpr std::size_t MAX_TEXT = std::size_t{64} << 20;

private:
    bool readMore(std::size_t numBytes);
    void dropLine();

    std::istream& in;
    std::unique_ptr<char[]> buffer;
    std::size_t capacity;
    char* pBegin;
    char* pEnd;
    bool bInLongLine = false;  ///< the rest of a line that was shown in part is still to be dropped
};

}  // namespace TARN_KEL
