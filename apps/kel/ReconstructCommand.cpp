#include <memory>

#include "commands.h"

using namespace TARN_KEL;

namespace {

struct ReconstructOptions {
    std::string in;
    std::string out;
    double factor = 1.1;
    double spacing = -1.0;  // not above 0: estimated
    bool bLaplacian = false;
    int numGrowSteps = -1;
};

void reconstruct(const ReconstructOptions& options, Program& program) {
    Program::requirePointInput(options.in);
    program.requireMeshOutput(options.out, options.in);
    std::vector<Point3> vPoints = program.readPoints(options.in);
    MeshPtr pMesh;
    program.step("reconstruct", [&] {
        pMesh = options.spacing > 0.0 ? reconstruct_abs(vPoints, options.bLaplacian, options.spacing, options.numGrowSteps)
                                      : reconstruct_auto(vPoints, options.bLaplacian, options.factor, options.numGrowSteps);
    });
    const bool bNothing = !pMesh || !(pMesh->getAverageEdgeLength() >= 0.0);  // a mesh without an edge is none
    if (bNothing) throw Failure("No mesh came of " + options.in + ": too few points, or a spacing that doesn't fit them");
    program.writeMesh(options.out, pMesh);
}

}  // namespace

void addReconstructCommand(CLI::App& app, Program& program) {
    auto pOptions = std::make_shared<ReconstructOptions>();
    CLI::App& command = *app.add_subcommand("reconstruct", "Make a triangle mesh of points");
    command.add_option("IN", pOptions->in, "Points: .xyz, .txt, .asc, .bin or .ply")->required();
    command.add_option("OUT", pOptions->out, "The mesh: .ply, .stl or .obj")->required();
    CLI::Option* pFactor =
        command
            .add_option("--factor", pOptions->factor, "The edge of a grid cell as a multiple of the estimated point spacing")
            ->check(positiveNumber)
            ->capture_default_str();
    command.add_option("--spacing", pOptions->spacing, "The edge of a grid cell as a length; no estimate is made")
        ->check(positiveNumber)
        ->excludes(pFactor);
    command.add_flag("--laplacian", pOptions->bLaplacian, "Smooth noisy points first");
    command.add_option("--grow", pOptions->numGrowSteps, "Steps of gap closing (not built yet: gaps stay open, with a warning)")
        ->check(CLI::Range(0, 1000));
    program.addCommonOptions(command);
    command.callback([pOptions, &program] { reconstruct(*pOptions, program); });
}
