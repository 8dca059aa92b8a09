// kel info: the figures of a file.
#include <algorithm>
#include <array>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "FileKinds.h"
#include "MeshAnalysis.h"
#include "PostProcessing.h"
#include "commands.h"

using namespace TARN_KEL;

namespace {

struct InfoOptions {
    std::string mesh;
    std::optional<std::string> reference;
    std::optional<double> within;
    bool bJoin = false;
};

/// A name and its values, in columns.
template <typename... Values>
void printFigure(const std::string& name, const Values&... values) {
    constexpr std::size_t WIDTH = 26;
    std::ostringstream line;
    line << name << std::string(name.size() < WIDTH ? WIDTH - name.size() : 1, ' ');
    (line << ... << values);
    Program::print(line.str());
}

void printMesh(const MeshFigures& f) {
    printFigure("vertices", f.numVertices, " (", f.numPinchedVertices, " pinched)");
    printFigure("triangles", f.numTriangles, " (", f.numDegenerate, " degenerate, ", f.numDuplicates, " duplicate)");
    if (f.numNotFinite > 0) printFigure("triangles left out", f.numNotFinite, " (a coordinate isn't finite)");
    printFigure("edges by degree", "1: ", f.vNumEdges[0], ", 2: ", f.vNumEdges[1], ", 3: ", f.vNumEdges[2],
                ", 4: ", f.vNumEdges[3], ", more: ", f.vNumEdges[4]);
    if (f.numEdges() > 0) printFigure("average edge length", f.averageEdgeLength);
    printFigure("self-intersections", f.numSelfIntersections);
    printFigure("orientation conflicts", f.numOrientationConflicts);
    printFigure("components", f.numComponents, " (", f.numPieces, " joined by edges)");
    printFigure("Euler characteristic", f.eulerCharacteristic);
    printFigure("border loops", f.numBorderLoops);
    printFigure("closed pieces", f.numOutward, " outward, ", f.numInward, " inward, ", f.numUnclear, " unclear");
    if (f.numOutward + f.numInward > 0) printFigure("volume", f.volume);
}

void printVerdict(const MeshFigures& f) {
    const auto orNot = [](bool bHolds, const std::string& what) { return (bHolds ? "" : "not ") + what; };
    printFigure("the mesh is", orNot(f.isManifold(), "manifold"), ", ", orNot(f.isClosed(), "closed"), ", ",
                orNot(f.isOriented(), "oriented"));
}

/// 100 only for all of them, however many they are.
double percent(double share) {
    constexpr double MOST = 99.9999;  // the last number below 100 that is printed
    return share < 1.0 ? std::min(100.0 * share, MOST) : 100.0;
}

void printDistances(const CloudDistances& d, std::size_t numNotFinite) {
    if (numNotFinite > 0) printFigure("points left out", numNotFinite, " (a coordinate isn't finite)");
    printFigure("distance to the points", "max ", d.max, ", mean ", d.mean, ", 99% within ", d.quantile99);
    printFigure("within an average edge", percent(d.shareWithinAverageEdge), "% of the vertices");
    if (d.within) printFigure("within the given length", percent(*d.shareWithinAsked), "% of the vertices");
}

/// What the vertices of a file carry.
void printColumns(const PointAttributes& attributes, Program& program) {
    if (attributes.empty()) return;
    program.report()["mesh"]["columns"] = toJson(attributes);
    printFigure("columns", namesOf(attributes));
}

struct Reference {
    std::vector<Point3> vPoints;  // finite
    std::size_t numNotFinite = 0;
};

Reference readReference(const std::string& filename, Program& program) {
    Reference reference{program.readPoints(filename, "reference"), 0};
    reference.numNotFinite = std::erase_if(reference.vPoints, [](const Point3& p) { return !isFinitePoint(p); });
    if (reference.vPoints.empty()) throw Failure("There is no point with finite coordinates in " + filename);
    program.report()["reference"]["points"] = reference.vPoints.size();
    program.report()["reference"]["notFinite"] = reference.numNotFinite;
    return reference;
}

// ---- Clouds

/// The least and the greatest coordinates of the finite points.
struct Bounds {
    static constexpr double NONE = std::numeric_limits<double>::infinity();

    std::array<double, 3> aLeast{NONE, NONE, NONE}, aGreatest{-NONE, -NONE, -NONE};
    std::size_t numFinite = 0;
};

Bounds boundsOf(const std::vector<Point3>& vPoints) {
    Bounds bounds;
    for (const Point3& p : vPoints) {
        if (!isFinitePoint(p)) continue;
        ++bounds.numFinite;
        const std::array<double, 3> aValue{p.x(), p.y(), p.z()};
        for (std::size_t axis = 0; axis < aValue.size(); ++axis) {
            bounds.aLeast[axis] = std::min(bounds.aLeast[axis], aValue[axis]);
            bounds.aGreatest[axis] = std::max(bounds.aGreatest[axis], aValue[axis]);
        }
    }
    return bounds;
}

/// As many digits as map coordinates need.
std::string digits(double value) {
    std::ostringstream text;
    text.precision(12);
    text << value;
    return text.str();
}

/// The type of a column, and the range of what is known of it.
std::string rangeText(const AttributeColumn& column) {
    double least = Bounds::NONE, greatest = -Bounds::NONE;
    std::size_t numUnknown = 0;
    for (std::size_t row = 0; row < column.size(); ++row) {
        if (!column.isKnown(row)) {
            ++numUnknown;
            continue;
        }
        least = std::min(least, column.number(row));
        greatest = std::max(greatest, column.number(row));
    }
    return column.typeName() + (least <= greatest ? ", " + digits(least) + " to " + digits(greatest) : "") +
           (numUnknown > 0 ? ", not known of " + std::to_string(numUnknown) + " points" : "");
}

void infoOfCloud(const std::string& filename, Program& program) {
    PointAttributes attributes;
    std::vector<Point3> vPoints = program.readPoints(filename, "input", &attributes);
    const std::size_t numPoints = vPoints.size();
    Bounds bounds;
    double spacing = -1.0;
    program.step("measure", [&] {
        bounds = boundsOf(vPoints);
        if (bounds.numFinite > 0) spacing = estimateAvgSpacing(vPoints);
    });
    const std::size_t numNotFinite = numPoints - bounds.numFinite;
    auto& entry =
        program.report()["cloud"] = {{"points", numPoints}, {"notFinite", numNotFinite}, {"columns", toJson(attributes)}};
    printFigure("points", numPoints);
    if (numNotFinite > 0) printFigure("points left out", numNotFinite, " (a coordinate isn't finite)");
    if (bounds.numFinite > 0) {
        entry["least"] = bounds.aLeast;
        entry["greatest"] = bounds.aGreatest;
        for (std::size_t axis = 0; axis < bounds.aLeast.size(); ++axis)
            printFigure(std::string(1, "xyz"[axis]), digits(bounds.aLeast[axis]), " to ", digits(bounds.aGreatest[axis]));
    }
    if (spacing > 0.0) {
        entry["spacing"] = spacing;
        printFigure("spacing", spacing);
    }
    for (const AttributeColumn& column : attributes.vColumns)
        printFigure(column.name, rangeText(column));
}

/// A named pipe can't be looked into before it is read: what may have triangles must have some.
bool isCloud(const std::string& filename) {
    if (!isTriangleInput(filename)) return isPointInput(filename);
    return isPointInput(filename) && std::filesystem::is_regular_file(filename) && !holdsTriangles(filename);
}

void info(const InfoOptions& options, Program& program) {
    const bool bCloud = isCloud(options.mesh);
    bCloud ? Program::requirePointInput(options.mesh) : Program::requireMeshInput(options.mesh);
    if (options.reference) Program::requirePointInput(*options.reference);
    program.requireReport({options.mesh, options.reference.value_or("")});
    if (bCloud && (options.reference || options.bJoin))
        throw Failure("--reference and --join are for a mesh, and there is no triangle in " + options.mesh);
    if (bCloud) return infoOfCloud(options.mesh, program);

    PointAttributes attributes;
    const IndexedTriangles mesh = program.readIndexedTriangles(options.mesh, options.bJoin, &attributes);
    if (mesh.vTriangles.empty()) throw Failure("There is no triangle with finite coordinates in " + options.mesh);
    Reference reference;
    if (options.reference) reference = readReference(*options.reference, program);

    MeshFigures figures;
    program.step("measure", [&] { figures = measureMesh(mesh); });
    program.report()["mesh"] = figures.toJson();
    printMesh(figures);
    printColumns(attributes, program);
    if (options.reference) {
        CloudDistances distances;
        program.step("measure", [&] {
            distances = measureDistances(mesh.vVertices, reference.vPoints, figures.averageEdgeLength, options.within);
        });
        program.report()["distances"] = distances.toJson();
        printDistances(distances, reference.numNotFinite);
    }
    printVerdict(figures);
}

}  // namespace

void addInfoCommand(CLI::App& app, Program& program) {
    auto pOptions = std::make_shared<InfoOptions>();
    CLI::App& command = *app.add_subcommand(
        "info", "Print how good a mesh is (topology, orientation, faults, distances), or what a cloud has");
    program.addInput(command, "FILE", pOptions->mesh, std::string(MESH_IN) + "; or points: " + POINT_KINDS_IN)->required();
    command.add_flag("--join", pOptions->bJoin,
                     "Join vertices with different numbers that are at one place, as is always done for an .stl");
    CLI::Option* pReference =
        command.add_option("--reference", pOptions->reference,
                           std::string("Measure the distances of the vertices to these points: ") + POINT_KINDS_IN);
    pReference->transform(program.pipes().inputName());
    command.add_option("--within", pOptions->within, "Print the share of vertices no farther than this from the points")
        ->check(positiveNumber)
        ->needs(pReference);
    program.addCommonOptions(command);
    command.callback([pOptions, &program] { info(*pOptions, program); });
}
