// The points that a command works on: from one file or more, chosen and placed as the user wants.
#pragma once

#include <kel.h>

#include <CLI/CLI.hpp>
#include <cstddef>
#include <string>
#include <vector>

#include "Program.h"

/// Which points of the files are taken, and where to.
///
/// The order is that of the fields: classes, then the matrix, then the box, which is in the new coordinates, then every n-th
/// point of what is left, and last the largest number.
struct PointChoice {
    std::vector<int> vClasses;  ///< none: all
    std::string matrixFile;     ///< empty: points stay where they are
    std::vector<double> vBox;   ///< the least x, y and z, then the greatest, which belong to it; none: no box
    std::size_t every = 1;      ///< the first point of so many
    std::size_t maxPoints = 0;  ///< 0: any number

    /// Whether it takes all points as they are.
    bool isAll() const;
};

/// The files that the points of a command come from, one or more, and what of them.
struct PointInput {
    std::vector<std::string> vFiles;  ///< their points follow each other
    PointChoice choice;

    /// Fails where it is plain before any work that the points can't be read or chosen so.
    void require() const;
    /// All files that are read, also that of the matrix.
    std::vector<std::string> readFiles() const;
    /// The points. Says how many were left out, and why; fails when a file can't be read or has none, or none is left.
    /// pAttributes: gets what they carry, a row for each; null where nobody wants it. role: of the points in the report.
    std::vector<TARN_KEL::Point3> read(Program& program, TARN_KEL::PointAttributes* pAttributes = nullptr,
                                       const std::string& role = "input") const;
    /// The names of the files with points, for messages.
    std::string names() const;

private:
    /// What was read, for the report.
    void note(std::size_t numRead, Program& program, const TARN_KEL::PointAttributes* pAttributes,
              const std::string& role) const;
};

/// Adds the options that choose and place points to a command.
void addPointChoice(CLI::App& command, Program& program, PointChoice& choice);
/// Adds IN, which may be several files, and OUT, the last one, to a command. Their texts are for the help.
void addPointFiles(CLI::App& command, Program& program, PointInput& input, std::string& out, const std::string& inText,
                   const std::string& outText);
/// Adds IN alone, which may be several files.
void addPointFiles(CLI::App& command, Program& program, PointInput& input, const std::string& inText);
