// kel reconstruct: points to a mesh, with optional steps after it.
#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "CarriedColumns.h"
#include "FileKinds.h"
#include "PointInput.h"
#include "PostProcessing.h"
#include "commands.h"

using namespace TARN_KEL;

namespace {

struct ReconstructRequest {
    PointInput input;
    std::string out;
    ReconstructOptions options;
    bool bPlain = false;                     // none of the steps that are on by themselves
    std::vector<double> vOrigin;             // three coordinates, or none
    std::pair<double, double> reduceLimits;  // longest edge, largest turn
    int numSmoothRounds = 0;
    bool bNoCrossings = false;  // in the steps on the new mesh
    bool bAttributes = true;    // what the points carry gets into the mesh
};
using MeshStep = std::function<void(const MeshPtr&)>;

ReconstructOptions optionsOf(const ReconstructRequest& request) {
    ReconstructOptions options = request.options;
    if (!request.vOrigin.empty()) options.origin = Point3(request.vOrigin[0], request.vOrigin[1], request.vOrigin[2]);
    if (request.bPlain) {
        options.bFit = options.bOutliers = options.bEven = options.bCarefulGrowth = options.bManifold =
            options.bNoCrossings = false;
        options.minPieceArea = 0.0;
        options.maxPinholeEdges = 0;
    }
    return options;
}

nlohmann::ordered_json toJson(const MeshFlaws& flaws) {
    return {{"borderEdges", flaws.numBorderEdges},
            {"nonManifoldEdges", flaws.numNonManifoldEdges},
            {"pinchedVertices", flaws.numPinchedVertices},
            {"orientationConflicts", flaws.numConflicts}};
}

nlohmann::ordered_json toJson(const ReconstructReport& done) {
    nlohmann::ordered_json seconds = nlohmann::ordered_json::object();
    for (const auto& [name, duration] : done.vSteps)
        seconds[name] = duration + seconds.value(name, 0.0);
    return {{"notFinite", done.numNotFinite},
            {"farOutliers", done.numFarOutliers},
            {"strays", done.numStrays},
            {"pointsAdded", done.numAdded},
            {"pointsDenoised", done.numDenoised},
            {"pointSpacing", done.pointSpacing},
            {"cellEdge", done.cellEdge},
            {"cells", done.numCells},
            {"before", toJson(done.before)},
            {"after", toJson(done.after)},
            {"piecesDropped", done.numPiecesDropped},
            {"trianglesDropped", done.numTrianglesDropped},
            {"holesClosed", done.numHolesClosed},
            {"crossings", done.numCrossings},
            {"crossingsLeft", done.numCrossingsLeft},
            {"seconds", seconds}};
}

/// What was left out, and how to keep it; what was added.
void tell(const ReconstructReport& done, const ReconstructOptions& options, Program& program) {
    const auto tellIf = [&](std::size_t num, const std::string& what) {
        if (num > 0) program.say(what + ": " + std::to_string(num));
    };
    tellIf(done.numFarOutliers + done.numStrays, "outliers left out (--keep-outliers keeps them)");
    tellIf(done.numDenoised, "very noisy points, freed of noise to make the surface again (--no-denoise: once)");
    tellIf(done.numAdded, "points added for even sampling");
    if (options.bManifold) noteManifold(done.manifold, program);
    tellIf(done.numPiecesDropped, "small pieces dropped");
    if (options.bFit) noteFit(done.fit, program);
    if (done.numHolesClosed > 0 || options.maxHoleEdges > 0)
        program.say(std::to_string(done.numHolesClosed) + " hole(s) closed");
    tellIf(done.numCrossings - done.numCrossingsLeft, "self-intersections removed");
    tellIf(done.numCrossingsLeft, "self-intersections left");
}

void reconstruct(const ReconstructRequest& request, const std::vector<MeshStep>& vSteps, Program& program) {
    request.input.require();
    for (const std::string& file : request.input.readFiles())
        program.requireMeshOutput(request.out, file);
    CarriedColumns points;
    points.vPlaces = request.input.read(program, request.bAttributes ? &points.attributes : nullptr);
    points.keepFor(request.out, program);
    const ReconstructOptions options = optionsOf(request);
    MeshPtr pMesh;
    ReconstructReport done;
    program.step("reconstruct", [&] { pMesh = reconstruct(points.vPlaces, options, &done); });
    program.report()["reconstruction"] = toJson(done);
    if (isEmpty(pMesh))
        throw Failure("No mesh came of " + request.input.names() + ": too few points, or a spacing that doesn't fit them");
    tell(done, options, program);
    for (const MeshStep& step : vSteps)
        step(pMesh);
    program.writeMesh(request.out, pMesh, false, points.onto(pMesh, done.cellEdge, program));
}

/// What the steps on the new mesh keep.
KeepOptions keepOf(const ReconstructRequest& request) {
    return {optionsOf(request).bManifold, request.bNoCrossings};
}

/// Adds the options that change the mesh once it is made, and what each of them does.
std::map<const CLI::Option*, MeshStep> addMeshSteps(CLI::App& command, ReconstructRequest& request, Program& program) {
    constexpr const char* ORDER = "Steps on the new mesh, in the order in which they are given";
    CLI::Option* pReduce =
        command
            .add_option("--reduce", request.reduceLimits,
                        "Collapse vertices onto others at most L away, turning no normal by more than D degrees")
            ->type_name("L D")
            ->check(nonNegativeNumber);
    CLI::Option* pFlip = command.add_flag("--flip")->description("Flip edges where that makes the surface smoother");
    CLI::Option* pSmooth = command.add_option("--smooth", request.numSmoothRounds, "Smooth the mesh in N rounds")
                               ->type_name("N")
                               ->check(smoothRounds);
    CLI::Option* pNoCrossings = addNoCrossingsOption(command, request.bNoCrossings);
    for (CLI::Option* pOption : {pReduce, pFlip, pSmooth, pNoCrossings})
        pOption->group(ORDER);
    return {
        {pReduce,
         [&](const MeshPtr& pMesh) {
             reduceMesh(pMesh, request.reduceLimits.first, request.reduceLimits.second, keepOf(request), program);
         }},
        {pFlip, [&](const MeshPtr& pMesh) { flipMesh(pMesh, false, keepOf(request), program); }},
        {pSmooth, [&](const MeshPtr& pMesh) { smoothMesh(pMesh, request.numSmoothRounds, keepOf(request), program); }},
    };
}

/// The steps that the user asks for, each once, in the order of the command line.
std::vector<MeshStep> stepsInOrder(const CLI::App& command, std::map<const CLI::Option*, MeshStep> mSteps) {
    std::vector<MeshStep> vSteps;
    for (const CLI::Option* pOption : command.parse_order())  // has an option once for each of its values
        if (const auto node = mSteps.extract(pOption)) vSteps.push_back(node.mapped());
    return vSteps;
}

void addGridOptions(CLI::App& command, ReconstructRequest& request) {
    ReconstructOptions& options = request.options;
    CLI::Option* pFactor =
        command.add_option("--factor", options.factor, "Edge of a grid cell as a multiple of the estimated point spacing")
            ->check(positiveNumber)
            ->capture_default_str();
    command.add_option("--spacing", options.spacing, "Edge of a grid cell as a length; no estimate is made")
        ->check(positiveNumber)
        ->excludes(pFactor);
    command.add_option("--origin", request.vOrigin, "A corner of a grid cell; runs with one origin and spacing share cells")
        ->type_name("X Y Z")
        ->expected(3)
        ->check(finiteNumber);
}

void addSteps(CLI::App& command, ReconstructRequest& request) {
    ReconstructOptions& options = request.options;
    CLI::Option* pPlain =
        command.add_flag("--plain", request.bPlain, "Points to cells to triangles: no step that isn't asked for");
    addSwitch(command, "--keep-outliers", options.bOutliers,
              "Keep points that lie far from all others or alone off the surface");
    addSwitch(command, "--no-even", options.bEven, "Add no points where the sampling is sparser than the grid");
    command.add_flag("--laplacian", options.bLaplacian, "Smooth noisy points before they are meshed");
    command
        .add_option("--grow", options.numGrowSteps,
                    "Close gaps of a closed body in at most N steps: gaps of up to about N - 3 cells' radius")
        ->type_name("N")
        ->check(CLI::Range(0, 1000));
    addSwitch(command, "--rough-grow", options.bCarefulGrowth, "Keep what --grow adds where it closes no gap, too");
    addSwitch(command, "--raw", options.bManifold, RAW_TEXT);
    command
        .add_option("--min-piece", options.minPieceArea,
                    "Drop pieces of a smaller area, in squares of the cell edge; 0 keeps all")
        ->type_name("A")
        ->check(nonNegativeNumber)
        ->capture_default_str()
        ->excludes(pPlain);
    addHoleOptions(command, options.maxPinholeEdges, options.maxHoleEdges)->excludes(pPlain);
    addSwitch(command, "--no-fit", options.bFit,
              "Leave vertices where the cells put them: cut edges, noise of single points");
    addSwitch(command, "--no-denoise", options.bDenoise,
              "Make the surface of very noisy points once, not again without the noise");
    addSwitch(command, "--keep-crossings", options.bNoCrossings, "Leave triangles that pass through each other as they are");
}

}  // namespace

void addReconstructCommand(CLI::App& app, Program& program) {
    auto pRequest = std::make_shared<ReconstructRequest>();
    CLI::App& command = *app.add_subcommand("reconstruct", "Make a triangle mesh of points");
    addPointFiles(command, program, pRequest->input, pRequest->out, std::string("Points: ") + POINT_KINDS_IN, MESH_OUT);
    addPointChoice(command, program, pRequest->input.choice);
    addGridOptions(command, *pRequest);
    addSteps(command, *pRequest);
    addAttributesOption(command, pRequest->bAttributes);
    const auto mSteps = addMeshSteps(command, *pRequest, program);
    program.addMeshOutputOptions(command);
    program.addCommonOptions(command);
    command.callback(
        [pRequest, mSteps, &command, &program] { reconstruct(*pRequest, stepsInOrder(command, mSteps), program); });
}
