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
        const std::size_t numTriangles = vCorners.size() / 3;
        options.numTriangles = static_cast<std::size_t>(std::ceil(request.ratio * static_cast<double>(numTriangles)));
    }
    reduceMesh(pMesh, options, program);
}

/// The options of which one is needed.
struct ReduceTargets {
    CLI::Option *pTriangles, *pRatio, *pDistance, *pMaxEdge;

    bool none() const { return pTriangles->empty() && pRatio->empty() && pDistance->empty() && pMaxEdge->empty(); }
};

void addShapeOptions(CLI::App& command, ReduceRequest& request, ReduceTargets& targets) {
    targets.pTriangles = command.add_option("--triangles", request.target.numTriangles, "Reduce to N triangles");
    targets.pTriangles->type_name("N")->check(CLI::PositiveNumber);
    targets.pRatio = command.add_option("--ratio", request.ratio, "Reduce to that part of the triangles, such as 0.05");
    targets.pRatio->excludes(targets.pTriangles)->check(CLI::Range(1e-9, 1.0));
    targets.pDistance =
        command.add_option("--distance", request.target.maxDistance, "Stay that close to the surface, everywhere; proved");
    targets.pDistance->type_name("L")->check(positiveNumber);
    command.add_flag("--keep-vertices", request.bKeepVertices, "Leave the vertices that remain where they are");
    command.add_flag("--fit", request.target.bFit, "Move vertices once more at the end, so that the result is closer");
    command.add_flag("--keep-borders", request.target.bKeepBorders, "Leave borders as they are");
    command
        .add_option("--keep-features", request.target.featureAngle,
                    "Keep folds of more than D degrees; reduce them along themselves only")
        ->type_name("D")
        ->check(CLI::Range(0.0, 180.0));
}

/// The simple way excludes all options of the other one.
void addSimpleOptions(CLI::App& command, ReduceRequest& request, ReduceTargets& targets) {
    const auto vShapeOptions = command.get_options([](const CLI::Option* p) {
        return p->get_name() == "--triangles" || p->get_name() == "--ratio" || p->get_name() == "--distance" ||
               p->get_name() == "--fit" || p->get_name().rfind("--keep-", 0) == 0;
    });
    targets.pMaxEdge = command.add_option("--max-edge", request.maxEdge,
                                          "The simple way: collapse vertices onto others at most this far away");
    CLI::Option* const pMaxAngle = command.add_option(
        "--max-angle", request.maxAngle, "The simple way: turn no normal by more than this in one collapse, in degrees");
    targets.pMaxEdge->check(nonNegativeNumber)->needs(pMaxAngle);
    pMaxAngle->check(nonNegativeNumber)->needs(targets.pMaxEdge);
    for (CLI::Option* pOther : vShapeOptions)
        targets.pMaxEdge->excludes(pOther);
}

}  // namespace

void addReduceCommand(CLI::App& app, Program& program) {
    auto pRequest = std::make_shared<ReduceRequest>();
    CLI::App& command = *app.add_subcommand("reduce", "Reduce the number of triangles");
    addMeshChange(command, program, pRequest->change);
    pRequest->change.bMerges = true;
    ReduceTargets targets{};
    addShapeOptions(command, *pRequest, targets);
    addSimpleOptions(command, *pRequest, targets);
    program.addMeshOutputOptions(command);
    program.addCommonOptions(command);
    command.callback([&command, pRequest, targets, &program] {
        if (targets.none())
            throw CLI::RequiredError("One of --triangles, --ratio, --distance, or --max-edge with --max-angle");
        pRequest->target.bKeepFeatures = !command.get_option("--keep-features")->empty();
        const auto reduce = [&](const MeshPtr& pMesh) {
            if (targets.pMaxEdge->empty())
                reduceToTarget(pMesh, *pRequest, program);
            else
                reduceMesh(pMesh, pRequest->maxEdge, pRequest->maxAngle, pRequest->change.keep(), program);
        };
        changeMesh(pRequest->change, reduce, program);
    });
}
