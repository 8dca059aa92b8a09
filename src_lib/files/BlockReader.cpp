// Reads a stream in big blocks.
#include "BlockReader.h"

#include <algorithm>
#include <utility>

namespace TARN_KEL {

namespace {
constexpr std::size_t BLOCK = std::size_t{256} << 10;
}

const char* findLineEnd(const char* p, const char* end, LineEnd lineEnd) {
    const auto find = [](const char* pFrom, char c, std::size_t length) {
        return static_cast<const char*>(std::memchr(pFrom, c, length));
    };
    if (lineEnd == LineEnd::LINE_FEED) {
        const char* const pFound = find(p, '\n', static_cast<std::size_t>(end - p));
        return pFound != nullptr ? pFound : end;
    }
    constexpr std::size_t PIECE = 128;  // so that a text without one of the two isn't searched for it again and again
    while (p != end) {
        const std::size_t length = std::min(PIECE, static_cast<std::size_t>(end - p));
        const char* const pFeed = find(p, '\n', length);
        const char* const pReturn = find(p, '\r', pFeed != nullptr ? static_cast<std::size_t>(pFeed - p) : length);
        if (pReturn != nullptr || pFeed != nullptr) return pReturn != nullptr ? pReturn : pFeed;
        p += length;
    }
    return end;
}

BlockReader::BlockReader(std::istream& in_)
    : in(in_), buffer(new char[BLOCK]), capacity(BLOCK), pBegin(buffer.get()), pEnd(buffer.get()) {}

bool BlockReader::readMore(std::size_t numBytes) {
    const std::size_t numKept = size();
    if (numBytes > capacity) {
        const std::size_t bigger = std::max(numBytes, 2 * capacity);
        std::unique_ptr<char[]> pBigger(new char[bigger]);
        capacity = bigger;
        std::memcpy(pBigger.get(), pBegin, numKept);
        buffer = std::move(pBigger);
    } else {
        std::memmove(buffer.get(), pBegin, numKept);
    }
    pBegin = buffer.get();
    pEnd = pBegin + numKept;
    if (!in.good()) return false;
    in.read(pEnd, static_cast<std::streamsize>(capacity - numKept));
    pEnd += in.gcount();
    return size() >= numBytes;
}

bool BlockReader::skipFar(std::size_t numBytes) {
    while (numBytes > size()) {
        numBytes -= size();
        skip(size());
        if (!fill(1)) return false;
    }
    skip(numBytes);
    return true;
}

bool BlockReader::nextLine(std::string_view& line, LineEnd lineEnd) {
    if (std::exchange(bInLongLine, false)) dropLine(lineEnd);
    if (std::exchange(bBehindReturn, false) && fill(1) && *pBegin == '\n') skip(1);
    std::size_t numSearched = 0;
    for (;;) {
        const char* const pFound = findLineEnd(pBegin + numSearched, pEnd, lineEnd);
        const bool bFound = pFound != pEnd;
        const auto length = static_cast<std::size_t>(pFound - pBegin);
        if (length > MAX_TEXT || (!bFound && !fill(length + 1))) {
            bInLongLine = length > MAX_TEXT;
            line = {pBegin, std::min(length, MAX_TEXT)};
            skip(line.size());
            return length != 0;
        }
        if (bFound) {
            line = {pBegin, length};
            bBehindReturn = *pFound == '\r';
            skip(length + 1);
            return true;
        }
        numSearched = length;
    }
}

void BlockReader::dropLine(LineEnd lineEnd) {
    while (fill(1)) {
        const char* const pFound = findLineEnd(pBegin, pEnd, lineEnd);
        if (pFound != pEnd) {
            bBehindReturn = *pFound == '\r';
            skip(static_cast<std::size_t>(pFound - pBegin) + 1);
            return;
        }
        skip(size());
    }
}

std::string_view BlockReader::nextWord() {
    do {
        pBegin += skipSpace(pBegin, pEnd) - pBegin;
    } while (pBegin == pEnd && fill(1));
    std::size_t length = 0;
    for (;;) {
        while (length < size() && !isSpace(pBegin[length]))
            ++length;
        if (length < size() || length >= MAX_TEXT || !fill(length + 1)) break;
    }
    const std::string_view word(pBegin, length);
    skip(length);
    return word;
}

}  // namespace TARN_KEL
