// kel manifold: makes a mesh manifold.
#include <memory>

#include "PostProcessing.h"
#include "commands.h"

using namespace TARN_KEL;

void addManifoldCommand(CLI::App& app, Program& program) {
    auto pChange = std::make_shared<MeshChange>();
    CLI::App& command = *app.add_subcommand(
        "manifold", "Make a mesh manifold and oriented: separate sheets that touch or cross, remove inner walls");
    addMeshFiles(command, pChange->files);
    program.addCommonOptions(command);
    command.callback([pChange, &program] {
        changeMesh(
            *pChange, [](const MeshPtr&) {}, program);
    });
}
