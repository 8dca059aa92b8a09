// kel smooth: smooths a mesh.
#include <memory>

#include "PostProcessing.h"
#include "commands.h"

using namespace TARN_KEL;

namespace {

struct SmoothRequest {
    MeshChange change;
    int numRounds = 0;
    SmoothOptions options;
    bool bMoveBorders = false;
};

}  // namespace

void addSmoothCommand(CLI::App& app, Program& program) {
    auto pRequest = std::make_shared<SmoothRequest>();
    CLI::App& command = *app.add_subcommand("smooth", "Smooth a mesh");
    addMeshChange(command, program, pRequest->change);
    CLI::Option* const pMeans = command.add_option(
        "-n", pRequest->numRounds,
        "N rounds in which vertices move to the mean of their neighbours; shrinks the mesh; borders stay");
    CLI::Option* const pTaubin = command.add_option("--taubin", pRequest->options.numRounds,
                                                    "N rounds that don't shrink the mesh (10); for round shapes");
    CLI::Option* const pBilateral = command.add_option("--bilateral", pRequest->options.numRounds,
                                                       "N rounds that keep edges sharp (10); for shapes of flat parts");
    for (CLI::Option* pRounds : {pMeans, pTaubin, pBilateral})
        pRounds->type_name("N")->check(smoothRounds);
    pTaubin->excludes(pMeans)->excludes(pBilateral);
    pBilateral->excludes(pMeans);
    command
        .add_option("--edge-angle", pRequest->options.edgeAngle,
                    "Folds of more than twice D degrees are edges; 25 without the option")
        ->type_name("D")
        ->check(CLI::Range(1e-3, 180.0))
        ->needs(pBilateral);
    command.add_flag("--move-borders", pRequest->bMoveBorders, "Smooth borders as well")->excludes(pMeans);
    program.addMeshOutputOptions(command);
    program.addCommonOptions(command);
    command.callback([pRequest, pMeans, pTaubin, pBilateral, &program] {
        if (pMeans->empty() && pTaubin->empty() && pBilateral->empty())
            throw CLI::RequiredError("One of -n, --taubin and --bilateral");
        pRequest->options.method = pTaubin->empty() ? SmoothMethod::BILATERAL : SmoothMethod::TAUBIN;
        pRequest->options.bKeepBorders = !pRequest->bMoveBorders;
        pRequest->options.bNoCrossings = pRequest->change.bNoCrossings;
        changeMesh(
            pRequest->change,
            [&](const MeshPtr& pMesh) {
                if (pMeans->empty())
                    smoothMesh(pMesh, pRequest->options, program);
                else
                    smoothMesh(pMesh, pRequest->numRounds, pRequest->change.keep(), program);
            },
            program);
    });
}
