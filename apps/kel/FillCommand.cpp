// kel fill: closes holes of a mesh.
#include <memory>

#include "PostProcessing.h"
#include "commands.h"

using namespace TARN_KEL;

namespace {

struct FillOptions {
    MeshChange change;
    int maxEdges = 0;
};

}  // namespace

void addFillCommand(CLI::App& app, Program& program) {
    auto pOptions = std::make_shared<FillOptions>();
    pOptions->change.bNoCrossings = true;
    CLI::App& command = *app.add_subcommand("fill", "Close small holes of a mesh with triangles between their vertices");
    addMeshChange(command, program, pOptions->change, false);
    command.add_option("--max-edges", pOptions->maxEdges, "Close holes of at most this many edges")
        ->required()
        ->check(holeEdges);
    program.addMeshOutputOptions(command);
    program.addCommonOptions(command);
    command.callback([pOptions, &program] {
        changeMesh(
            pOptions->change,
            [&](const MeshPtr& pMesh) { fillMesh(pMesh, pOptions->maxEdges, pOptions->change.keep(), program); }, program);
    });
}
