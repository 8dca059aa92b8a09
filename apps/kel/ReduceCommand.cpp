#include <memory>

#include "PostProcessing.h"
#include "commands.h"

using namespace TARN_KEL;

namespace {

struct ReduceOptions {
    MeshChange change;
    double maxEdge = 0.0;
    double maxAngle = 0.0;
};

}  // namespace

void addReduceCommand(CLI::App& app, Program& program) {
    auto pOptions = std::make_shared<ReduceOptions>();
    CLI::App& command = *app.add_subcommand("reduce", "Make a mesh of fewer triangles, flat places first");
    addMeshChange(command, pOptions->change);
    command.add_option("--max-edge", pOptions->maxEdge, "How far away a vertex may go onto another one, a length")
        ->required()
        ->check(nonNegativeNumber);
    command.add_option("--max-angle", pOptions->maxAngle, "How far a step may turn the normal of a triangle, in degrees")
        ->required()
        ->check(nonNegativeNumber);
    program.addCommonOptions(command);
    command.callback([pOptions, &program] {
        changeMesh(
            pOptions->change,
            [&](const MeshPtr& pMesh) {
                reduceMesh(pMesh, pOptions->maxEdge, pOptions->maxAngle, pOptions->change.bRaw, program);
            },
            program);
    });
}
