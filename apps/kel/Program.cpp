#include "Program.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

using namespace TARN_KEL;

namespace {

/// Sends std::cout elsewhere for as long as it lives.
class CoutDetour {
public:
    explicit CoutDetour(std::streambuf* pBuffer) : pOld(std::cout.rdbuf(pBuffer)) {}
    ~CoutDetour() {
        std::cout.rdbuf(pOld);
        std::cout.clear();  // a null buffer leaves the stream bad
    }
    CoutDetour(const CoutDetour&) = delete;
    CoutDetour& operator=(const CoutDetour&) = delete;

private:
    std::streambuf* pOld;
};

/// One line on the terminal that is drawn anew at each report.
class ProgressBar : public ProgressBase {
public:
    ProgressBar() { subscribe(this); }
    ~ProgressBar() override {
        unsubscribe();
        if (bDrawn) std::cerr << "\n";
    }
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void update(const std::string& name, double fraction) override {
        const int width = 40;
        const auto numFull = static_cast<std::size_t>(std::clamp(fraction, 0.0, 1.0) * width);
        std::cerr << "\r" << name << " [" << std::string(numFull, '#') << std::string(width - numFull, ' ') << "] "
                  << static_cast<int>(fraction * 100.0) << "%  " << std::flush;
        bDrawn = true;
    }

private:
    bool bDrawn = false;
};

CLI::Validator numberWhere(const std::string& what, const std::function<bool(double)>& isGood) {
    return {[what, isGood](std::string& text) {
                char* pEnd = nullptr;
                const double value = std::strtod(text.c_str(), &pEnd);
                const bool bNumber = !text.empty() && *pEnd == '\0' && std::isfinite(value);
                return bNumber && isGood(value) ? std::string() : "'" + text + "' isn't " + what;
            },
            "NUMBER"};
}

std::string extensionOf(const std::string& filename) {
    std::string extension = std::filesystem::path(filename).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}

/// Megabytes.
double peakMemory() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

/// toObj reports nothing, so what tells is the file: it must be there and whole.
bool writeObj(const std::string& filename, const MeshPtr& pMesh) {
    std::error_code noError;
    std::filesystem::remove(filename, noError);
    toObj(pMesh, filename);
    return std::filesystem::file_size(filename, noError) > 0 && !noError;
}

}  // namespace

const CLI::Validator positiveNumber = numberWhere("a finite number above 0", [](double v) { return v > 0.0; });
const CLI::Validator nonNegativeNumber = numberWhere("a finite number of at least 0", [](double v) { return v >= 0.0; });

void Program::addCommonOptions(CLI::App& command) {
    command.add_flag("--quiet", bQuiet, "Print nothing but errors");
    command.add_option("--json", jsonFile, "Write a report to this file: what was read and made, seconds, peak memory");
}

void Program::step(const std::string& name, const std::function<void()>& work) {
    const CoutDetour detour(bQuiet ? nullptr : std::cerr.rdbuf());
    const auto start = std::chrono::steady_clock::now();
    work();
    json["seconds"][name] = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void Program::stepWithProgress(const std::string& name, const std::function<void()>& work) {
    if (bQuiet || isatty(STDERR_FILENO) == 0) return step(name, work);
    const ProgressBar bar;
    step(name, work);
}

std::vector<Point3> Program::readPoints(std::string filename) {
    if (!std::filesystem::exists(filename)) throw Failure("There is no file " + filename);
    std::vector<Point3> vPoints;
    bool bRead = false;
    step("read", [&] { bRead = readPoints_auto(filename, vPoints); });
    if (!bRead) throw Failure("Can't read points from " + filename);
    if (vPoints.empty()) throw Failure("There is no point in " + filename);
    json["input"] = {{"file", filename}, {"points", vPoints.size()}};
    return vPoints;
}

void Program::requireMeshOutput(const std::string& filename) {
    const std::array<std::string, 3> aKnown = {".ply", ".stl", ".obj"};
    if (std::find(aKnown.begin(), aKnown.end(), extensionOf(filename)) == aKnown.end())
        throw Failure("A mesh is written as .ply, .stl or .obj, which " + filename + " isn't");
    requireFolder(filename);
}

void Program::requireFolder(const std::string& filename) {
    const std::filesystem::path folder = std::filesystem::path(filename).parent_path();
    if (!folder.empty() && !std::filesystem::is_directory(folder)) throw Failure("There is no folder " + folder.string());
    if (std::filesystem::is_directory(filename)) throw Failure(filename + " is a folder");
}

void Program::writeMesh(const std::string& filename, const MeshPtr& pMesh) {
    bool bWritten = false;
    step("write", [&] {
        bWritten = extensionOf(filename) == ".obj" ? writeObj(filename, pMesh) : writeMesh_auto(filename, pMesh, false);
    });
    if (!bWritten) throw Failure("Can't write " + filename);

    std::vector<Point3*> vVertices;
    std::vector<Point3*> vCorners;
    pMesh->getPoints(vVertices);
    pMesh->getTriangles(vCorners);
    json["mesh"] = {{"file", filename},
                    {"vertices", vVertices.size()},
                    {"triangles", vCorners.size() / 3},
                    {"averageEdgeLength", pMesh->getAverageEdgeLength()}};
    say(filename + ": " + std::to_string(vVertices.size()) + " vertices, " + std::to_string(vCorners.size() / 3) +
        " triangles");
}

void Program::say(const std::string& line) const {
    if (!bQuiet) std::cout << line << std::endl;
}

void Program::writeReport() {
    if (jsonFile.empty()) return;
    json["peakMegabytes"] = peakMemory();
    std::ofstream out(jsonFile);
    out << json.dump(2) << "\n";
    if (!out.flush()) throw Failure("Can't write " + jsonFile);
}
