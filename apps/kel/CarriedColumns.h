// What the points or vertices of a file carry, on its way to the mesh in another one.
#pragma once

#include <kel.h>

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "Program.h"

/// Adds --no-attributes to a command, which clears bAttributes.
void addAttributesOption(CLI::App& command, bool& bAttributes);

/// Columns, and where their rows are in space.
struct CarriedColumns {
    std::vector<TARN_KEL::Point3> vPlaces;
    TARN_KEL::PointAttributes attributes;  ///< as far as the file of the new mesh can hold them

    /// Drops the columns that a file of that name can't hold; says which.
    void keepFor(const std::string& out, Program& program);
    /// What the vertices of a mesh get of it; says so. length: see TARN_KEL::transferAttributes().
    TARN_KEL::PointAttributes onto(const TARN_KEL::MeshPtr& pMesh, double length, Program& program) const;
};
