// Sends text to standard output or to the sink of a thread's runs.
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

// The channel of this thread's runs, or on a worker that of the task's run.
thread_local MessageChannel* pChannel = nullptr;

// The buffer behind out() and err() of a thread.
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
    std::string line;        // the last line as far as it was written
};

struct LineStream {
    LineStream(MessageKind kind, std::ostream& standard) : buffer(kind, standard), stream(&buffer) {}
    LineBuffer buffer;
    std::ostream stream;
};

thread_local bool bThreadTextGone = false;

/// What a thread needs to print. The main thread may print again after it is destroyed, from handlers of its exit and from
/// destructors of static objects; that goes to the standard streams.
struct ThreadText {
    ~ThreadText() {
        switchTo(nullptr);
        bThreadTextGone = true;
    }
    void switchTo(MessageChannel* pNewChannel) {
        outLines.buffer.release();
        errLines.buffer.release();
        pChannel = pNewChannel;
    }

    std::unique_ptr<MessageChannel> pOwnChannel;
    LineStream outLines{MK_TEXT, std::cout};
    LineStream errLines{MK_ERROR, std::cerr};
};

/// Null when it is gone; then there is no channel either.
ThreadText* threadText() {
    if (bThreadTextGone) return nullptr;
    thread_local ThreadText text;
    return &text;
}

void switchTo(MessageChannel* pNewChannel) {
    if (ThreadText* pText = threadText()) pText->switchTo(pNewChannel);
}

}  // namespace

std::ostream& out() {
    ThreadText* pText = threadText();
    return pText != nullptr ? pText->outLines.stream : std::cout;
}

std::ostream& err() {
    ThreadText* pText = threadText();
    return pText != nullptr ? pText->errLines.stream : std::cerr;
}

void printText(MessageKind kind, std::string_view text) {
    if (pChannel != nullptr) {
        out().flush();
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
    ThreadText* pText = threadText();
    if (pText == nullptr) return {};
    std::unique_ptr<MessageChannel> pNew;
    if (sink) pNew = std::make_unique<MessageChannel>(std::move(sink));
    pText->switchTo(pNew.get());
    std::swap(pText->pOwnChannel, pNew);
    return pNew ? std::move(pNew->getSink()) : MessageSink();
}

}  // namespace TARN_KEL
