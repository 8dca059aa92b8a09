// What all commands of the program share: common options, one-line failures, a clean standard output, the progress bar, and
// the report.
#pragma once

#include <kel.h>

#include <CLI/CLI.hpp>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "../../src_lib/files/pointChoice.h"
#include "Failure.h"
#include "GltfFile.h"
#include "MeshAnalysis.h"
#include "Pipes.h"

class LibraryText;
struct CarriedColumns;

/// One run of one command: its common options and its report.
///
/// A command first calls the require functions, so that the user doesn't wait for something that is bound to fail. Then it
/// does its work in steps. Standard output belongs to the program: while a step runs, what the library prints goes to
/// standard error, or nowhere with --quiet.
class Program {
public:
    /// Adds --quiet, --threads and --json to a command.
    void addCommonOptions(CLI::App& command);
    /// Adds --precision to a command that writes points.
    void addPrecisionOption(CLI::App& command);
    /// Adds --precision, --stl-binary and --normals to a command that writes a mesh.
    void addMeshOutputOptions(CLI::App& command);

    /// Adds a file that a command reads, where - is standard input.
    CLI::Option* addInput(CLI::App& command, const std::string& name, std::string& file, const std::string& text);
    /// Adds OUT, where - is standard output.
    CLI::Option* addOutput(CLI::App& command, std::string& file, const std::string& text);
    /// What - stands for.
    Pipes& pipes() { return standardStreams; }

    /// Fails unless points can be read from a file of that name.
    static void requirePointInput(const std::string& filename);
    /// Fails unless a file of that name, of any kind, can be read.
    static void requireTextInput(const std::string& filename);
    /// Fails unless triangles can be read from a file of that name.
    static void requireMeshInput(const std::string& filename);
    /// Fails unless points can be written under that name without overwriting the input, if there is one.
    void requirePointOutput(const std::string& filename, const std::string& input = "") const;
    /// Fails unless a mesh can be written under that name without overwriting the input.
    void requireMeshOutput(const std::string& filename, const std::string& input) const;
    /// The same for a drawing.
    void requireDrawingOutput(const std::string& filename, const std::string& input) const;
    /// Fails unless the report can be written to the file of --json without overwriting any of these files. All commands
    /// call it, so it also fails for a format of pipes without a pipe.
    void requireReport(const std::vector<std::string>& vFiles) const;

    /// Runs some work that calls the library, and adds the time that it took to the seconds under that name. Draws a
    /// progress bar on standard error when that is a terminal. A KelBugException becomes a Failure.
    void step(const std::string& name, const std::function<void()>& work);

    /// The points of a file; fails when it can't be read or has none. role: its entry in the report.
    /// pAttributes: gets what they carry; null where nobody wants it.
    std::vector<TARN_KEL::Point3> readPoints(const std::string& filename, const std::string& role = "input",
                                             TARN_KEL::PointAttributes* pAttributes = nullptr);
    /// Appends the points of a file; fails when it can't be read or has none. pAttributes: gets their rows; null where
    /// nobody wants them.
    void appendPoints(const std::string& filename, std::vector<TARN_KEL::Point3>& vPoints,
                      TARN_KEL::PointAttributes* pAttributes = nullptr);
    /// The same with those alone that are chosen, of which there may be none.
    void appendPoints(const std::string& filename, const TARN_KEL::ChoosePoints& choose,
                      std::vector<TARN_KEL::Point3>& vPoints, TARN_KEL::PointAttributes* pAttributes);
    /// The triangles of a file, three corners each; fails when it can't be read or has none.
    std::vector<TARN_KEL::Point3> readTriangles(const std::string& filename,
                                                TARN_KEL::PointAttributes* pAttributes = nullptr);
    /// The same as triangles on vertices: on those that the file numbers; with bJoin, or if it numbers none, on one for each
    /// place. pAttributes: gets what the vertices of the file carry, in its order; null where nobody wants it.
    IndexedTriangles readIndexedTriangles(const std::string& filename, bool bJoin,
                                          TARN_KEL::PointAttributes* pAttributes = nullptr);
    /// The mesh of a file, cleaned up as readMesh_auto() does; fails when it can't be read or no triangle is left.
    /// pColumns: gets what the vertices carry, in the order of the mesh; null where nobody wants it.
    TARN_KEL::MeshPtr readMesh(const std::string& filename, bool bJoin = true, CarriedColumns* pColumns = nullptr);
    /// Writes points and prints how many. bAscii: the form of a .ply file, here and below.
    /// attributes: what they carry, as far as the format can hold it; here and below.
    void writePoints(std::string filename, std::vector<TARN_KEL::Point3>& vPoints, bool bAscii = false,
                     const TARN_KEL::PointAttributes& attributes = {});
    /// Writes a mesh, adds the figures of the written mesh to the report, and warns when rounding has joined vertices, or
    /// may spoil the mesh in a program that reads the file. Colours in a .ply get 8 bits a channel.
    void writeMesh(const std::string& filename, const TARN_KEL::MeshPtr& pMesh, bool bAscii = false,
                   TARN_KEL::PointAttributes attributes = {});
    /// Writes the drawing of findHoles(), adds the figures of the mesh to the report, and prints how many borders it has.
    void writeHoles(const std::string& filename, const TARN_KEL::MeshPtr& pMesh);

    /// The report that --json writes.
    nlohmann::ordered_json& report() { return json; }
    /// Makes say() print on standard error: standard output is for the one result of the command.
    void keepOutputForResult() { bOutputKept = true; }
    /// Prints a line on standard output, or on standard error where the former is for a file; not with --quiet.
    void say(const std::string& line) const;
    /// Prints a line on standard error, unless --quiet.
    void warn(const std::string& line) const;
    /// Prints a line on standard output, also with --quiet: the result that the command was asked for.
    static void print(const std::string& line);
    /// Writes the report to the file of --json.
    void writeReport();

private:
    /// A step whose work returns whether it succeeded. When it didn't, fails with one line: that text and the library's own
    /// last line.
    void fileStep(const std::string& name, const std::string& failure, const std::function<bool(const LibraryText&)>& work);
    /// A step that reads points. read: bool(), appends; numPoints: how many there are so far.
    void readStep(const std::string& filename, const std::function<bool()>& read,
                  const std::function<std::size_t()>& numPoints);
    /// Reads a mesh as the file numbers its vertices, which must be none before. False, or Failure, when it can't be read.
    bool readNumbered(const std::string& filename, std::vector<TARN_KEL::Point3>& vVertices, std::vector<int>& vIndices,
                      TARN_KEL::PointAttributes* pAttributes) const;
    /// What says the names of temporary files as what they stand for.
    std::function<std::string(std::string)> plainNames() const;
    /// The content of a glTF file, with its warnings said.
    GltfContent readGltfFile(const std::string& filename) const;
    void requireOutput(const std::string& filename, const std::string& input) const;
    /// Adds the number to the report. Fails when it is 0.
    void noteTriangles(const std::string& filename, std::size_t numTriangles);
    /// Whether the figures will be shown or reported.
    bool isWatched() const;
    /// Writes a mesh in that precision, in the format of the file's name.
    bool writeInFormat(const std::string& filename, const TARN_KEL::MeshPtr& pMesh, bool bAscii,
                       TARN_KEL::Precision precision, const TARN_KEL::PointAttributes& attributes) const;
    /// Says by how much the mesh in a file was moved, if it was.
    void warnOfShift(const std::string& filename) const;
    /// The figures of a mesh in a file of that precision, FLOAT or DOUBLE.
    MeshFigures measureFile(const std::string& filename, bool bAscii, TARN_KEL::Precision written, TARN_KEL::Mesh& mesh);
    void noteTime(const std::string& name, const std::function<void()>& work);

    Pipes standardStreams;
    bool bQuiet = false;
    bool bOutputKept = false;
    std::string precisionName = "auto";
    bool bBinaryStl = false;
    bool bNormals = false;
    TARN_KEL::Vector3 shift;  // of the mesh that was written last, in its file
    std::string jsonFile;
    nlohmann::ordered_json json;
};

/// The names and types of columns, for a report.
nlohmann::ordered_json toJson(const TARN_KEL::PointAttributes& attributes);
/// The names of columns, for a line.
std::string namesOf(const TARN_KEL::PointAttributes& attributes);

/// For CLI11: a finite number.
extern const CLI::Validator finiteNumber;
/// For CLI11: a finite number above 0.
extern const CLI::Validator positiveNumber;
/// For CLI11: a whole number above 0.
extern const CLI::Validator positiveCount;
/// For CLI11: a finite number not below 0.
extern const CLI::Validator nonNegativeNumber;
