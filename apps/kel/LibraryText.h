// Collects what the library prints while the program calls it.
#pragma once

#include <kel.h>

#include <string>
#include <string_view>

/// Hears what the library prints for this thread, so that standard output stays the program's.
///
/// The text goes to standard error at once or is held back until release(). Its end is kept either way: it tells why a call
/// failed. One object at a time.
class LibraryText {
public:
    enum class Mode {
        LIVE,  ///< text goes to standard error as it comes
        HELD   ///< it waits for release(); without it nobody sees it
    };

    /// With bSilent nothing is ever passed on.
    LibraryText(Mode mode, bool bSilent);
    ~LibraryText();
    LibraryText(const LibraryText&) = delete;
    LibraryText& operator=(const LibraryText&) = delete;

    /// Passes on what was held back.
    void release();
    /// The line that tells best why a call failed: the condition of a failed assertion, else the last plain line, else the
    /// last message. One line without colours; may be empty.
    std::string lastWords() const;

private:
    void take(std::string_view part);

    TARN_KEL::MessageSink former;
    const bool bHeld;
    const bool bSilent;
    std::string text;  // all of it when held back, else its end
};
