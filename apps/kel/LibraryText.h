// Collects what the library prints while the program calls it.
#pragma once

#include <kel.h>

#include <functional>
#include <string>
#include <string_view>

/// Receives what the library prints for this thread, so that it doesn't get into the program's standard output.
///
/// The text goes to standard error at once or is held back until release(). Its end is kept in either case: it tells why a
/// call failed. Colours are for terminals only. One object at a time.
class LibraryText {
public:
    enum class Mode {
        LIVE,  ///< text goes to standard error at once
        HELD   ///< text is held back until release(); without that call it is dropped
    };

    /// bSilent: never pass anything on. toPlain: makes a text one that the user understands, before it is passed on.
    LibraryText(Mode mode, bool bSilent, std::function<std::string(std::string)> toPlain);
    ~LibraryText();
    LibraryText(const LibraryText&) = delete;
    LibraryText& operator=(const LibraryText&) = delete;

    /// Passes on the warnings and errors that were held back.
    void release();
    /// The line that best tells why a call failed: the condition of a failed assertion, else the last plain line, else the
    /// last message. Without colours; may be empty.
    std::string lastWords() const;

private:
    void take(TARN_KEL::MessageKind kind, std::string_view part);
    void passOn(const std::string& part) const;

    TARN_KEL::MessageSink former;
    const bool bHeld;
    const bool bSilent;
    const std::function<std::string(std::string)> toPlain;
    std::string text;      // all of it when held back, else its end
    std::string warnings;  // that are held back
};
