// kel reduce: fewer triangles.
#include <cmath>
#include <memory>

#include "PostProcessing.h"
#include "commands.h"

using namespace TARN_KEL;

namespace {

/// What the command is asked for: limits of single collapses, or a target for the whole mesh.
struct ReduceRequest {
    MeshChange change;
    double maxEdge = 0.0;
    double maxAngle = 0.0;
    double ratio = 0.0;
    bool bKeepVertices = false;
    ReduceOptions target;
};

void reduceToTarget(const MeshPtr& pMesh, const ReduceRequest& request, Program& program) {
    ReduceOptions options = request.target;
    options.bMoveVertices = !request.bKeepVertices;
    options.bNoCrossings = request.change.bNoCrossings;
    if (request.ratio > 0.0) {
        std::vector<Point3*> vCorners;
        pMesh->getTriangles(vCorners);
        options.numTriangles = static_cast<std::size_t>(std::ceil(request.ratio * static_cast<double>(vCorners.size() / 3)));
    }
    reduceMesh(pMesh, options, program);
}

}  // namespace

void addReduceCommand(CLI::App& app, Program& program) {
    auto pRequest = std::make_shared<ReduceRequest>();
    CLI::App& command = *app.add_subcommand("reduce", "Reduce the number of triangles");
    addMeshChange(command, program, pRequest->change);
    pRequest->change.bMerges = true;
    CLI::Option* const pTriangles =
        command.add_option("--triangles", pRequest->target.numTriangles, "Reduce to N triangles")
            ->type_name("N")
            ->check(CLI::PositiveNumber);
    CLI::Option* const pRatio =
        command.add_option("--ratio", pRequest->ratio, "Reduce to that part of the triangles, such as 0.05")
            ->excludes(pTriangles);
    pRatio->check(CLI::Range(1e-9, 1.0));
    CLI::Option* const pDistance =
        command.add_option("--distance", pRequest->target.maxDistance, "Stay that close to the surface, everywhere; proved")
            ->type_name("L");
    pDistance->check(positiveNumber);
    command.add_flag("--keep-vertices", pRequest->bKeepVertices, "Leave the vertices that remain where they are");
    command.add_flag("--fit", pRequest->target.bFit, "Move vertices once more at the end, so that the result is closer");
    command.add_flag("--keep-borders", pRequest->target.bKeepBorders, "Leave borders as they are");
    command
        .add_option("--keep-features", pRequest->target.featureAngle,
                    "Keep folds of more than D degrees; reduce them along themselves only")
        ->type_name("D")
        ->check(CLI::Range(0.0, 180.0));
    CLI::Option* const pMaxEdge = command.add_option("--max-edge", pRequest->maxEdge,
                                                     "The simple way: collapse vertices onto others at most this far away");
    CLI::Option* const pMaxAngle = command.add_option(
        "--max-angle", pRequest->maxAngle, "The simple way: turn no normal by more than this in one collapse, in degrees");
    pMaxEdge->check(nonNegativeNumber)->needs(pMaxAngle);
    pMaxAngle->check(nonNegativeNumber)->needs(pMaxEdge);
    for (CLI::Option* pOther : command.get_options([](const CLI::Option* p) {
             return p->get_name() == "--triangles" || p->get_name() == "--ratio" || p->get_name() == "--distance" ||
                    p->get_name() == "--fit" || p->get_name().rfind("--keep-", 0) == 0;
         }))
        pMaxEdge->excludes(pOther);
    program.addMeshOutputOptions(command);
    program.addCommonOptions(command);
    command.callback([&command, pRequest, pMaxEdge, pTriangles, pRatio, pDistance, &program] {
        if (pMaxEdge->empty() && pTriangles->empty() && pRatio->empty() && pDistance->empty())
            throw CLI::RequiredError("One of --triangles, --ratio, --distance, or --max-edge with --max-angle");
        pRequest->target.bKeepFeatures = !command.get_option("--keep-features")->empty();
        changeMesh(
            pRequest->change,
            [&](const MeshPtr& pMesh) {
                if (pMaxEdge->empty())
                    reduceToTarget(pMesh, *pRequest, program);
                else
                    reduceMesh(pMesh, pRequest->maxEdge, pRequest->maxAngle, pRequest->change.keep(), program);
            },
            program);
    });
}
