// The steps that change a mesh, and the options that they share.
#include "PostProcessing.h"

#include <limits>
#include <optional>
#include <sstream>

using namespace TARN_KEL;

namespace {

void requireTriangles(const MeshPtr& pMesh, const std::string& step) {
    if (isEmpty(pMesh)) throw Failure("No triangle is left after the step '" + step + "'");
}

}  // namespace

bool isEmpty(const MeshPtr& pMesh) {
    return !pMesh || !(pMesh->getAverageEdgeLength() >= 0.0);
}

// Each round is a step of the progress: at this number some 400 MB.
const CLI::Range smoothRounds(1, 1000000);

void reduceMesh(const MeshPtr& pMesh, double maxEdge, double maxAngle, const KeepOptions& keep, Program& program) {
    int numGone = 0;
    program.step("reduce", [&] { numGone = reduce(pMesh, maxEdge, maxAngle, keep); });
    program.report()["reduce"] = {{"maxEdge", maxEdge}, {"maxAngle", maxAngle}, {"trianglesGone", numGone}};
    requireTriangles(pMesh, "reduce");
}

void reduceMesh(const MeshPtr& pMesh, const ReduceOptions& options, Program& program) {
    ReduceReport done;
    program.step("reduce", [&] { done = reduce(pMesh, options); });
    auto& entry = program.report()["reduce"] = {{"triangles", options.numTriangles},
                                                {"maxDistance", options.maxDistance},
                                                {"moveVertices", options.bMoveVertices},
                                                {"trianglesBefore", done.numBefore},
                                                {"trianglesAfter", done.numAfter}};
    std::string line = "triangles " + std::to_string(done.numBefore) + " -> " + std::to_string(done.numAfter);
    if (done.distance >= 0.0) {
        entry["distance"] = done.distance;
        std::ostringstream text;
        text << done.distance;
        line += ", distance at most " + text.str();
    }
    program.say(line);
    if (done.numAfter > options.numTriangles && options.numTriangles > 0 && options.maxDistance == 0.0)
        program.warn("No further collapse was possible");
    requireTriangles(pMesh, "reduce");
}

void flipMesh(const MeshPtr& pMesh, bool bAnneal, const KeepOptions& keep, Program& program) {
    program.step("flip", [&] { bAnneal ? edgeFlipsSimA(pMesh, keep) : edgeFlips(pMesh, keep); });
    program.report()["flip"] = {{"anneal", bAnneal}};
    requireTriangles(pMesh, "flip");
}

void smoothMesh(const MeshPtr& pMesh, int numRounds, const KeepOptions& keep, Program& program) {
    program.step("smooth", [&] { laplacianSmoothing(pMesh, numRounds, keep); });
    program.report()["smooth"] = {{"rounds", numRounds}};
    requireTriangles(pMesh, "smooth");
}

void smoothMesh(const MeshPtr& pMesh, const SmoothOptions& options, Program& program) {
    const bool bTaubin = options.method == SmoothMethod::TAUBIN;
    SmoothReport done;
    program.step("smooth", [&] { done = smooth(pMesh, options); });
    program.report()["smooth"] = {{"method", bTaubin ? "taubin" : "bilateral"},
                                  {"rounds", options.numRounds},
                                  {"meanMove", done.meanMove},
                                  {"held", done.numHeld}};
    requireTriangles(pMesh, "smooth");
}

void makeMeshManifold(const MeshPtr& pMesh, bool bNoCrossings, Program& program) {
    ManifoldReport done;
    program.step("manifold", [&] { done = makeManifold(pMesh, bNoCrossings); });
    noteManifold(done, program);
    requireTriangles(pMesh, "manifold");
}

void noteManifold(const ManifoldReport& done, Program& program) {
    const std::size_t numRemoved = done.numFlat + done.numDuplicates + done.numMembranes + done.numSplinters;
    program.report()["manifold"] = {{"trianglesRemoved", numRemoved},     {"flat", done.numFlat},
                                    {"duplicates", done.numDuplicates},   {"membranes", done.numMembranes},
                                    {"splinters", done.numSplinters},     {"trianglesTurned", done.numTurned},
                                    {"newVertices", done.numNewVertices}, {"cuts", done.numCuts}};
    if (numRemoved + done.numNewVertices + done.numCuts > 0)
        program.say("made manifold: triangles removed " + std::to_string(numRemoved) + ", vertices added " +
                    std::to_string(done.numNewVertices) + ", sides cut " + std::to_string(done.numCuts));
}

void uncrossMesh(const MeshPtr& pMesh, Program& program) {
    std::size_t numLeft = 0;
    program.step("uncross", [&] { numLeft = removeSelfIntersections(pMesh); });
    program.report()["uncross"] = {{"crossingsLeft", numLeft}};
    program.say("self-intersections left: " + std::to_string(numLeft));
}

void noteFit(const FitReport& done, Program& program) {
    program.report()["fit"] = {{"pointsUsed", done.numPoints}, {"pointSpacing", done.pointSpacing},
                               {"noise", done.noise},          {"radius", done.radius},
                               {"corners", done.numCorners},   {"onCreases", done.numOnCreases},
                               {"flips", done.numFlips},       {"splits", done.numSplits},
                               {"unfolded", done.numUnfolded}, {"meanMove", done.meanMove},
                               {"maxMove", done.maxMove}};
    if (done.pointSpacing == 0.0) {
        program.warn("No points are near the mesh: it isn't fitted");
        return;
    }
    std::ostringstream line;
    line << "fitted to " << done.numPoints << " points: vertices moved by " << done.meanMove << " in the mean, "
         << done.numOnCreases << " on creases, " << done.numCorners << " on corners; noise " << done.noise;
    program.say(line.str());
}

void fillMesh(const MeshPtr& pMesh, int maxEdges, const KeepOptions& keep, Program& program) {
    int numClosed = 0;
    program.step("fill", [&] { numClosed = fillHoles(pMesh, maxEdges, keep); });
    program.report()["fill"] = {{"maxEdges", maxEdges}, {"holesClosed", numClosed}};
    program.say(std::to_string(numClosed) + " hole(s) closed");
}

const CLI::Range holeEdges(3, std::numeric_limits<int>::max());

void addRawOption(CLI::App& command, bool& bRaw) {
    command.add_flag("--raw", bRaw, RAW_TEXT);
}

CLI::Option* addHoleOptions(CLI::App& command, int& maxPinholeEdges, int& maxHoleEdges) {
    CLI::Option* const pPinholes =
        command.add_option("--pinholes", maxPinholeEdges,
                           "Close holes of at most N edges that aren't the outer border of a piece; 0 closes none");
    pPinholes->type_name("N")->check(CLI::Range(0, std::numeric_limits<int>::max()))->capture_default_str();
    command
        .add_option("--close", maxHoleEdges,
                    "Close holes of at most N edges, such as pinholes (8); the outer border of a flat or small piece stays")
        ->type_name("N")
        ->check(holeEdges);
    return pPinholes;
}

CLI::Option* addNoCrossingsOption(CLI::App& command, bool& bNoCrossings) {
    return command.add_flag("--no-crossings", bNoCrossings,
                            "Leave out what would make triangles pass through each other; takes longer");
}

void addMeshFiles(CLI::App& command, Program& program, MeshFiles& files, const char* outText) {
    program.addInput(command, "IN", files.in, MESH_IN)->required();
    program.addOutput(command, files.out, outText);
}

void addMeshChange(CLI::App& command, Program& program, MeshChange& change, bool bOfferNoCrossings) {
    addMeshFiles(command, program, change.files);
    addRawOption(command, change.bRaw);
    addAttributesOption(command, change.bAttributes);
    if (bOfferNoCrossings) addNoCrossingsOption(command, change.bNoCrossings);
}

void changeMesh(const MeshChange& change, const std::function<void(const MeshPtr&)>& work, Program& program,
                const CarriedColumns* pElse) {
    const auto& [in, out] = change.files;
    Program::requireMeshInput(in);
    program.requireMeshOutput(out, in);
    CarriedColumns columns;
    const MeshPtr pMesh = program.readMesh(in, true, change.bAttributes ? &columns : nullptr);
    columns.keepFor(out, program);
    std::optional<OlderVertices> older;
    if (!columns.attributes.empty()) older.emplace(pMesh);
    if (!change.bRaw) makeMeshManifold(pMesh, change.bNoCrossings, program);
    if (older) older->follow(pMesh);
    work(pMesh);
    PointAttributes ofVertices;
    if (older)
        ofVertices = older->carry(columns, pMesh, change.bMerges, program);
    else if (pElse != nullptr)
        ofVertices = pElse->onto(pMesh, 0.0, program);
    program.writeMesh(out, pMesh, false, ofVertices);
}

void addSwitch(CLI::App& command, const std::string& name, bool& bStep, const std::string& text) {
    command.add_flag_callback(
        name, [&bStep] { bStep = false; }, text);
}
