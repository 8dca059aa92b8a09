// Where text goes: the one way out for everything that the library prints.
//
// A thread's runs speak to standard output, or to the sink that setMessageSink() gave them. Workers of the pool speak for
// the run whose task they do. Plain lines are written to out(), a stream of the calling thread; messages of other kinds come
// from the functions of tools.h.
#pragma once

#include <ostream>
#include <string_view>

#include "kel.h"

namespace TARN_KEL {

/// The stream for plain lines of the calling thread. Without a sink each piece goes to std::cout as it comes; a sink gets
/// whole lines, and what a flush finds of one.
std::ostream& out();
/// The same for the few lines that go to standard error where there is no sink; a sink gets them as errors.
std::ostream& err();
/// One text of that kind, as a whole, behind what out() holds back. Without a sink it is flushed.
void printText(MessageKind kind, std::string_view text);

/// A sink and the lock that lets one thread at a time speak to it.
class MessageChannel;

/// The channel of what runs on the calling thread; null where text goes to standard output.
MessageChannel* currentMessageChannel();

/// While it lives, the calling thread speaks through that channel: for a worker with a task of another thread's run.
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
