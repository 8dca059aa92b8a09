// Reads a text in blocks of whole lines.
#include "LineBlocks.h"

#include <algorithm>
#include <cstring>

namespace TARN_KEL {

namespace {

constexpr std::size_t BLOCK_PER_WORKER = std::size_t{1} << 20;  // fits in the second-level cache
constexpr int MAX_WORKERS = 16;                                 // that get a share of a block of their own
constexpr std::size_t MIN_PIECE = 20000;                        // below, a task costs more than it saves

/// The place behind the last end of a line in [p, end); p when there is none.
const char* behindLastLineEnd(const char* p, const char* end, LineEnd lineEnd) {
    while (end != p && end[-1] != '\n' && (lineEnd == LineEnd::LINE_FEED || end[-1] != '\r'))
        --end;
    return end;
}

}  // namespace

LineBlocks::LineBlocks(std::istream& in_, LineEnd lineEnd_)
    : in(in_),
      lineEnd(lineEnd_),
      blockBytes(BLOCK_PER_WORKER * static_cast<std::size_t>(std::clamp(numProcessors(), 1, MAX_WORKERS))) {}

void LineBlocks::reserve(Buffer& buffer, std::size_t capacity) const {
    if (buffer.capacity >= capacity) return;
    std::unique_ptr<char[]> bytes(new char[capacity]);
    if (buffer.used > 0) std::memcpy(bytes.get(), buffer.bytes.get(), buffer.used);
    buffer.bytes = std::move(bytes);
    buffer.capacity = capacity;
}

std::string_view LineBlocks::firstBytes(std::size_t num) {
    Buffer& buffer = aBuffer[iCurrent];
    reserve(buffer, num);
    fill(buffer);
    return {buffer.bytes.get(), buffer.used};
}

void LineBlocks::fill(Buffer& buffer) {
    if (!in.good()) return;
    in.read(buffer.bytes.get() + buffer.used, static_cast<std::streamsize>(buffer.capacity - buffer.used));
    buffer.used += static_cast<std::size_t>(in.gcount());
}

void LineBlocks::dropLongLine(Buffer& buffer) {
    while (bInLongLine && buffer.used > 0) {
        char* const begin = buffer.bytes.get();
        char* const end = begin + buffer.used;
        const char* const pFound = findLineEnd(begin, end, lineEnd);
        bInLongLine = pFound == end;
        const char* const pKept = bInLongLine ? end : pFound + 1;
        buffer.used = static_cast<std::size_t>(end - pKept);
        std::memmove(begin, pKept, buffer.used);
        fill(buffer);
    }
}

std::string_view LineBlocks::next() {
    const Buffer& former = aBuffer[iCurrent];
    iCurrent = 1 - iCurrent;
    Buffer& buffer = aBuffer[iCurrent];
    const std::size_t numLeft = former.used - numReturned;  // of a line whose end isn't read yet
    buffer.used = 0;
    reserve(buffer, std::min(std::max(blockBytes, 2 * numLeft), BlockReader::MAX_TEXT));
    if (numLeft > 0) std::memcpy(buffer.bytes.get(), former.bytes.get() + numReturned, numLeft);
    buffer.used = numLeft;
    fill(buffer);
    if (bInLongLine) dropLongLine(buffer);
    for (;;) {
        const char* const begin = buffer.bytes.get();
        const char* const end = begin + buffer.used;
        numReturned = static_cast<std::size_t>(behindLastLineEnd(begin, end, lineEnd) - begin);
        if (numReturned > 0) break;
        bInLongLine = buffer.used >= BlockReader::MAX_TEXT;
        if (bInLongLine || !in.good()) {
            numReturned = buffer.used;
            break;
        }
        reserve(buffer, std::min(2 * buffer.capacity, BlockReader::MAX_TEXT));
        fill(buffer);
    }
    return {buffer.bytes.get(), numReturned};
}

std::vector<std::string_view> cutAtLineEnds(std::string_view lines, std::size_t numPieces, LineEnd lineEnd) {
    const std::size_t length = std::max(lines.size() / numPieces + 1, MIN_PIECE);
    std::vector<std::string_view> vPiece;
    while (lines.size() > length) {
        const char* const end = lines.data() + lines.size();
        const char* const pFound = findLineEnd(lines.data() + length - 1, end, lineEnd);
        if (pFound == end) break;
        const auto cut = static_cast<std::size_t>(pFound + 1 - lines.data());
        vPiece.push_back(lines.substr(0, cut));
        lines.remove_prefix(cut);
    }
    if (!lines.empty()) vPiece.push_back(lines);
    return vPiece;
}

}  // namespace TARN_KEL
