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
    CLI::App& command = *app.add_subcommand("smooth", "Move the vertices of a mesh to the means of their neighbours");
    addMeshChange(command, pOptions->change);
    command.add_option("-n", pOptions->numRounds, "Rounds; vertices on a border stay where they are")
        ->required()
        ->check(smoothRounds);
    program.addCommonOptions(command);
    command.callback([pOptions, &program] {
        changeMesh(
            pOptions->change,
            [&](const MeshPtr& pMesh) { smoothMesh(pMesh, pOptions->numRounds, pOptions->change.bRaw, program); }, program);
    });
}
