// kel reduce: fewer triangles.
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
    CLI::App& command = *app.add_subcommand("reduce", "Reduce the number of triangles, flat places first");
    addMeshChange(command, pOptions->change);
    command.add_option("--max-edge", pOptions->maxEdge, "Collapse vertices onto others at most this far away")
        ->required()
        ->check(nonNegativeNumber);
    command.add_option("--max-angle", pOptions->maxAngle, "Turn no normal by more than this in one collapse, in degrees")
        ->required()
        ->check(nonNegativeNumber);
    program.addCommonOptions(command);
    command.callback([pOptions, &program] {
        changeMesh(
            pOptions->change,
            [&](const MeshPtr& pMesh) {
                reduceMesh(pMesh, pOptions->maxEdge, pOptions->maxAngle, pOptions->change.keep(), program);
            },
            program);
    });
}
