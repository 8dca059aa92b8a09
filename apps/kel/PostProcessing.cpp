#include "PostProcessing.h"

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

void reduceMesh(const MeshPtr& pMesh, double maxEdge, double maxAngle, Program& program) {
    int numGone = 0;
    program.step("reduce", [&] { numGone = reduce(pMesh, maxEdge, maxAngle); });
    program.report()["reduce"] = {{"maxEdge", maxEdge}, {"maxAngle", maxAngle}, {"trianglesGone", numGone}};
    requireTriangles(pMesh, "reduce");
}

void flipMesh(const MeshPtr& pMesh, bool bAnneal, Program& program) {
    program.step("flip", [&] { bAnneal ? edgeFlipsSimA(pMesh) : edgeFlips(pMesh); });
    program.report()["flip"] = {{"anneal", bAnneal}};
    requireTriangles(pMesh, "flip");
}

void smoothMesh(const MeshPtr& pMesh, int numRounds, Program& program) {
    program.step("smooth", [&] { laplacianSmoothing(pMesh, numRounds); });
    program.report()["smooth"] = {{"rounds", numRounds}};
    requireTriangles(pMesh, "smooth");
}

void addMeshFiles(CLI::App& command, MeshFiles& files) {
    command.add_option("IN", files.in, MESH_IN)->required();
    command.add_option("OUT", files.out, MESH_OUT)->required();
}

void changeMesh(const MeshFiles& files, const std::function<void(const MeshPtr&)>& change, Program& program) {
    Program::requireMeshInput(files.in);
    program.requireMeshOutput(files.out, files.in);
    const MeshPtr pMesh = program.readMesh(files.in);
    change(pMesh);
    program.writeMesh(files.out, pMesh);
}
