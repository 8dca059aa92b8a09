// Standard input and standard output in place of files.
#include "Pipes.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string_view>
#include <utility>

#include "Program.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* STANDARD_INPUT = "standard input";

/// What the first bytes of a file are, and the extension that is right for it.
struct Signature {
    std::string_view bytes, kind;
};
constexpr std::array<Signature, 8> SIGNATURES{{{"LASF", "las"},
                                               {"# .PCD", "pcd"},
                                               {"ply\n", "ply"},
                                               {"ply\r\n", "ply"},
                                               {"solid ", "stl"},
                                               {"OFF", "off"},
                                               {"COFF", "off"},
                                               {"NOFF", "off"}}};

/// All that standard input gives.
void keepInput(const std::string& filename) {
    std::ofstream out(filename, std::ios_base::binary);
    std::vector<char> block(std::size_t{256} << 10);
    for (ssize_t num = 1; num != 0;) {
        num = ::read(STDIN_FILENO, block.data(), block.size());
        if (num < 0 && errno != EINTR) throw Failure(std::string("Can't read standard input: ") + std::strerror(errno));
        if (num > 0) out.write(block.data(), num);
    }
    if (!out.flush()) throw Failure("Can't keep standard input in the folder for temporary files");
    if (out.tellp() == 0) throw Failure("Standard input is empty");
}

std::string kindByContent(const std::string& filename) {
    std::array<char, 8> bytes{};
    std::ifstream in(filename, std::ios_base::binary);
    in.read(bytes.data(), bytes.size());
    const std::string_view start(bytes.data(), static_cast<std::size_t>(in.gcount()));
    for (const Signature& signature : SIGNATURES)
        if (start.substr(0, signature.bytes.size()) == signature.bytes) return std::string(signature.kind);
    throw Failure("The first bytes of standard input don't tell what it is: say so by --format");
}

void replaceAll(std::string& text, const std::string& what, const std::string& by) {
    for (std::size_t i = text.find(what); i != std::string::npos; i = text.find(what, i + by.size()))
        text.replace(i, what.size(), by);
}

}  // namespace

Pipes::~Pipes() {
    std::error_code ignored;
    if (!folder.empty()) fs::remove_all(folder, ignored);
}

void Pipes::addInputFormat(CLI::App& command) {
    if (command.get_option_no_throw("--format") != nullptr) return;
    command
        .add_option("--format", inKind,
                    "What standard input is, if a file to read is -; not needed where its first bytes tell that")
        ->check(CLI::IsMember({"xyz", "bin", "ply", "las", "pcd", "pts", "ptx", "csv", "stl", "obj", "off"}));
}

void Pipes::addOutputFormat(CLI::App& command) {
    command.add_option("--out-format", outKind, "What is written to standard output, if OUT is -")
        ->check(CLI::IsMember({"ply", "stl", "obj", "off", "list", "xyz", "bin"}))
        ->capture_default_str();
}

CLI::Validator Pipes::inputName() {
    return {[this](std::string& name) {
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
    if (name != "-") return name;
    if (std::exchange(bInputTaken, true)) throw Failure("Standard input can be read only once");
    std::string kept = newFile(inKind.empty() ? "any" : inKind, STANDARD_INPUT);
    keepInput(kept);
    if (!inKind.empty()) return kept;
    std::string known = newFile(kindByContent(kept), STANDARD_INPUT);
    fs::rename(kept, known);
    return known;
}

std::string Pipes::output(const std::string& name) {
    if (name != "-") return name;
    return outFile = newFile(outKind, "standard output");
}

void Pipes::deliver(const std::string& filename) const {
    if (outFile.empty() || filename != outFile) return;
    std::ifstream in(filename, std::ios_base::binary);
    if (!(std::cout << in.rdbuf()).flush()) throw Failure("Can't write to standard output");
}

std::string Pipes::withPlainNames(std::string text) const {
    for (const auto& [file, plainName] : vNames)
        replaceAll(text, file, plainName);
    return text;
}

std::string Pipes::newFile(const std::string& kind, const std::string& plainName) {
    if (folder.empty()) {
        std::string path = (fs::temp_directory_path() / "kel-XXXXXX").string();
        if (mkdtemp(path.data()) == nullptr) throw Failure("Can't make a temporary folder " + path);
        folder = path;
    }
    return vNames.emplace_back(folder + "/" + std::to_string(vNames.size()) + "." + kind, plainName).first;
}
