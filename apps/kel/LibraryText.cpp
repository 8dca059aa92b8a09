// Receives what the library prints, passes it on or holds it back, and finds the line that tells why a call failed.
#include "LibraryText.h"

#include <unistd.h>

#include <iostream>
#include <sstream>
#include <utility>

namespace {

/// Enough for the report of an assertion with a long signature.
constexpr std::size_t KEPT = 1 << 14;

/// A warning or an error names a place in the source and repeats what a plain line before it said.
const std::string MESSAGE = "[KEL Message]";

/// Of messages that name an option of the library. Commands say the same, with the switches that they have.
constexpr std::string_view LIBRARY_OPTION = "ReconstructOptions::";

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

LibraryText::LibraryText(Mode mode, bool bSilent_, std::function<std::string(std::string)> toPlain_)
    : bHeld(mode == Mode::HELD), bSilent(bSilent_), toPlain(std::move(toPlain_)) {
    former = TARN_KEL::setMessageSink([this](TARN_KEL::MessageKind kind, std::string_view part) { take(kind, part); });
}

LibraryText::~LibraryText() {
    TARN_KEL::setMessageSink(former);
}

void LibraryText::release() {
    if (!bHeld || bSilent) return;
    passOn(warnings);
    text.clear();
    warnings.clear();
}

void LibraryText::passOn(const std::string& part) const {
    const std::string plain = toPlain(part);
    std::cerr << (isatty(STDERR_FILENO) != 0 ? plain : withoutColours(plain)) << std::flush;
}

void LibraryText::take(TARN_KEL::MessageKind kind, std::string_view part) {
    if (part.find(LIBRARY_OPTION) != std::string_view::npos) return;
    if (!bHeld && !bSilent) passOn(std::string(part));
    text += part;
    if (bHeld && (kind == TARN_KEL::MK_WARNING || kind == TARN_KEL::MK_ERROR)) warnings += part;
    if (!bHeld && text.size() > 2 * KEPT) text.erase(0, text.size() - KEPT);
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
