// The frame that all commands of the program share: common options, one-line failures, a clean standard output, the progress
// bar, and the report.
#pragma once

#include <kel.h>

#include <CLI/CLI.hpp>
#include <functional>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "MeshAnalysis.h"

class LibraryText;

/// What ends a command: printed as one line on standard error, exit status 1.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// One run of one command: its common options and its report.
///
/// A command first calls the require functions, so that nothing that is known to fail costs the user any time, then does its
/// work in steps. Standard output belongs to the program: while a step runs, what the library prints goes to standard error,
/// or nowhere with --quiet.
class Program {
public:
    /// Adds --quiet, --threads and --json to a command.
    void addCommonOptions(CLI::App& command);

    /// Fails unless points can be read from a file of that name.
    static void requirePointInput(const std::string& filename);
    /// Fails unless triangles can be read from a file of that name.
    static void requireMeshInput(const std::string& filename);
    /// Fails unless points can be written under that name and no input, where there is one, is lost by it.
    void requirePointOutput(const std::string& filename, const std::string& input = "") const;
    /// Fails unless a mesh can be written under that name and no input is lost by it.
    void requireMeshOutput(const std::string& filename, const std::string& input) const;
    /// The same for a drawing.
    void requireDrawingOutput(const std::string& filename, const std::string& input) const;
    /// Fails unless the report can be written where --json wants it and overwrites none of these files.
    void requireReport(const std::vector<std::string>& vFiles) const;

    /// Runs a piece of work that calls the library and adds to the seconds under that name how long it took. Draws a
    /// progress bar on standard error when that is a terminal. A KelBugException becomes a Failure.
    void step(const std::string& name, const std::function<void()>& work);

    /// The points of a file; fails when it can't be read or holds none. role: its entry in the report.
    std::vector<TARN_KEL::Point3> readPoints(std::string filename, const std::string& role = "input");
    /// The triangles of a file, three corners each; fails when it can't be read or holds none.
    std::vector<TARN_KEL::Point3> readTriangles(const std::string& filename);
    /// The same on vertices: those that the file numbers or, with bJoin or where it numbers none, one for each place.
    IndexedTriangles readIndexedTriangles(const std::string& filename, bool bJoin);
    /// The mesh of a file, cleaned up as readMesh_auto() does; fails when it can't be read or nothing is left of it.
    TARN_KEL::MeshPtr readMesh(const std::string& filename, bool bJoin = true);
    /// Writes points and says how many. bAscii chooses the form of a .ply, here and below.
    void writePoints(std::string filename, std::vector<TARN_KEL::Point3>& vPoints, bool bAscii = false);
    /// Writes a mesh, notes the figures of what the file holds, and warns when rounding brought vertices together.
    void writeMesh(const std::string& filename, const TARN_KEL::MeshPtr& pMesh, bool bAscii = false);
    /// Writes the drawing that findHoles() makes, notes the figures of the mesh, and says how many borders it has.
    void writeHoles(const std::string& filename, const TARN_KEL::MeshPtr& pMesh);

    /// What --json writes.
    nlohmann::ordered_json& report() { return json; }
    /// A line on standard output, unless --quiet.
    void say(const std::string& line) const;
    /// A line on standard error, unless --quiet.
    void warn(const std::string& line) const;
    /// A line on standard output: what the command was asked for.
    static void print(const std::string& line);
    /// Writes the report where --json wants it.
    void writeReport();

private:
    /// A step that says by its result whether it succeeded; it fails with that text and the library's own last words, which
    /// make one line together.
    void fileStep(const std::string& name, const std::string& failure, const std::function<bool(const LibraryText&)>& work);
    void requireOutput(const std::string& filename, const std::string& input) const;
    /// Fails where there is none.
    void noteTriangles(const std::string& filename, std::size_t numTriangles);
    /// True when somebody asks for figures.
    bool isWatched() const;
    MeshFigures measureFile(const std::string& filename, bool bAscii, TARN_KEL::Mesh& mesh);
    void noteTime(const std::string& name, const std::function<void()>& work);

    bool bQuiet = false;
    std::string jsonFile;
    nlohmann::ordered_json json;
};

/// For CLI11: a finite number above 0.
extern const CLI::Validator positiveNumber;
/// For CLI11: a finite number not below 0.
extern const CLI::Validator nonNegativeNumber;
