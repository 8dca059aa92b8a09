// What all commands share: checks of file names, timed steps, reading and writing, the report.
#include "Program.h"

#include <unistd.h>

#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <locale>
#include <map>
#include <optional>
#include <sstream>
#include <system_error>
#include <utility>

#include "../../src_lib/api/chosenPoints.h"
#include "../../src_lib/base/processMemory.h"
#include "../../src_lib/files/AtomicFile.h"
#include "../../src_lib/files/attributeColumns.h"
#include "../../src_lib/files/fileFormats.h"
#include "../../src_lib/files/numberForms.h"
#include "CarriedColumns.h"
#include "FileKinds.h"
#include "GlbFile.h"
#include "LibraryText.h"
#include "ProgressBar.h"
#include "ThreeMfFile.h"

using namespace TARN_KEL;
namespace fs = std::filesystem;

namespace {

CLI::Validator numberWhere(const std::string& what, const std::function<bool(double)>& isGood) {
    return {[what, isGood](std::string& text) {
                char* pEnd = nullptr;
                const double value = std::strtod(text.c_str(), &pEnd);
                const bool bNumber = !text.empty() && *pEnd == '\0' && std::isfinite(value);
                return bNumber && isGood(value) ? std::string() : "'" + text + "' isn't " + what;
            },
            "NUMBER"};
}

/// The whole name with links followed, as far as it exists; empty where it can't be one.
fs::path targetOf(const std::string& filename) {
    std::error_code failure;
    return fs::weakly_canonical(fs::absolute(filename, failure), failure);
}

bool isSameFile(const std::string& a, const std::string& b) {
    std::error_code noFile;
    return fs::equivalent(a, b, noFile) || targetOf(a) == targetOf(b);
}

/// Fails where it is plain before any work that a file of that name can't be read. kinds: the text on what isOfKind accepts;
/// null accepts all.
void requireReadable(const std::string& filename, bool (*isOfKind)(const std::string&), const std::string& kinds) {
    if (!fs::exists(filename)) throw Failure("There is no file " + filename);
    if (fs::is_directory(filename)) throw Failure(filename + " is a folder");
    if (isE57(filename)) throw Failure(filename + " " + E57_REFUSED);
    if (isOfKind != nullptr && !isOfKind(filename)) throw Failure(kinds + ", which " + filename + " isn't");
    if (access(filename.c_str(), R_OK) != 0) throw Failure("The file " + filename + " can't be read: no permission");
    if (fs::is_regular_file(filename) && fs::file_size(filename) == 0) throw Failure("The file " + filename + " is empty");
}

/// Fails where it is plain before any work that a file of that name can't be written.
void requireWritable(const std::string& filename) {
    if (fs::is_directory(filename)) throw Failure(filename + " is a folder");
    if (!AtomicFile::mayOpen(filename))
        throw Failure("The file " + filename + " can't be written: there is no such folder, or no permission");
}

const std::map<std::string, Precision>& precisions() {
    static const std::map<std::string, Precision> mPrecision{
        {"float", Precision::FLOAT}, {"double", Precision::DOUBLE}, {"auto", Precision::AUTO}};
    return mPrecision;
}

/// How a mesh file holds coordinates.
struct MeshForm {
    NumberForm form;
    const char* name;
};

MeshForm formOf(const std::string& filename, bool bAscii, bool bBinaryStl, Precision written) {
    if (isListFile(filename)) return {{false, 15}, "Fifteen digits"};
    if (isGlbFile(filename)) return {SINGLE_BYTES, "Single precision from the centre"};
    if (isThreeMfFile(filename)) return {SINGLE_BYTES, "Single precision with six decimals"};
    if (bBinaryStl) return {SINGLE_BYTES, "Single precision"};
    if (written == Precision::DOUBLE) return {{false, 0}, "Double precision"};
    if (!isPlyFile(filename)) return {LONG_TEXT, "Ten digits"};
    return bAscii ? MeshForm{SINGLE_TEXT, "Six digits"} : MeshForm{SINGLE_BYTES, "Single precision"};
}

/// A place as a .3mf holds it.
Point3 inThreeMf(const Point3& p) {
    constexpr double DECIMALS = 1e6;
    const Point3 single = inForm(p, SINGLE_BYTES);
    const auto rounded = [](double value) { return std::round(value * DECIMALS) / DECIMALS; };
    return {rounded(single.x()), rounded(single.y()), rounded(single.z())};
}

/// By how much a mesh is moved in a .3mf or a binary .stl, which hold single precision only: where the shape would suffer,
/// whole numbers that take its middle to about the origin, else nothing.
Vector3 singleShift(Mesh& mesh) {
    std::vector<Point3*> vVertices;
    std::vector<int> vIndices;
    mesh.getVertexIndexData(vVertices, vIndices);
    const std::vector<const Point3*> vPlaces(vVertices.begin(), vVertices.end());
    if (vPlaces.empty() || !losesShape(vPlaces, SINGLE_BYTES, surfaceSpacing(vPlaces))) return {};
    const Point3 centre = centreOf(vVertices);
    return {0.0 - std::round(centre.x()), 0.0 - std::round(centre.y()), 0.0 - std::round(centre.z())};
}

std::size_t numTrianglesOf(const Mesh& mesh) {
    std::vector<Point3*> vCorners;
    mesh.getTriangles(vCorners);
    return vCorners.size() / 3;
}

std::string figuresText(const MeshFigures& figures) {
    return std::to_string(figures.numVertices) + " vertices, " + std::to_string(figures.numTriangles) + " triangles, " +
           std::to_string(figures.vNumEdges[0]) + " border edges, " + std::to_string(figures.numNonManifoldEdges()) +
           " non-manifold edges, " + std::to_string(figures.numComponents) + " component(s)";
}

/// Normals of the mesh in place of those that were carried over.
void setNormals(const std::vector<Vector3>& vNormals, PointAttributes& attributes) {
    int axis = 0;
    for (const char* name : {"nx", "ny", "nz"}) {
        std::vector<float> vValue;
        vValue.reserve(vNormals.size());
        for (const Vector3& normal : vNormals)
            vValue.push_back(static_cast<float>(normal.getCartesian(axis)));
        attributes.set({name, std::move(vValue), {}});
        ++axis;
    }
}

/// The columns of whole numbers that single precision can't hold; without their values.
PointAttributes roundedNumbers(const PointAttributes& attributes) {
    constexpr double MOST = 16777216.0;  // 2^24
    PointAttributes rounded;
    for (const AttributeColumn& column : attributes.vColumns) {
        bool bFits = true;
        for (std::size_t i = 0; i < column.size() && bFits; ++i)
            bFits = !column.isKnown(i) || std::abs(column.number(i)) <= MOST;
        const bool bWhole = column.typeName().find("int") != std::string::npos;
        if (bWhole && !bFits) rounded.vColumns.push_back({column.name, {}, {}});
    }
    return rounded;
}

/// Gives colours of 16 bits and fractions 8 bits a channel, with an alpha of their type: most programs that read a .ply
/// know no others, and show them black.
void narrowColours(PointAttributes& attributes) {
    constexpr double MOST = 255.0;
    if (!attributes.hasColour() || attributes.find("red")->typeName() == "uint8") return;
    const std::string type = attributes.find("red")->typeName();
    const double brightest = type == "uint16" ? 65535.0 : 1.0;
    const auto isFitting = [&](const AttributeColumn& column) {  // an alpha needn't be
        for (std::size_t i = 0; i < column.size(); ++i)
            if (column.isKnown(i) && !(column.number(i) >= 0.0 && column.number(i) <= brightest)) return false;
        return column.typeName() == type;
    };
    for (const char* name : {"red", "green", "blue", "alpha"}) {
        const AttributeColumn* const pColumn = attributes.find(name);
        if (pColumn == nullptr || !isFitting(*pColumn)) continue;
        AttributeColumn narrow{name, {}, std::vector<unsigned char>(pColumn->size(), 0)};
        std::vector<std::uint8_t> vByte(pColumn->size(), 0);
        for (std::size_t i = 0; i < vByte.size(); ++i) {
            if (pColumn->isKnown(i))
                vByte[i] = static_cast<std::uint8_t>(std::round(pColumn->number(i) / brightest * MOST));
            else
                narrow.vMissing[i] = 1;
        }
        narrow.values = std::move(vByte);
        attributes.set(std::move(narrow));
    }
}

}  // namespace

nlohmann::ordered_json toJson(const PointAttributes& attributes) {
    nlohmann::ordered_json columns = nlohmann::ordered_json::object();
    for (const AttributeColumn& column : attributes.vColumns)
        columns[column.name] = column.typeName();
    return columns;
}

std::string namesOf(const PointAttributes& attributes) {
    std::string text;
    for (const AttributeColumn& column : attributes.vColumns)
        text += (text.empty() ? "" : ", ") + column.name;
    return text;
}

const CLI::Validator finiteNumber = numberWhere("a finite number", [](double) { return true; });
const CLI::Validator positiveNumber = numberWhere("a finite number above 0", [](double v) { return v > 0.0; });
const CLI::Validator positiveCount{[](std::string& text) {
                                       std::size_t value = 0;
                                       const char* const end = text.data() + text.size();
                                       const auto [behind, error] = std::from_chars(text.data(), end, value);
                                       const bool bGood = error == std::errc() && behind == end && value > 0;
                                       return bGood ? std::string() : "'" + text + "' isn't a whole number above 0";
                                   },
                                   "NUMBER"};
const CLI::Validator nonNegativeNumber = numberWhere("a finite number of at least 0", [](double v) { return v >= 0.0; });

void Program::addCommonOptions(CLI::App& command) {
    command.add_flag("--quiet", bQuiet, "Print results and errors only");
    command
        .add_option_function<int>("--threads", setNumThreads,
                                  "Number of threads, 0 for one per processor; never changes a result")
        ->check(CLI::Range(0, 1024))
        ->default_str("0");
    command.add_option("--json", jsonFile,
                       "Write a report to this file: what was read and made, seconds of each step, peak memory");
}

void Program::addPrecisionOption(CLI::App& command) {
    command
        .add_option("--precision", precisionName,
                    "Coordinates in OUT; auto: double where float would join vertices or visibly move one")
        ->check(CLI::IsMember(precisions()))
        ->capture_default_str();
}

void Program::addMeshOutputOptions(CLI::App& command) {
    addPrecisionOption(command);
    command.add_flag("--stl-binary", bBinaryStl, "Write an .stl as bytes, which is smaller and in single precision");
    command.add_flag("--normals", bNormals, "Write the normals of the vertices into an .obj, .ply or .glb");
}

CLI::Option* Program::addInput(CLI::App& command, const std::string& name, std::string& file, const std::string& text) {
    standardStreams.addInputFormat(command);
    return command.add_option(name, file, text)->transform(standardStreams.inputName());
}

CLI::Option* Program::addOutput(CLI::App& command, std::string& file, const std::string& text) {
    standardStreams.addOutputFormat(command);
    return command.add_option("OUT", file, text)->required()->transform(standardStreams.outputName());
}

void Program::requirePointInput(const std::string& filename) {
    requireReadable(filename, isPointInput, std::string("Points are read from ") + POINT_KINDS_IN);
}

void Program::requireTextInput(const std::string& filename) {
    requireReadable(filename, nullptr, "");
}

void Program::requireMeshInput(const std::string& filename) {
    requireReadable(filename, isTriangleInput, std::string("Triangles are read from ") + MESH_KINDS_IN);
}

void Program::requirePointOutput(const std::string& filename, const std::string& input) const {
    if (!isPointFile(filename) && !isListFile(filename))
        throw Failure(std::string("Points are written as ") + POINT_KINDS_OUT + ", which " + filename + " isn't");
    requireOutput(filename, input);
}

void Program::requireMeshOutput(const std::string& filename, const std::string& input) const {
    if (!isMeshOutput(filename))
        throw Failure(std::string("A mesh is written as ") + MESH_KINDS_OUT + ", which " + filename + " isn't");
    requireOutput(filename, input);
}

void Program::requireDrawingOutput(const std::string& filename, const std::string& input) const {
    if (!isListFile(filename)) throw Failure("A drawing is written as .list, which " + filename + " isn't");
    requireOutput(filename, input);
}

void Program::requireOutput(const std::string& filename, const std::string& input) const {
    if (bBinaryStl && !isStlFile(filename))
        throw Failure("--stl-binary chooses the form of an .stl, which " + filename + " isn't");
    if (bNormals && !isObjFile(filename) && !isPlyFile(filename) && !isGlbFile(filename))
        throw Failure("--normals is for an .obj, .ply or .glb, which " + filename + " isn't");
    if (bBinaryStl && precisions().at(precisionName) == Precision::DOUBLE)
        throw Failure("A binary .stl can't hold double precision");
    if ((isGlbFile(filename) || isThreeMfFile(filename)) && precisions().at(precisionName) == Precision::DOUBLE)
        throw Failure("The format of " + filename + " can't hold double precision");
    requireWritable(filename);
    requireReport({filename, input});
    if (!input.empty() && isSameFile(filename, standardStreams.original(input)))
        throw Failure("The output would overwrite the input " + input);
}

void Program::requireReport(const std::vector<std::string>& vFiles) const {
    standardStreams.requireUse();
    if (jsonFile.empty()) return;
    if (jsonFile == "-") throw Failure("--json takes the name of a file, not -");
    requireWritable(jsonFile);
    for (const std::string& file : vFiles)
        if (isSameFile(jsonFile, standardStreams.original(file))) throw Failure("The report would overwrite " + file);
}

void Program::noteTime(const std::string& name, const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    nlohmann::ordered_json& noted = json["seconds"][name];
    noted = (noted.is_null() ? 0.0 : noted.get<double>()) + seconds;
    json["peakMegabytes"] = static_cast<double>(peakMemory()) / (1024.0 * 1024.0);
}

std::function<std::string(std::string)> Program::plainNames() const {
    return [this](std::string text) { return standardStreams.withPlainNames(std::move(text)); };
}

void Program::step(const std::string& name, const std::function<void()>& work) {
    std::optional<ProgressBar> bar;
    if (!bQuiet && isatty(STDERR_FILENO) != 0) bar.emplace();
    const LibraryText text(LibraryText::Mode::LIVE, bQuiet, plainNames());
    try {
        noteTime(name, work);
    } catch (const KelBugException&) {
        throw Failure("The library stopped the run: " + text.lastWords());
    }
}

void Program::fileStep(const std::string& name, const std::string& failure,
                       const std::function<bool(const LibraryText&)>& work) {
    LibraryText text(LibraryText::Mode::HELD, bQuiet, plainNames());
    bool bDone = false;
    try {
        noteTime(name, [&] { bDone = work(text); });
    } catch (const KelBugException&) {  // its report is in the text
    }
    if (!bDone) throw Failure(failure + (text.lastWords().empty() ? "" : ": " + text.lastWords()));
    text.release();
}

void Program::readStep(const std::string& filename, const std::function<bool()>& read,
                       const std::function<std::size_t()>& numPoints) {
    const std::size_t numBefore = numPoints();
    fileStep("read", "Can't read points from " + filename, [&](const LibraryText& text) {
        if (!read()) return false;
        if (numPoints() > numBefore) return true;
        const std::string words = text.lastWords(), why = words.starts_with(filename + ":") ? words : filename;
        throw Failure("There is no point in " + why);
    });
}

void Program::appendPoints(const std::string& filename, std::vector<Point3>& vPoints, PointAttributes* pAttributes) {
    const auto read = [&] {
        if (!isGltfInput(filename))
            return pAttributes == nullptr ? readPointFile(filename, vPoints)
                                          : readPointFile(filename, vPoints, *pAttributes);
        GltfContent content = readGltfFile(filename);
        if (pAttributes != nullptr)
            appendRows(std::move(content.attributes.vColumns), vPoints.size(), content.vVertices.size(), *pAttributes);
        vPoints.insert(vPoints.end(), content.vVertices.begin(), content.vVertices.end());
        return true;
    };
    readStep(filename, read, [&] { return vPoints.size(); });
}

void Program::appendPoints(const std::string& filename, const ChoosePoints& choose, std::vector<Point3>& vPoints,
                           PointAttributes* pAttributes) {
    std::size_t numRead = 0;
    const ChoosePoints chooseCounted = [&](std::span<Point3> points, const ClassOf& classOf,
                                           std::vector<unsigned char>& vKept) {
        numRead += points.size();
        choose(points, classOf, vKept);
    };
    const auto read = [&] {
        if (!isGltfInput(filename)) return readChosenPoints(filename, chooseCounted, vPoints, pAttributes);
        GltfContent content = readGltfFile(filename);
        AttributeColumns columns;
        columns.columns() = std::move(content.attributes.vColumns);
        columns.chooseBy(chooseCounted, 0);
        columns.settle(content.vVertices);
        if (pAttributes != nullptr)
            appendRows(std::move(columns.columns()), vPoints.size(), content.vVertices.size(), *pAttributes);
        vPoints.insert(vPoints.end(), content.vVertices.begin(), content.vVertices.end());
        return true;
    };
    readStep(filename, read, [&] { return numRead; });
}

std::vector<Point3> Program::readPoints(const std::string& filename, const std::string& role, PointAttributes* pAttributes) {
    std::vector<Point3> vPoints;
    appendPoints(filename, vPoints, pAttributes);
    json[role] = {{"file", filename}, {"points", vPoints.size()}};
    return vPoints;
}

GltfContent Program::readGltfFile(const std::string& filename) const {
    GltfContent content = readGltf(filename);
    if (const std::string line = wrongGltfName(filename); !line.empty()) warn(line);
    for (const std::string& line : content.vWarnings)
        warn(std::string(filename).append(": ").append(line));
    return content;
}

bool Program::readNumbered(const std::string& filename, std::vector<Point3>& vVertices, std::vector<int>& vIndices,
                           PointAttributes* pAttributes) const {
    if (isGltfInput(filename)) {
        GltfContent content = readGltfFile(filename);
        vVertices = std::move(content.vVertices);
        vIndices = std::move(content.vIndices);
        if (pAttributes != nullptr) *pAttributes = std::move(content.attributes);
        return true;
    }
    return pAttributes == nullptr ? readTriangles_auto(filename, vVertices, vIndices)
                                  : readTriangles_auto(filename, vVertices, vIndices, *pAttributes);
}

std::vector<Point3> Program::readTriangles(const std::string& filename, PointAttributes* pAttributes) {
    std::vector<Point3> vCorners;
    fileStep("read", "Can't read triangles from " + filename, [&](const LibraryText&) {
        if (meshFormat(filename) == MeshFormat::STL) return readTriangles_auto(filename, vCorners);
        std::vector<Point3> vVertices;
        std::vector<int> vIndices;
        const bool bRead = readNumbered(filename, vVertices, vIndices, pAttributes);
        vCorners.reserve(vIndices.size());
        for (const int index : vIndices)
            vCorners.push_back(vVertices[static_cast<std::size_t>(index)]);
        return bRead;
    });
    noteTriangles(filename, vCorners.size() / 3);
    return vCorners;
}

IndexedTriangles Program::readIndexedTriangles(const std::string& filename, bool bJoin, PointAttributes* pAttributes) {
    IndexedTriangles mesh;
    if (meshFormat(filename) == MeshFormat::STL) {
        std::vector<Point3> vCorners = readTriangles(filename);
        step("measure", [&] { mesh = unifiedCorners(std::exchange(vCorners, {})); });
        return mesh;
    }
    std::vector<Point3> vVertices;
    std::vector<int> vIndices;
    fileStep("read", "Can't read triangles from " + filename,
             [&](const LibraryText&) { return readNumbered(filename, vVertices, vIndices, pAttributes); });
    noteTriangles(filename, vIndices.size() / 3);
    step("measure", [&] { mesh = (bJoin ? unifiedVertices : numberedVertices)(vVertices, vIndices); });
    return mesh;
}

void Program::noteTriangles(const std::string& filename, std::size_t numTriangles) {
    if (numTriangles == 0) throw Failure("There is no triangle in " + filename);
    json["input"] = {{"file", filename}, {"triangles", numTriangles}};
}

MeshPtr Program::readMesh(const std::string& filename, bool bJoin, CarriedColumns* pColumns) {
    std::vector<Point3> vVertices;
    std::vector<int> vIndices;
    std::vector<std::size_t> vRow;
    MeshPtr pMesh;
    fileStep("read", "Can't read a mesh from " + filename, [&](const LibraryText&) {
        if (!readNumbered(filename, vVertices, vIndices, pColumns != nullptr ? &pColumns->attributes : nullptr))
            return false;
        pMesh = makeMesh(vVertices, vIndices, 0.0, bJoin || meshFormat(filename) == MeshFormat::STL, vRow);
        return pMesh != nullptr;
    });
    noteTriangles(filename, numTrianglesOf(*pMesh));
    if (pColumns != nullptr) pColumns->moveToMesh(pMesh, vVertices, bJoin ? std::vector<std::size_t>() : vRow);
    return pMesh;
}

void Program::writePoints(std::string filename, std::vector<Point3>& vPoints, bool bAscii,
                          const PointAttributes& attributes) {
    const Precision precision = precisions().at(precisionName);
    // Text is always exact, unless the user wants it short.
    const bool bExactText = isPointsText(filename) && precision == Precision::AUTO;
    fileStep("write", "Can't write " + filename, [&](const LibraryText&) {
        if (isLasName(filename)) return writePoints_LAS(filename.c_str(), vPoints, attributes);
        return writePoints_auto(filename, vPoints, bAscii, bExactText ? Precision::DOUBLE : precision, attributes);
    });
    json["output"] = {{"file", filename}, {"points", vPoints.size()}};
    standardStreams.deliver(filename);
    say(filename + ": " + std::to_string(vPoints.size()) + " points");
}

void Program::writeMesh(const std::string& filename, const MeshPtr& pMesh, bool bAscii, PointAttributes attributes) {
    Precision written = precisions().at(precisionName);
    bool bTooFineForStl = false;
    fileStep("write", "Can't write " + filename, [&](const LibraryText&) {
        if (bNormals && isPlyFile(filename)) setNormals(vertexNormals(pMesh), attributes);
        if (isPlyFile(filename)) narrowColours(attributes);
        if (isThreeMfFile(filename) || bBinaryStl) shift = singleShift(*pMesh);
        if (written == Precision::AUTO) written = neededPrecision(filename, pMesh, bAscii);
        bTooFineForStl = isStlFile(filename) && !bBinaryStl && neededPrecision(".ply", pMesh, false) == Precision::DOUBLE;
        return writeInFormat(filename, pMesh, bAscii, written, attributes);
    });
    standardStreams.deliver(filename);
    json["output"] = {{"file", filename}};
    if (!attributes.empty()) json["output"]["columns"] = toJson(attributes);
    warnOfShift(filename);
    if (const std::string names = isGlbFile(filename) ? namesOf(roundedNumbers(attributes)) : ""; !names.empty())
        warn(filename + " holds single precision, in which whole numbers above 16777216 are rounded: " + names);
    if (bTooFineForStl)
        warn("Most programs read an .stl in single precision, in which the shape in " + filename +
             " suffers: write .ply or .obj, or move the points to the origin");
    if (isWatched()) say(filename + ": " + figuresText(measureFile(filename, bAscii, written, *pMesh)));
}

void Program::warnOfShift(const std::string& filename) const {
    if (shift.isDegenerate()) return;
    std::ostringstream numbers;
    numbers.imbue(std::locale::classic());
    numbers << std::setprecision(EXACT_DIGITS) << shift.x() << " " << shift.y() << " " << shift.z();
    warn("The mesh in " + filename + " is moved by " + numbers.str() +
         ", as it holds single precision, in which the shape would suffer where it is");
}

bool Program::writeInFormat(const std::string& filename, const MeshPtr& pMesh, bool bAscii, Precision precision,
                            const PointAttributes& attributes) const {
    if (isGlbFile(filename))
        return writeGlb(filename, pMesh, attributes, bNormals ? vertexNormals(pMesh) : normalsOf(attributes));
    if (isThreeMfFile(filename)) return writeThreeMf(filename, pMesh, shift, attributes);
    if (isObjFile(filename)) return toObj(pMesh, filename, precision, bNormals, attributes);
    if (isOffFile(filename)) return toOff(pMesh, filename, precision, attributes);
    if (bBinaryStl) return writeSTL_BIN(pMesh, filename, shift);
    return writeMesh_auto(filename, pMesh, bAscii, precision, attributes);
}

void Program::writeHoles(const std::string& filename, const MeshPtr& pMesh) {
    fileStep("write", "Can't write " + filename, [&](const LibraryText&) { return findHoles(pMesh, filename); });
    standardStreams.deliver(filename);
    json["output"] = {{"file", filename}};
    if (!isWatched()) return;
    const MeshFigures figures = measureFile(filename, false, Precision::FLOAT, *pMesh);
    say(filename + ": " + std::to_string(figures.numBorderLoops) + " border loop(s), " +
        std::to_string(figures.vNumEdges[0]) + " border edges, " + std::to_string(figures.numNonManifoldEdges()) +
        " non-manifold edges");
}

bool Program::isWatched() const {
    return !bQuiet || !jsonFile.empty();
}

MeshFigures Program::measureFile(const std::string& filename, bool bAscii, Precision written, Mesh& mesh) {
    const MeshForm held = formOf(filename, bAscii, bBinaryStl, written);
    MeshFigures figures;
    std::size_t numExact = 0, numRounded = 0;  // places
    step("measure", [&] {
        std::vector<Point3*> vPointers;
        std::vector<int> vIndices;
        mesh.getVertexIndexData(vPointers, vIndices);
        std::vector<Point3> vVertices;
        vVertices.reserve(vPointers.size());
        for (const Point3* p : vPointers)
            vVertices.push_back(*p);
        numExact = numPlaces(vVertices);
        const Vector3 origin = isGlbFile(filename) ? centreOf(vPointers) - Point3(0, 0, 0) : Vector3() - shift;
        for (Point3& p : vVertices)
            p = isThreeMfFile(filename) ? inThreeMf(p + shift) : inForm(p - origin, held.form);
        numRounded = numPlaces(vVertices);
        figures = measureMesh(numbersVertices(filename) ? numberedVertices(vVertices, vIndices)
                                                        : unifiedVertices(vVertices, vIndices));
    });
    json["mesh"] = figures.toJson();
    if (numRounded < numExact)
        warn(std::string(held.name) + ", which " + filename + " holds, leaves " + std::to_string(numRounded) + " of " +
             std::to_string(numExact) + " places apart: " +
             (isListFile(filename)      ? ""
              : bBinaryStl              ? "write without --stl-binary, or "
              : isGlbFile(filename)     ? "write .ply, or "
              : isThreeMfFile(filename) ? "scale a tiny mesh up, or "
                                        : "write with --precision auto, or ") +
             (isGlbFile(filename) ? "write the parts apart" : "move the points to the origin"));
    return figures;
}

void Program::say(const std::string& line) const {
    if (bQuiet) return;
    const std::string text = standardStreams.withPlainNames(line);
    if (bOutputKept || standardStreams.isOutputTaken())
        std::cerr << text << std::endl;
    else
        print(text);
}

void Program::warn(const std::string& line) const {
    if (!bQuiet) std::cerr << "kel: warning: " << standardStreams.withPlainNames(line) << std::endl;
}

void Program::print(const std::string& line) {
    if (!(std::cout << line << std::endl)) throw Failure("Can't write to standard output");
}

void Program::writeReport() {
    if (jsonFile.empty()) return;
    // A file name may hold any bytes, a report only UTF-8.
    const std::string text =
        standardStreams.withPlainNames(json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
    AtomicFile file(jsonFile);
    file.write(text + "\n");
    if (!file.commit()) throw Failure("Can't write " + jsonFile);
}
