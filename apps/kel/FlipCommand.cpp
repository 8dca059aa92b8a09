// kel flip: flips edges of a mesh.
#include <memory>

#include "PostProcessing.h"
#include "commands.h"

using namespace TARN_KEL;

namespace {

struct FlipOptions {
    MeshChange change;
    bool bAnneal = false;
};

}  // namespace

void addFlipCommand(CLI::App& app, Program& program) {
    auto pOptions = std::make_shared<FlipOptions>();
    CLI::App& command = *app.add_subcommand("flip", "Flip edges of a mesh where that makes the surface smoother");
    addMeshChange(command, program, pOptions->change);
    command.add_flag("--anneal", pOptions->bAnneal, "Simulated annealing: some thirty times as slow, leaves local minima");
    program.addMeshOutputOptions(command);
    program.addCommonOptions(command);
    command.callback([pOptions, &program] {
        changeMesh(
            pOptions->change,
            [&](const MeshPtr& pMesh) { flipMesh(pMesh, pOptions->bAnneal, pOptions->change.keep(), program); }, program);
    });
}
