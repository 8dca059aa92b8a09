// What the library says while the program runs one of its calls.
#pragma once

#include <mutex>
#include <streambuf>
#include <string>

/// Takes the place of the buffers of standard streams for as long as it lives, so that standard output stays the program's.
///
/// The text is passed on at once or held back until release(). Its end is kept either way: it tells why a call failed. Any
/// thread may write; one object at a time.
class LibraryText : public std::streambuf {
public:
    enum class Mode {
        LIVE,  ///< std::cout goes to standard error
        HELD   ///< std::cout and std::cerr wait for release(); without it nobody sees them
    };

    /// With bSilent nothing is ever passed on.
    LibraryText(Mode mode, bool bSilent);
    ~LibraryText() override;
    LibraryText(const LibraryText&) = delete;
    LibraryText& operator=(const LibraryText&) = delete;

    /// Passes on what was held back.
    void release();
    /// The line that tells best why a call failed: the condition of a failed assertion, else the last plain line, else the
    /// last message. One line without colours; may be empty.
    std::string lastWords() const;

protected:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char* p, std::streamsize count) override;

private:
    std::streambuf* pOldCout;  // of std::cout
    std::streambuf* pOldCerr;  // of std::cerr
    std::streambuf* pLive;     // where text goes at once; null for nowhere
    const bool bHeld;
    const bool bSilent;
    mutable std::mutex mutex;
    std::string text;  // all of it when held back, else its end
};
