// kel smooth: smooths a mesh.
#include <memory>

#include "PostProcessing.h"
#include "commands.h"

using namespace TARN_KEL;

namespace {

struct SmoothOptions {
    MeshChange change;
    int numRounds = 0;
};

}  // namespace

void addSmoothCommand(CLI::App& app, Program& program) {
    auto pOptions = std::make_shared<SmoothOptions>();
    CLI::App& command = *app.add_subcommand("smooth", "Smooth a mesh: move its vertices to the mean of their neighbours");
    addMeshChange(command, pOptions->change);
    command.add_option("-n", pOptions->numRounds, "Number of rounds; border vertices don't move")
        ->required()
        ->check(smoothRounds);
    program.addCommonOptions(command);
    command.callback([pOptions, &program] {
        changeMesh(
            pOptions->change,
            [&](const MeshPtr& pMesh) { smoothMesh(pMesh, pOptions->numRounds, pOptions->change.keep(), program); },
            program);
    });
}
