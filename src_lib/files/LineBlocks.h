#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <istream>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "BlockReader.h"
#include "runTasks.h"

namespace TARN_KEL {

/// Reads a text in blocks of whole lines.
///
/// There are two buffers, so that a block can be parsed while the next one is read. Of a line longer than
/// BlockReader::MAX_TEXT bytes only the beginning is returned. Memory: two megabytes per processor, and more for long lines.
class LineBlocks {
public:
    /// in: must outlive this object.
    LineBlocks(std::istream& in, LineEnd lineEnd);
    LineEnd getLineEnd() const { return lineEnd; }

    /// The first bytes of the text, fewer where it is shorter. To be called first, if at all, and once.
    std::string_view firstBytes(std::size_t num);
    /// Leaves out as many of these.
    void skip(std::size_t num) { numReturned = num; }
    /// The next lines with their ends; the last line of the text may have none, and a '\n' may be cut from the '\r' before
    /// it. Empty at the end. What is returned is valid until the call after the next one.
    std::string_view next();
    /// Whether the stream ended by an error.
    bool failed() const { return in.bad(); }

private:
    struct Buffer {
        std::unique_ptr<char[]> bytes;
        std::size_t capacity = 0;
        std::size_t used = 0;
    };
    void reserve(Buffer& buffer, std::size_t capacity) const;
    void fill(Buffer& buffer);
    void dropLongLine(Buffer& buffer);

    std::istream& in;
    const LineEnd lineEnd;
    const std::size_t blockBytes;
    std::array<Buffer, 2> aBuffer;
    std::size_t iCurrent = 0;
    std::size_t numReturned = 0;  // of the current buffer; behind them a line begins
    bool bInLongLine = false;     // the rest of a line that was returned in part is still to be dropped
};

/// Cuts lines into at most that many pieces of whole lines, none of them small.
std::vector<std::string_view> cutAtLineEnds(std::string_view lines, std::size_t numPieces, LineEnd lineEnd);

/// Calls visit(line) for each line, without its end. A '\n' behind a '\r' may count as an empty line.
template <typename Visit>
void forEachLine(std::string_view lines, LineEnd lineEnd, const Visit& visit) {
    for (const char *p = lines.data(), *const end = p + lines.size(); p != end;) {
        const char* const pFound = findLineEnd(p, end, lineEnd);
        visit(std::string_view(p, static_cast<std::size_t>(pFound - p)));
        if (pFound == end) return;
        p = pFound + 1;
        if (*pFound == '\r' && lineEnd == LineEnd::ANY && p != end && *p == '\n') ++p;
    }
}

/// Has all workers parse the lines of a text while the calling thread reads on.
///
/// parse: parse(lines, part) fills the part, which has been cleared, from some whole lines; on any thread.
/// take: take(part) is called for each part in the order of the text, on the calling thread.
/// Returns false when the text can't be read to its end. Cost: O(n).
template <typename Part, typename Parse, typename Take>
bool parseLines_MT(LineBlocks& blocks, const Parse& parse, const Take& take) {
    const auto numPieces = 2 * static_cast<std::size_t>(std::max(numProcessors(), 1));
    std::vector<Part> vPart, vFormer;
    for (std::string_view block = blocks.next(); !block.empty();) {
        const std::vector<std::string_view> vPiece = cutAtLineEnds(block, numPieces, blocks.getLineEnd());
        vPart.resize(vPiece.size());
        const auto makeTask = [&](std::size_t i) {
            return [&parse, piece = vPiece[i], &part = vPart[i]](int) {
                part.clear();
                parse(piece, part);
            };
        };
        std::vector<decltype(makeTask(0))> vTask;
        for (std::size_t i = 0; i < vPiece.size(); ++i)
            vTask.push_back(makeTask(i));
        RunningTasks running(vTask);
        block = blocks.next();
        for (Part& part : vFormer)
            take(part);
        running.finish();
        vPart.swap(vFormer);
    }
    for (Part& part : vFormer)
        take(part);
    return !blocks.failed();
}

}  // namespace TARN_KEL
