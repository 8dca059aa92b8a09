#include "messages.h"

#include <iostream>
#include <memory>
#include <mutex>
#include <streambuf>
#include <string>
#include <utility>

namespace TARN_KEL {

class MessageChannel {
public:
    explicit MessageChannel(MessageSink theSink) : sink(std::move(theSink)) {}

    void tell(MessageKind kind, std::string_view text) {
        const std::lock_guard<std::mutex> lock(mutex);
        try {
            sink(kind, text);
        } catch (...) {  // a text must not change what becomes of the run
        }
    }
    MessageSink& getSink() { return sink; }

private:
    MessageSink sink;
    std::mutex mutex;
};

namespace {

// Standard output is shared by all threads, and a caller may have put a buffer of its own, which no lock guards, behind it.
std::mutex standardMutex;

thread_local std::unique_ptr<MessageChannel> pOwnChannel;  // of this thread's runs
thread_local MessageChannel* pChannel = nullptr;           // that one, or on a worker that of the task's run

// What stands behind out() and err() of a thread.
class LineBuffer : public std::streambuf {
public:
    LineBuffer(MessageKind theKind, std::ostream& theStandard) : kind(theKind), standard(theStandard) {}

    /// Passes on the part of a line that waits for its end.
    void release() {
        if (line.empty()) return;
        const std::string part = std::exchange(line, {});
        if (pChannel != nullptr) pChannel->tell(kind, part);
    }

protected:
    int_type overflow(int_type c) override {
        if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
        const char letter = traits_type::to_char_type(c);
        xsputn(&letter, 1);
        return c;
    }
    std::streamsize xsputn(const char* pText, std::streamsize count) override {
        const std::string_view text(pText, static_cast<std::size_t>(count));
        if (pChannel == nullptr) {
            const std::lock_guard<std::mutex> lock(standardMutex);
            standard.write(pText, count);
            return count;
        }
        line += text;
        if (text.find('\n') == std::string_view::npos) return count;
        const std::size_t end = line.rfind('\n') + 1;
        const std::string whole = line.substr(0, end);
        line.erase(0, end);
        pChannel->tell(kind, whole);
        return count;
    }
    int sync() override {
        if (pChannel != nullptr) {
            release();
        } else {
            const std::lock_guard<std::mutex> lock(standardMutex);
            standard.flush();
        }
        return 0;
    }

private:
    const MessageKind kind;
    std::ostream& standard;  // where text goes without a sink
    std::string line;        // what is there of the last line
};

struct LineStream {
    LineStream(MessageKind kind, std::ostream& standard) : buffer(kind, standard), stream(&buffer) {}
    LineBuffer buffer;
    std::ostream stream;
};

LineStream& outLines() {
    thread_local LineStream lines(MK_TEXT, std::cout);
    return lines;
}

LineStream& errLines() {
    thread_local LineStream lines(MK_ERROR, std::cerr);
    return lines;
}

void switchTo(MessageChannel* pNewChannel) {
    outLines().buffer.release();
    errLines().buffer.release();
    pChannel = pNewChannel;
}

}  // namespace

std::ostream& out() {
    return outLines().stream;
}

std::ostream& err() {
    return errLines().stream;
}

void printText(MessageKind kind, std::string_view text) {
    if (pChannel != nullptr) {
        outLines().buffer.release();
        pChannel->tell(kind, text);
        return;
    }
    const std::lock_guard<std::mutex> lock(standardMutex);
    std::cout.write(text.data(), static_cast<std::streamsize>(text.size()));
    std::cout.flush();
}

MessageChannel* currentMessageChannel() {
    return pChannel;
}

MessageChannelScope::MessageChannelScope(MessageChannel* pNewChannel) : pFormer(pChannel) {
    if (pNewChannel != pFormer) switchTo(pNewChannel);
}

MessageChannelScope::~MessageChannelScope() {
    if (pChannel != pFormer) switchTo(pFormer);
}

MessageSink setMessageSink(MessageSink sink) {
    std::unique_ptr<MessageChannel> pNew;
    if (sink) pNew = std::make_unique<MessageChannel>(std::move(sink));
    switchTo(pNew.get());
    std::swap(pOwnChannel, pNew);
    return pNew ? std::move(pNew->getSink()) : MessageSink();
}

}  // namespace TARN_KEL
