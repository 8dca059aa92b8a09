// The frame that all commands of the program share: common options, one-line failures, a clean standard output, the progress
// bar, and the report.
#pragma once

#include <kel.h>
#include <CLI/CLI.hpp>
#include <chrono>
#include <functional>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

/// What ends a command: printed as one line on standard error, exit status 1.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// One run of one command: its common options and its report.
///
/// Standard output belongs to the program: while a library call runs, what the library prints goes to standard error, or
/// nowhere with --quiet.
class Program {
public:
    /// Adds --quiet and --json to a command.
    void addCommonOptions(CLI::App& command);

    /// Runs a piece of work that calls the library and notes under that name how long it took.
    void step(const std::string& name, const std::function<void()>& work);
    /// The same with a progress bar on standard error when that is a terminal.
    void stepWithProgress(const std::string& name, const std::function<void()>& work);

    /// The points of a file; fails when it can't be read or holds none.
    std::vector<TARN_KEL::Point3> readPoints(std::string filename);
    /// Fails unless a mesh can be written under that name. Called before the work starts.
    static void requireMeshOutput(const std::string& filename);
    /// Fails unless the folder of that file is there. Called before the work starts.
    static void requireFolder(const std::string& filename);
    /// Writes a mesh and notes its figures; fails when it can't be written.
    void writeMesh(const std::string& filename, const TARN_KEL::MeshPtr& pMesh);

    /// What --json writes.
    nlohmann::ordered_json& report() { return json; }
    /// A line on standard output, unless --quiet.
    void say(const std::string& line) const;
    /// Writes the report where --json wants it.
    void writeReport();

private:
    bool bQuiet = false;
    std::string jsonFile;
    nlohmann::ordered_json json;
};

/// For CLI11: a finite number above 0.
extern const CLI::Validator positiveNumber;
/// For CLI11: a finite number not below 0.
extern const CLI::Validator nonNegativeNumber;
