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
#include "MeshAnalysis.h"
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

bool isTriangleFile(const std::string& filename) {
    const int type = getFileType(filename);
    return type == FT_PLY || type == FT_STL;
}

bool isMeshFile(const std::string& filename) {
    return isTriangleFile(filename) || isObj(filename);
}

bool isSameFile(const std::string& a, const std::string& b) {
    std::error_code noFile;
    return fs::equivalent(a, b, noFile) || fs::path(a).lexically_normal() == fs::path(b).lexically_normal();
}

/// Fails where it is plain before any work that a file of that name can't be read. kinds: the text on what isOfKind accepts.
void requireReadable(const std::string& filename, bool (*isOfKind)(const std::string&), const std::string& kinds) {
    if (!fs::exists(filename)) throw Failure("There is no file " + filename);
    if (fs::is_directory(filename)) throw Failure(filename + " is a folder");
    if (!isOfKind(filename)) throw Failure(kinds + ", which " + filename + " isn't");
    if (access(filename.c_str(), R_OK) != 0) throw Failure("The file " + filename + " can't be read: no permission");
    if (fs::is_regular_file(filename) && fs::file_size(filename) == 0) throw Failure("The file " + filename + " is empty");
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

std::vector<Point3> cornersOf(const Mesh& mesh) {
    std::vector<Point3*> vPointers;
    mesh.getTriangles(vPointers);
    std::vector<Point3> vCorners;
    vCorners.reserve(vPointers.size());
    for (const Point3* p : vPointers)
        vCorners.push_back(*p);
    return vCorners;
}

std::string figuresText(const MeshFigures& figures) {
    return std::to_string(figures.numVertices) + " vertices, " + std::to_string(figures.numTriangles) + " triangles, " +
           std::to_string(figures.vNumEdges[0]) + " border edges, " + std::to_string(figures.numNonManifoldEdges()) +
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
    requireReadable(filename, isPointFile, "Points are read from .xyz, .txt, .asc, .bin or .ply");
}

void Program::requireMeshInput(const std::string& filename) {
    requireReadable(filename, isTriangleFile, "Triangles are read from .ply or .stl");
}

void Program::requirePointOutput(const std::string& filename) const {
    if (!isPointFile(filename))
        throw Failure("Points are written as .xyz, .txt, .asc, .bin or .ply, which " + filename + " isn't");
    requireWritable(filename);
    requireReport({filename});
}

void Program::requireMeshOutput(const std::string& filename, const std::string& input) const {
    if (!isMeshFile(filename)) throw Failure("A mesh is written as .ply, .stl or .obj, which " + filename + " isn't");
    requireWritable(filename);
    requireReport({filename, input});
    if (isSameFile(filename, input)) throw Failure("The mesh would overwrite the input " + input);
}

void Program::requireReport(const std::vector<std::string>& vFiles) const {
    if (jsonFile.empty()) return;
    requireWritable(jsonFile);
    for (const std::string& file : vFiles)
        if (isSameFile(jsonFile, file)) throw Failure("The report would overwrite " + file);
}

void Program::noteTime(const std::string& name, const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    nlohmann::ordered_json& noted = json["seconds"][name];
    noted = (noted.is_null() ? 0.0 : noted.get<double>()) + seconds;
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

std::vector<Point3> Program::readPoints(std::string filename, const std::string& role) {
    std::vector<Point3> vPoints;
    fileStep("read", "Can't read points from " + filename, [&] { return readPoints_auto(filename, vPoints); });
    if (vPoints.empty()) throw Failure("There is no point in " + filename);
    json[role] = {{"file", filename}, {"points", vPoints.size()}};
    return vPoints;
}

std::vector<Point3> Program::readTriangles(const std::string& filename) {
    std::vector<Point3> vCorners;
    fileStep("read", "Can't read triangles from " + filename, [&] {
        return getFileType(filename) == FT_STL ? readSTL_ASCII(filename.c_str(), vCorners)
                                               : readPly(filename.c_str(), false, vCorners);
    });
    if (vCorners.empty()) throw Failure("There is no triangle in " + filename);
    json["input"] = {{"file", filename}, {"triangles", vCorners.size() / 3}};
    return vCorners;
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
    const MeshFigures figures = measureMesh(unifiedCorners(cornersOf(*pMesh)));
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
