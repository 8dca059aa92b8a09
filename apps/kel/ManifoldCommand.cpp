// kel manifold: makes a mesh manifold.
#include <memory>

#include "PostProcessing.h"
#include "commands.h"

using namespace TARN_KEL;

void addManifoldCommand(CLI::App& app, Program& program) {
    auto pChange = std::make_shared<MeshChange>();
    auto pUncross = std::make_shared<bool>(false);
    CLI::App& command = *app.add_subcommand(
        "manifold", "Make a mesh manifold and oriented: separate sheets that touch or cross, remove inner walls");
    addMeshFiles(command, program, pChange->files);
    addAttributesOption(command, pChange->bAttributes);
    command.add_flag("--uncross", *pUncross, "Remove self-intersections by small changes near them");
    program.addMeshOutputOptions(command);
    program.addCommonOptions(command);
    command.callback([pChange, pUncross, &program] {
        changeMesh(
            *pChange,
            [&](const MeshPtr& pMesh) {
                if (*pUncross) uncrossMesh(pMesh, program);
            },
            program);
    });
}
