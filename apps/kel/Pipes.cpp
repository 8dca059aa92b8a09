// Standard input, standard output and compressed files in place of plain files.
#include "Pipes.h"

#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string_view>
#include <utility>

#include "FileKinds.h"
#include "Program.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* STANDARD_INPUT = "standard input";
constexpr std::size_t BLOCK = std::size_t{256} << 10;  // bytes that are copied at once

/// Writes a file block by block. next: long(char* p, unsigned numBytes) gives how many bytes there were, 0 at the end.
/// Returns whether there were any.
template <typename Next>
bool writeBlocks(const std::string& filename, const Next& next) {
    std::ofstream out(filename, std::ios_base::binary);
    std::vector<char> block(BLOCK);
    while (const long num = next(block.data(), static_cast<unsigned>(block.size())))
        out.write(block.data(), num);
    if (!out.flush()) throw Failure("There is no room for what is read in the folder for temporary files");
    return out.tellp() > 0;
}

long readStandardInput(char* p, unsigned numBytes) {
    ssize_t num = -1;
    do {
        num = ::read(STDIN_FILENO, p, numBytes);
    } while (num < 0 && errno == EINTR);
    if (num < 0) throw Failure(std::string("Can't read standard input: ") + std::strerror(errno));
    return num;
}

/// Writes what is in a compressed file to another one. plainName: its name for the user.
void unpack(const std::string& filename, const std::string& to, const std::string& plainName) {
    const std::unique_ptr<gzFile_s, int (*)(gzFile)> in(gzopen(filename.c_str(), "rb"), gzclose_r);
    if (in == nullptr) throw Failure("The file " + plainName + " can't be read: " + std::strerror(errno));
    if (gzdirect(in.get()) != 0) throw Failure("The file " + plainName + " isn't compressed by gzip, as its name says");
    writeBlocks(to, [&](char* p, unsigned numBytes) -> long { return std::max(gzread(in.get(), p, numBytes), 0); });
    int error = Z_OK;  // also Z_BUF_ERROR for a file that was cut
    gzerror(in.get(), &error);
    if (error != Z_OK) throw Failure("The file " + plainName + " is damaged, or its end is missing");
}

void replaceAll(std::string& text, const std::string& what, const std::string& by) {
    for (std::size_t i = text.find(what); i != std::string::npos; i = text.find(what, i + by.size()))
        text.replace(i, what.size(), by);
}

}  // namespace

void Pipes::addInputFormat(CLI::App& command) {
    if (command.get_option_no_throw("--format") != nullptr) return;
    command
        .add_option("--format", inKind,
                    "What standard input is, if a file to read is -; not needed where its first bytes tell that")
        ->check(CLI::IsMember({"xyz", "bin", "ply", "las", "pcd", "pts", "ptx", "csv", "stl", "obj", "off", "glb", "gltf"}));
}

void Pipes::addOutputFormat(CLI::App& command) {
    command.add_option("--out-format", outKind, "What is written to standard output, if OUT is -; without it ply")
        ->check(CLI::IsMember({"ply", "stl", "obj", "off", "glb", "3mf", "list", "xyz", "bin", "las"}));
}

CLI::Validator Pipes::inputName() {
    return {[this](std::string& name) {
                name = input(name);
                return std::string();
            },
            ""};
}

CLI::Validator Pipes::plainInputName() {
    return {[this](std::string& name) {
                if (name == "-") return std::string("standard input isn't taken here, only files");
                name = input(name);
                return std::string();
            },
            ""};
}

CLI::Validator Pipes::outputName() {
    return {[this](std::string& name) {
                name = output(name);
                return std::string();
            },
            ""};
}

std::string Pipes::input(const std::string& name) {
    constexpr std::string_view GZ = ".gz";
    if (name == "-") return standardInput();
    if (!name.ends_with(GZ) && !isGzipInput(name)) return name;
    const fs::path plain(name.ends_with(GZ) ? name.substr(0, name.size() - GZ.size()) : name);
    std::string file = unpacked(name, plain.extension().string(), name);
    mOriginal[file] = name;
    return file;
}

std::string Pipes::standardInput() {
    if (std::exchange(bInputTaken, true)) throw Failure("Standard input can be read only once");
    const std::string kind = "." + (inKind.empty() ? "any" : inKind);
    std::string kept = newFile(kind, STANDARD_INPUT);
    if (!writeBlocks(kept, readStandardInput)) throw Failure("Standard input is empty");
    if (isGzipInput(kept)) kept = unpacked(kept, kind, STANDARD_INPUT);
    if (inKind.empty() && !isKnownByContent(kept))
        throw Failure("The first bytes of standard input don't tell what it is: say so by --format");
    return kept;
}

std::string Pipes::unpacked(const std::string& filename, const std::string& kind, const std::string& plainName) {
    std::string file = newFile(kind, plainName);
    unpack(filename, file, plainName);
    if (folder && fs::path(filename).parent_path() == folder->path()) fs::remove(filename);
    return file;
}

std::string Pipes::output(const std::string& name) {
    if (name != "-") return name;
    return outFile = newFile("." + (outKind.empty() ? "ply" : outKind), "standard output");
}

void Pipes::requireUse() const {
    if (!inKind.empty() && !bInputTaken) throw Failure("--format is for a file to read that is -, and there is none");
    if (!outKind.empty() && outFile.empty()) throw Failure("--out-format is for an OUT that is -, which it isn't");
}

void Pipes::deliver(const std::string& filename) const {
    if (outFile.empty() || filename != outFile) return;
    std::ifstream in(filename, std::ios_base::binary);
    std::vector<char> block(BLOCK);  // as << of a whole buffer is silent when only a part of it was taken
    while (in.read(block.data(), static_cast<std::streamsize>(block.size())), in.gcount() > 0)
        if (!std::cout.write(block.data(), in.gcount())) break;
    if (!std::cout.flush()) throw Failure("Can't write to standard output");
}

std::string Pipes::original(const std::string& name) const {
    const auto it = mOriginal.find(name);
    return it != mOriginal.end() ? it->second : name;
}

std::string Pipes::withPlainNames(std::string text) const {
    for (const auto& [file, plainName] : vNames)
        replaceAll(text, file, plainName);
    return text;
}

std::string Pipes::newFile(const std::string& kind, const std::string& plainName) {
    if (!folder) folder.emplace();
    return vNames.emplace_back(folder->path() + "/" + std::to_string(vNames.size()) + kind, plainName).first;
}
