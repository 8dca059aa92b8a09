// Options of the commands that rasterise a triangle soup.
#pragma once

#include <nlohmann/json.hpp>

#include "PostProcessing.h"

struct SoupOptions {
    MeshFiles files;
    double spacing = 0.0;        ///< edge of a grid cell
    double featureAngle = 10.0;  ///< degrees; the library uses the same for a soup that it reads itself

    nlohmann::ordered_json toJson() const;
    /// The corners of IN; fails when it can't be read, or when cells of so many bytes don't fit into memory.
    std::vector<TARN_KEL::Point3> read(Program& program, double bytesPerCell) const;
};

/// Adds IN, OUT, with this text, and the options of the grid to a command.
void addSoupOptions(CLI::App& command, Program& program, SoupOptions& options, const char* outText);
