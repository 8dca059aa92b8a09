// kel melt: a triangle soup to a mesh.
#include <memory>

#include "../../src_lib/api/soupRoom.h"
#include "SoupOptions.h"
#include "commands.h"

using namespace TARN_KEL;

namespace {

struct MeltRequest : SoupOptions {
    MeltOptions options;
    bool bPlain = false;  // none of the steps that are on by themselves
};

MeltOptions optionsOf(const MeltRequest& request) {
    MeltOptions options = request.options;
    options.spacing = request.spacing;
    options.featureAngle = request.featureAngle;
    if (request.bPlain) {
        options.bComplete = options.bManifold = false;
        options.maxPinholeEdges = 0;
    }
    return options;
}

void meltSoup(const MeltRequest& request, Program& program) {
    const auto& [in, out] = request.files;
    Program::requireMeshInput(in);
    program.requireMeshOutput(out, in);
    const std::vector<Point3> vCorners = request.read(program, MESH_BYTES_PER_CELL);
    const MeltOptions options = optionsOf(request);
    MeshPtr pMesh;
    MeltReport done;
    program.step("melt", [&] { pMesh = melt(vCorners, options, &done); });
    nlohmann::ordered_json entry = request.toJson();
    entry["cells"] = done.numCells;
    entry["cellsAdded"] = done.numAdded;
    entry["holesClosed"] = done.numHolesClosed;
    program.report()["melt"] = entry;
    if (isEmpty(pMesh)) throw Failure("No mesh came of " + in);
    if (options.bManifold) noteManifold(done.manifold, program);
    if (done.numHolesClosed > 0 || options.maxHoleEdges > 0)
        program.say(std::to_string(done.numHolesClosed) + " hole(s) closed");
    program.writeMesh(out, pMesh);
}

}  // namespace

void addMeltCommand(CLI::App& app, Program& program) {
    auto pRequest = std::make_shared<MeltRequest>();
    MeltOptions& options = pRequest->options;
    CLI::App& command = *app.add_subcommand(
        "melt", "Make a clean mesh of triangles that needn't fit together, by meshing the grid cells that they touch");
    addSoupOptions(command, program, *pRequest, MESH_OUT);
    CLI::Option* pPlain =
        command.add_flag("--plain", pRequest->bPlain, "Triangles to cells to triangles: no step that isn't asked for");
    addSwitch(command, "--no-complete", options.bComplete, "Leave out the cells of which triangles only cut off a sliver");
    addSwitch(command, "--raw", options.bManifold, RAW_TEXT);
    addHoleOptions(command, options.maxPinholeEdges, options.maxHoleEdges)
        ->description(
            "Close holes of at most N edges, and those that are nowhere wider than two cells, but no outer border of "
            "a piece; 0 closes none")
        ->excludes(pPlain);
    program.addMeshOutputOptions(command);
    program.addCommonOptions(command);
    command.callback([pRequest, &program] { meltSoup(*pRequest, program); });
}
