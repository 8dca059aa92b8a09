// kel fit: moves a mesh to where points say that the surface is.
#include <memory>

#include "FileKinds.h"
#include "PointInput.h"
#include "PostProcessing.h"
#include "commands.h"

using namespace TARN_KEL;

namespace {

struct FitRequest {
    MeshChange change;
    PointInput cloud;
    FitOptions options;
    bool bKeepNoise = false;
};

void fit(FitRequest& request, Program& program) {
    request.cloud.require();
    for (const std::string& file : request.cloud.readFiles())
        program.requireMeshOutput(request.change.files.out, file);
    request.options.bNoise = !request.bKeepNoise;
    CarriedColumns points;
    const bool bAttributes = request.change.bAttributes && holdsVertexAttributes(request.change.files.out);
    points.vPlaces = request.cloud.read(program, bAttributes ? &points.attributes : nullptr, "cloud");
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
        .addInput(command, "CLOUD", pRequest->cloud.vFiles.emplace_back(),
                  std::string("The points that the mesh was made of: ") + POINT_KINDS_IN)
        ->required();
    program.addOutput(command, pRequest->change.files.out, MESH_OUT);
    addPointChoice(command, program, pRequest->cloud.choice);
    command
        .add_option("--cell", pRequest->options.cellEdge,
                    "Edge of the grid cells that the mesh was made on; without it by the edges of the mesh")
        ->check(positiveNumber);
    command.add_flag("--keep-noise", pRequest->bKeepNoise, "Take all that the points show for detail");
    addRawOption(command, pRequest->change.bRaw);
    addAttributesOption(command, pRequest->change.bAttributes);
    program.addMeshOutputOptions(command);
    program.addCommonOptions(command);
    command.callback([pRequest, &program] { fit(*pRequest, program); });
}
