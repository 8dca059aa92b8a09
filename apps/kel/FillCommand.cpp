#include <limits>
#include <memory>
#include <string>

#include "PostProcessing.h"
#include "commands.h"

using namespace TARN_KEL;

namespace {

struct FillOptions {
    MeshFiles files;
    int maxEdges = 0;
};

void fillMesh(const MeshPtr& pMesh, int maxEdges, Program& program) {
    int numClosed = 0;
    program.step("fill", [&] { numClosed = fillHoles(pMesh, maxEdges); });
    program.report()["fill"] = {{"maxEdges", maxEdges}, {"holesClosed", numClosed}};
    program.say(std::to_string(numClosed) + " hole(s) closed");
}

}  // namespace

void addFillCommand(CLI::App& app, Program& program) {
    constexpr int LEAST_EDGES = 3;
    auto pOptions = std::make_shared<FillOptions>();
    CLI::App& command = *app.add_subcommand("fill", "Close small holes of a mesh with triangles between their vertices");
    addMeshFiles(command, pOptions->files);
    command.add_option("--max-edges", pOptions->maxEdges, "The longest border of a hole that is closed, in edges")
        ->required()
        ->check(CLI::Range(LEAST_EDGES, std::numeric_limits<int>::max()));
    program.addCommonOptions(command);
    command.callback([pOptions, &program] {
        changeMesh(
            pOptions->files, [&](const MeshPtr& pMesh) { fillMesh(pMesh, pOptions->maxEdges, program); }, program);
    });
}
