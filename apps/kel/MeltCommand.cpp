// kel melt: a triangle soup to a mesh.
#include <memory>

#include "SoupOptions.h"
#include "commands.h"

using namespace TARN_KEL;

namespace {

struct MeltOptions : SoupOptions {
    FreshMesh fresh;
};

void meltSoup(const MeltOptions& options, Program& program) {
    const auto& [in, out] = options.files;
    Program::requireMeshInput(in);
    program.requireMeshOutput(out, in);
    std::vector<Point3> vCorners = program.readTriangles(in);
    MeshPtr pMesh;
    program.step("melt", [&] { pMesh = melt(vCorners, options.spacing, options.featureAngle); });
    program.report()["melt"] = options.toJson();
    if (isEmpty(pMesh)) throw Failure("No mesh came of " + in);
    finishFreshMesh(pMesh, options.fresh, program);
    program.writeMesh(out, pMesh);
}

}  // namespace

void addMeltCommand(CLI::App& app, Program& program) {
    auto pOptions = std::make_shared<MeltOptions>();
    CLI::App& command = *app.add_subcommand(
        "melt", "Make a clean mesh of triangles that needn't fit together, by meshing the grid cells that they touch");
    addSoupOptions(command, *pOptions, MESH_OUT);
    addFreshMesh(command, pOptions->fresh);
    program.addPrecisionOption(command);
    program.addCommonOptions(command);
    command.callback([pOptions, &program] { meltSoup(*pOptions, program); });
}
