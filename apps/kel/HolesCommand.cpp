// kel holes: draws the borders of a mesh.
#include <memory>

#include "PostProcessing.h"
#include "commands.h"

using namespace TARN_KEL;

namespace {

void drawHoles(const MeshFiles& files, Program& program) {
    Program::requireMeshInput(files.in);
    program.requireDrawingOutput(files.out, files.in);
    program.writeHoles(files.out, program.readMesh(files.in));
}

}  // namespace

void addHolesCommand(CLI::App& app, Program& program) {
    auto pFiles = std::make_shared<MeshFiles>();
    CLI::App& command = *app.add_subcommand("holes", "Draw a mesh in white and its border edges in red");
    addMeshFiles(command, program, *pFiles, "The drawing: .list, for the Geomview viewer");
    program.addCommonOptions(command);
    command.callback([pFiles, &program] { drawHoles(*pFiles, program); });
}
