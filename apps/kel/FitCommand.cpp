// kel fit: moves a mesh to where points say that the surface is.
#include <memory>

#include "FileKinds.h"
#include "PostProcessing.h"
#include "commands.h"

using namespace TARN_KEL;

namespace {

struct FitRequest {
    MeshChange change;
    std::string cloud;
    FitOptions options;
    bool bKeepNoise = false;
};

void fit(FitRequest& request, Program& program) {
    Program::requirePointInput(request.cloud);
    program.requireMeshOutput(request.change.files.out, request.cloud);
    request.options.bNoise = !request.bKeepNoise;
    request.options.bNoCrossings = request.change.bNoCrossings;
    CarriedColumns points;
    const bool bAttributes = request.change.bAttributes && holdsVertexAttributes(request.change.files.out);
    points.vPlaces = program.readPoints(request.cloud, "cloud", bAttributes ? &points.attributes : nullptr);
    points.keepFor(request.change.files.out, program);
    changeMesh(
        request.change,
        [&](const MeshPtr& pMesh) {
            FitReport done;
            program.step("fit", [&] { done = fit(pMesh, points.vPlaces, request.options); });
            noteFit(done, program);
        },
        program, &points);
}

}  // namespace

void addFitCommand(CLI::App& app, Program& program) {
    auto pRequest = std::make_shared<FitRequest>();
    CLI::App& command = *app.add_subcommand("fit", "Move a mesh to the surface that points show: sharp edges, less noise");
    program.addInput(command, "IN", pRequest->change.files.in, MESH_IN)->required();
    program
        .addInput(command, "CLOUD", pRequest->cloud, std::string("The points that the mesh was made of: ") + POINT_KINDS_IN)
        ->required();
    program.addOutput(command, pRequest->change.files.out, MESH_OUT);
    command
        .add_option("--cell", pRequest->options.cellEdge,
                    "Edge of the grid cells that the mesh was made on; without it by the edges of the mesh")
        ->check(positiveNumber);
    command.add_flag("--keep-noise", pRequest->bKeepNoise, "Take all that the points show for detail");
    pRequest->change.bNoCrossings = true;
    command.add_flag("--no-crossings,!--keep-crossings", pRequest->change.bNoCrossings,
                     "Make no triangles pass through each other, which is the default, or let them");
    addRawOption(command, pRequest->change.bRaw);
    addAttributesOption(command, pRequest->change.bAttributes);
    program.addMeshOutputOptions(command);
    program.addCommonOptions(command);
    command.callback([pRequest, &program] { fit(*pRequest, program); });
}
