// Standard input, standard output and compressed files in place of plain files.
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TemporaryFolder.h"

/// Lets "-" stand for standard input where a command reads a file, and for standard output where it writes one. What is read
/// may be compressed by gzip.
///
/// What comes from standard input, or out of a compressed file, is kept in a file of a temporary folder, and what goes to
/// standard output is written to one first, so that commands know plain files only. The folder is removed at the end, also
/// by a signal. One object a run.
class Pipes {
public:
    /// Adds --format and --out-format to a command; to be called before the files that they are for are added.
    void addInputFormat(CLI::App& command);
    void addOutputFormat(CLI::App& command);
    /// Gives the options of CLI11 that name a file their meaning.
    CLI::Validator inputName();
    CLI::Validator outputName();
    /// The same for one that may be compressed, but not -.
    CLI::Validator plainInputName();

    /// The file to read for a name: the name itself, or, for "-", one with all that standard input gives, or, for a name
    /// that ends with .gz or is compressed by its content, one with what is in it. Fails when it is damaged, when the kind
    /// of standard input is neither said nor in its first bytes, and when standard input was read before.
    std::string input(const std::string& name);
    /// The file to write for a name.
    std::string output(const std::string& name);
    /// Fails when a format is given for what isn't used.
    void requireUse() const;
    /// Whether standard output is for a file.
    bool isOutputTaken() const { return !outFile.empty(); }
    /// Copies a file to standard output, if it is the one of that. Fails when that can't be written.
    void deliver(const std::string& filename) const;
    /// The file of the user that a file to read holds unpacked; that file itself where it is none of ours.
    std::string original(const std::string& name) const;
    /// A text in which the names of the temporary files are said as what they stand for.
    std::string withPlainNames(std::string text) const;

private:
    std::string standardInput();
    /// Unpacks a file, which is removed if it is one of the folder. Returns the new one.
    std::string unpacked(const std::string& filename, const std::string& kind, const std::string& plainName);
    /// A new name in the folder, with that extension. plainName: what it is for the user.
    std::string newFile(const std::string& kind, const std::string& plainName);

    std::optional<TemporaryFolder> folder;                    // none until it is needed
    std::vector<std::pair<std::string, std::string>> vNames;  // of a file in the folder, and for the user
    std::map<std::string, std::string> mOriginal;             // of a file in the folder: the one of the user
    std::string outFile;                                      // the one that goes to standard output
    bool bInputTaken = false;
    std::string inKind, outKind;  // empty: not given
};
