// The one way out for everything that the library prints.
//
// The runs of a thread print to standard output, or to the sink that setMessageSink() gave them. Workers of the pool print
// to the same place as the run whose task they do. Plain lines are written to out(), a stream of the calling thread;
// messages of other kinds come from the functions of tools.h.
#pragma once

#include <ostream>
#include <string_view>

#include "kel.h"

namespace TARN_KEL {

/// The stream for plain lines of the calling thread. Without a sink each piece of text is passed to std::cout at once. A
/// sink gets whole lines; a flush also passes on a line that isn't complete.
std::ostream& out();
/// The same for the few lines that go to standard error when there is no sink; a sink gets them as errors.
std::ostream& err();
/// Prints one text of that kind as a whole, after the text that out() still holds back. Without a sink it is flushed.
void printText(MessageKind kind, std::string_view text);

/// A sink, with a lock so that one thread at a time uses it.
class MessageChannel;

/// The channel of the run on the calling thread; null when its text goes to standard output.
MessageChannel* currentMessageChannel();

/// While this object exists, the calling thread prints to that channel: for a worker with a task of another thread's run.
class MessageChannelScope {
public:
    explicit MessageChannelScope(MessageChannel* pChannel);
    ~MessageChannelScope();
    MessageChannelScope(const MessageChannelScope&) = delete;
    MessageChannelScope& operator=(const MessageChannelScope&) = delete;

private:
    MessageChannel* pFormer;  // not owned
};

}  // namespace TARN_KEL
