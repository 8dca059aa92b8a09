// kel reconstruct: points to a mesh, with optional steps after it.
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "PostProcessing.h"
#include "commands.h"

using namespace TARN_KEL;

namespace {

struct ReconstructOptions {
    std::string in;
    std::string out;
    double factor = 1.1;
    std::optional<double> spacing;  // estimated without
    bool bLaplacian = false;
    int numGrowSteps = -1;
    std::pair<double, double> reduceLimits;  // longest edge, largest turn
    int numSmoothRounds = 0;
    FreshMesh fresh;
};
using MeshStep = std::function<void(const MeshPtr&)>;

void reconstruct(const ReconstructOptions& options, const std::vector<MeshStep>& vSteps, Program& program) {
    Program::requirePointInput(options.in);
    program.requireMeshOutput(options.out, options.in);
    std::vector<Point3> vPoints = program.readPoints(options.in);
    MeshPtr pMesh;
    program.step("reconstruct", [&] {
        pMesh = options.spacing ? reconstruct_abs(vPoints, options.bLaplacian, *options.spacing, options.numGrowSteps)
                                : reconstruct_auto(vPoints, options.bLaplacian, options.factor, options.numGrowSteps);
    });
    if (isEmpty(pMesh))
        throw Failure("No mesh came of " + options.in + ": too few points, or a spacing that doesn't fit them");
    finishFreshMesh(pMesh, options.fresh, program);
    for (const MeshStep& step : vSteps)
        step(pMesh);
    program.writeMesh(options.out, pMesh);
}

/// Adds the options that change the mesh once it is made, and what each of them does.
std::map<const CLI::Option*, MeshStep> addMeshSteps(CLI::App& command, ReconstructOptions& options, Program& program) {
    constexpr const char* ORDER = "Steps on the new mesh, in the order in which they are given";
    CLI::Option* pReduce =
        command
            .add_option("--reduce", options.reduceLimits,
                        "Collapse vertices onto others at most L away, turning no normal by more than D degrees")
            ->type_name("L D")
            ->check(nonNegativeNumber);
    CLI::Option* pFlip = command.add_flag("--flip")->description("Flip edges where that makes the surface smoother");
    CLI::Option* pSmooth = command.add_option("--smooth", options.numSmoothRounds, "Smooth the mesh in N rounds")
                               ->type_name("N")
                               ->check(smoothRounds);
    for (CLI::Option* pOption : {pReduce, pFlip, pSmooth})
        pOption->group(ORDER);
    return {
        {pReduce,
         [&](const MeshPtr& pMesh) {
             reduceMesh(pMesh, options.reduceLimits.first, options.reduceLimits.second, options.fresh.bRaw, program);
         }},
        {pFlip, [&](const MeshPtr& pMesh) { flipMesh(pMesh, false, options.fresh.bRaw, program); }},
        {pSmooth, [&](const MeshPtr& pMesh) { smoothMesh(pMesh, options.numSmoothRounds, options.fresh.bRaw, program); }},
    };
}

/// The steps that the user asks for, each once, in the order of the command line.
std::vector<MeshStep> stepsInOrder(const CLI::App& command, std::map<const CLI::Option*, MeshStep> mSteps) {
    std::vector<MeshStep> vSteps;
    for (const CLI::Option* pOption : command.parse_order())  // has an option once for each of its values
        if (const auto node = mSteps.extract(pOption)) vSteps.push_back(node.mapped());
    return vSteps;
}

}  // namespace

void addReconstructCommand(CLI::App& app, Program& program) {
    auto pOptions = std::make_shared<ReconstructOptions>();
    CLI::App& command = *app.add_subcommand("reconstruct", "Make a triangle mesh of points");
    command.add_option("IN", pOptions->in, "Points: .xyz, .txt, .asc, .bin or .ply")->required();
    command.add_option("OUT", pOptions->out, MESH_OUT)->required();
    CLI::Option* pFactor =
        command.add_option("--factor", pOptions->factor, "Edge of a grid cell as a multiple of the estimated point spacing")
            ->check(positiveNumber)
            ->capture_default_str();
    command.add_option("--spacing", pOptions->spacing, "Edge of a grid cell as a length; no estimate is made")
        ->check(positiveNumber)
        ->excludes(pFactor);
    command.add_flag("--laplacian", pOptions->bLaplacian, "Smooth noisy points before they are meshed");
    command
        .add_option("--grow", pOptions->numGrowSteps,
                    "Close gaps of a closed body in at most N steps: gaps of up to about N - 3 cells' radius")
        ->type_name("N")
        ->check(CLI::Range(0, 1000));
    addFreshMesh(command, pOptions->fresh);
    const auto mSteps = addMeshSteps(command, *pOptions, program);
    program.addCommonOptions(command);
    command.callback(
        [pOptions, mSteps, &command, &program] { reconstruct(*pOptions, stepsInOrder(command, mSteps), program); });
}
