// Reads a stream in big blocks.
#include "BlockReader.h"

#include <algorithm>
#include <utility>

namespace TARN_KEL {

namespace {
constexpr std::size_t BLOCK = std::size_t{256} << 10;
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

bool BlockReader::nextLine(std::string_view& line) {
    if (std::exchange(bInLongLine, false)) dropLine();
    std::size_t numSearched = 0;
    for (;;) {
        const void* pFound = std::memchr(pBegin + numSearched, '\n', size() - numSearched);
        const std::size_t length =
            pFound != nullptr ? static_cast<std::size_t>(static_cast<const char*>(pFound) - pBegin) : size();
        if (length > MAX_TEXT || (pFound == nullptr && !fill(length + 1))) {
            bInLongLine = length > MAX_TEXT;
            line = {pBegin, std::min(length, MAX_TEXT)};
            skip(line.size());
            return length != 0;
        }
        if (pFound != nullptr) {
            line = {pBegin, length};
            skip(length + 1);
            return true;
        }
        numSearched = length;
    }
}

void BlockReader::dropLine() {
    while (fill(1)) {
        const void* pFound = std::memchr(pBegin, '\n', size());
        if (pFound != nullptr) {
            skip(static_cast<std::size_t>(static_cast<const char*>(pFound) - pBegin) + 1);
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
