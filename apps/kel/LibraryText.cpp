#include "LibraryText.h"

#include <iostream>
#include <sstream>

namespace {

/// Enough for the report of an assertion with a long signature.
constexpr std::size_t KEPT = 1 << 14;

/// A warning or an error names a place in the source and repeats what a plain line before it said.
const std::string MESSAGE = "[KEL Message]";

/// Without ESC sequences of colours.
std::string withoutColours(const std::string& text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\x1b') {
            plain += text[i];
            continue;
        }
        i = text.find('m', i);
        if (i == std::string::npos) break;
    }
    return plain;
}

}  // namespace

LibraryText::LibraryText(Mode mode, bool silent)
    : pOldCout(std::cout.rdbuf()),
      pOldCerr(std::cerr.rdbuf()),
      pLive(mode == Mode::LIVE && !silent ? pOldCerr : nullptr),
      bHeld(mode == Mode::HELD),
      bSilent(silent) {
    std::cout.rdbuf(this);
    if (bHeld) std::cerr.rdbuf(this);
}

LibraryText::~LibraryText() {
    std::cout.rdbuf(pOldCout);
    std::cerr.rdbuf(pOldCerr);
}

void LibraryText::release() {
    if (!bHeld || bSilent) return;
    pOldCerr->sputn(text.data(), static_cast<std::streamsize>(text.size()));
    pOldCerr->pubsync();
    text.clear();
}

std::string LibraryText::lastWords() const {
    std::istringstream lines(withoutColours(text));
    std::string words;
    bool bPlain = false;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t first = line.find_first_not_of(" \t\r");
        if (first == std::string::npos) continue;
        const std::size_t condition = line.find("Condition [");
        const bool bMessage = line.compare(first, MESSAGE.size(), MESSAGE) == 0;
        if (condition != std::string::npos) {
            words = line.substr(condition);
            bPlain = true;
        } else if (!bMessage || !bPlain) {
            words = line.substr(first);
            bPlain = !bMessage;
        }
    }
    return words;
}

LibraryText::int_type LibraryText::overflow(int_type c) {
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    const char letter = traits_type::to_char_type(c);
    xsputn(&letter, 1);
    return c;
}

std::streamsize LibraryText::xsputn(const char* p, std::streamsize count) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (pLive != nullptr) pLive->sputn(p, count);
    text.append(p, static_cast<std::size_t>(count));
    if (!bHeld && text.size() > 2 * KEPT) text.erase(0, text.size() - KEPT);
    return count;
}
