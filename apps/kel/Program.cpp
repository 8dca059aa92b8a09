#include "Program.h"

#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>

#include "LibraryText.h"
#include "MeshFigures.h"
#include "ProgressBar.h"

using namespace TARN_KEL;
namespace fs = std::filesystem;

namespace {

/// What getFileType() says.
enum FileType { FT_STL = 0, FT_PLY = 1, FT_ASCII = 2, FT_BIN = 3 };

CLI::Validator numberWhere(const std::string& what, const std::function<bool(double)>& isGood) {
    return {[what, isGood](std::string& text) {
                char* pEnd = nullptr;
                const double value = std::strtod(text.c_str(), &pEnd);
                const bool bNumber = !text.empty() && *pEnd == '\0' && std::isfinite(value);
                return bNumber && isGood(value) ? std::string() : "'" + text + "' isn't " + what;
            },
            "NUMBER"};
}

bool isPointFile(const std::string& filename) {
    const int type = getFileType(filename);
    return type == FT_PLY || type == FT_ASCII || type == FT_BIN;
}

/// The library knows files by these spellings only.
bool isObj(const std::string& filename) {
    const std::string extension = fs::path(filename).extension().string();
    return extension == ".obj" || extension == ".OBJ" || extension == ".Obj";
}

bool isMeshFile(const std::string& filename) {
    const int type = getFileType(filename);
    return type == FT_PLY || type == FT_STL || isObj(filename);
}

bool isSameFile(const std::string& a, const std::string& b) {
    std::error_code noFile;
    return fs::equivalent(a, b, noFile) || fs::path(a).lexically_normal() == fs::path(b).lexically_normal();
}

/// Fails where it is plain before any work that a file of that name can't be written.
void requireWritable(const std::string& filename) {
    if (fs::is_directory(filename)) throw Failure(filename + " is a folder");
    const fs::path parent = fs::path(filename).parent_path();
    const fs::path folder = parent.empty() ? fs::path(".") : parent;
    if (!fs::is_directory(folder)) throw Failure("There is no folder " + folder.string());
    if (access(folder.c_str(), W_OK) != 0) throw Failure("The folder " + folder.string() + " can't be written");
}

/// Megabytes.
double peakMemory() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

/// toObj reports nothing. What tells is a file under a name that was free.
bool writeObj(const std::string& filename, const MeshPtr& pMesh) {
    const std::string fresh = filename + "." + std::to_string(getpid()) + ".obj";
    std::error_code failure;
    fs::remove(fresh, failure);
    toObj(pMesh, fresh);
    fs::rename(fresh, filename, failure);
    return !failure;
}

std::string figuresText(const MeshFigures& figures) {
    return std::to_string(figures.numVertices) + " vertices, " + std::to_string(figures.numTriangles) + " triangles, " +
           std::to_string(figures.numBorderEdges) + " border edges, " + std::to_string(figures.numNonManifoldEdges) +
           " non-manifold edges, " + std::to_string(figures.numComponents) + " component(s)";
}

}  // namespace

const CLI::Validator positiveNumber = numberWhere("a finite number above 0", [](double v) { return v > 0.0; });
const CLI::Validator nonNegativeNumber = numberWhere("a finite number of at least 0", [](double v) { return v >= 0.0; });

void Program::addCommonOptions(CLI::App& command) {
    command.add_flag("--quiet", bQuiet, "Print results and errors only");
    command.add_option("--json", jsonFile, "Write a report to this file: what was read and made, seconds, peak memory");
}

void Program::requirePointInput(const std::string& filename) {
    if (!fs::exists(filename)) throw Failure("There is no file " + filename);
    if (fs::is_directory(filename)) throw Failure(filename + " is a folder");
    if (!isPointFile(filename))
        throw Failure("Points are read from .xyz, .txt, .asc, .bin or .ply, which " + filename + " isn't");
    if (access(filename.c_str(), R_OK) != 0) throw Failure("The file " + filename + " can't be read: no permission");
    if (fs::is_regular_file(filename) && fs::file_size(filename) == 0) throw Failure("The file " + filename + " is empty");
}

void Program::requirePointOutput(const std::string& filename) const {
    if (!isPointFile(filename))
        throw Failure("Points are written as .xyz, .txt, .asc, .bin or .ply, which " + filename + " isn't");
    requireWritable(filename);
    requireReport();
    if (isSameFile(jsonFile, filename)) throw Failure("The report would overwrite " + filename);
}

void Program::requireMeshOutput(const std::string& filename, const std::string& input) const {
    if (!isMeshFile(filename)) throw Failure("A mesh is written as .ply, .stl or .obj, which " + filename + " isn't");
    requireWritable(filename);
    requireReport();
    if (isSameFile(filename, input)) throw Failure("The mesh would overwrite the input " + input);
    if (isSameFile(jsonFile, filename) || isSameFile(jsonFile, input))
        throw Failure("The report would overwrite " + jsonFile);
}

void Program::requireReport() const {
    if (!jsonFile.empty()) requireWritable(jsonFile);
}

void Program::noteTime(const std::string& name, const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    json["seconds"][name] = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    json["peakMegabytes"] = peakMemory();
}

void Program::step(const std::string& name, const std::function<void()>& work) {
    std::optional<ProgressBar> bar;
    if (!bQuiet && isatty(STDERR_FILENO) != 0) bar.emplace();
    const LibraryText text(LibraryText::Mode::LIVE, bQuiet);
    try {
        noteTime(name, work);
    } catch (const KelBugException&) {
        throw Failure("The library stopped the run: " + text.lastWords());
    }
}

void Program::fileStep(const std::string& name, const std::string& failure, const std::function<bool()>& work) {
    LibraryText text(LibraryText::Mode::HELD, bQuiet);
    bool bDone = false;
    noteTime(name, [&] { bDone = work(); });
    if (!bDone) throw Failure(failure + (text.lastWords().empty() ? "" : ": " + text.lastWords()));
    text.release();
}

std::vector<Point3> Program::readPoints(std::string filename) {
    std::vector<Point3> vPoints;
    fileStep("read", "Can't read points from " + filename, [&] { return readPoints_auto(filename, vPoints); });
    if (vPoints.empty()) throw Failure("There is no point in " + filename);
    json["input"] = {{"file", filename}, {"points", vPoints.size()}};
    return vPoints;
}

void Program::writePoints(std::string filename, std::vector<Point3>& vPoints) {
    constexpr int EXACT_DIGITS = 17;
    fileStep("write", "Can't write " + filename, [&] {
        return getFileType(filename) == FT_ASCII ? writePoints_ASCII(filename.c_str(), vPoints, EXACT_DIGITS)
                                                 : writePoints_auto(filename, vPoints, false);
    });
}

void Program::writeMesh(const std::string& filename, const MeshPtr& pMesh) {
    fileStep("write", "Can't write " + filename,
             [&] { return isObj(filename) ? writeObj(filename, pMesh) : writeMesh_auto(filename, pMesh, false); });
    json["output"] = {{"file", filename}};
    if (bQuiet && jsonFile.empty()) return;  // nobody asks for the figures
    const MeshFigures figures = measureMesh(*pMesh);
    json["mesh"] = figures.toJson();
    say(filename + ": " + figuresText(figures));
}

void Program::say(const std::string& line) const {
    if (!bQuiet) print(line);
}

void Program::print(const std::string& line) {
    if (!(std::cout << line << std::endl)) throw Failure("Can't write to standard output");
}

void Program::writeReport() {
    if (jsonFile.empty()) return;
    // A file name may hold any bytes, a report only UTF-8.
    const std::string text = json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
    std::ofstream out(jsonFile);
    out << text << "\n";
    if (!out.flush()) throw Failure("Can't write " + jsonFile);
}
