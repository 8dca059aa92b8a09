// Where the library's messages go.
#pragma once

#include <functional>
#include <string_view>

namespace TARN_KEL {

/// The kinds of text that the library prints.
enum MessageKind : int {
    MK_TEXT,     ///< Plain lines: what was found and done.
    MK_INFO,     ///< A message that names its place in the code.
    MK_WARNING,  ///< Input that yields nothing, or was used only in part.
    MK_ERROR     ///< A failure, and the report that precedes a KelBugException.
};

/// Receives a text: usually whole lines, with the line ends and colour codes that standard output would get. The text is
/// valid only during the call.
using MessageSink = std::function<void(MessageKind, std::string_view)>;

/// Sends what the library prints on behalf of this thread to a sink, instead of standard output and standard error.
///
/// The texts of a run arrive in their order, one at a time, some perhaps on a thread of the pool. The sink must not call the
/// library; exceptions that it throws are dropped. A sink that does nothing silences the library. Other threads aren't
/// affected. A sink that is still set when its thread ends receives the rest of an unfinished line then; what static
/// objects and exit handlers cause later goes to the standard streams.
///
/// @param sink  an empty one, which is the default, restores the standard streams
/// @return the sink that was set before; empty when there was none
MessageSink setMessageSink(MessageSink sink);

}  // namespace TARN_KEL
