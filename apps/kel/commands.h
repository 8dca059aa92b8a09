// The commands of the program, one file each. Each function adds its command to the application: options, help and action.
#pragma once

#include <CLI/CLI.hpp>

#include "Program.h"

void addCloudCommand(CLI::App& app, Program& program);
void addConvertCommand(CLI::App& app, Program& program);
void addFillCommand(CLI::App& app, Program& program);
void addFitCommand(CLI::App& app, Program& program);
void addFlipCommand(CLI::App& app, Program& program);
void addHolesCommand(CLI::App& app, Program& program);
void addInfoCommand(CLI::App& app, Program& program);
void addManifoldCommand(CLI::App& app, Program& program);
void addMeltCommand(CLI::App& app, Program& program);
void addReconstructCommand(CLI::App& app, Program& program);
void addReduceCommand(CLI::App& app, Program& program);
void addScanCommand(CLI::App& app, Program& program);
void addSmoothCommand(CLI::App& app, Program& program);
void addSpacingCommand(CLI::App& app, Program& program);
