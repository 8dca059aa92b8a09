// kel convert: a file in another format.
#include <memory>

#include "FileKinds.h"
#include "commands.h"

using namespace TARN_KEL;

namespace {

struct ConvertOptions {
    std::string in;
    std::string out;
    bool bAscii = false;
};

void convertPoints(const ConvertOptions& options, bool bDropsTriangles, Program& program) {
    std::vector<Point3> vPoints = program.readPoints(options.in);
    if (bDropsTriangles) program.warn("Of the mesh in " + options.in + " only the vertices are written");
    program.writePoints(options.out, vPoints, options.bAscii);
}

void convert(const ConvertOptions& options, Program& program) {
    isTriangleFile(options.in) ? Program::requireMeshInput(options.in) : Program::requirePointInput(options.in);
    if (options.bAscii && !isPlyFile(options.out))
        throw Failure("--ascii chooses the form of a .ply, which " + options.out + " isn't");
    const bool bTriangles = holdsTriangles(options.in);
    if (bTriangles && !isPointsOnlyFile(options.out)) {
        program.requireMeshOutput(options.out, options.in);
        program.writeMesh(options.out, program.readMesh(options.in, false), options.bAscii);
    } else {
        Program::requirePointInput(options.in);
        program.requirePointOutput(options.out, options.in);
        convertPoints(options, bTriangles, program);
    }
}

}  // namespace

void addConvertCommand(CLI::App& app, Program& program) {
    auto pOptions = std::make_shared<ConvertOptions>();
    CLI::App& command = *app.add_subcommand(
        "convert", "Write a mesh or points in another format; a mesh without degenerate and duplicate triangles, oriented");
    command
        .add_option(
            "IN", pOptions->in,
            "A mesh: .ply or .stl; or points: .xyz, .txt, .asc, .bin, .las, .pcd, .pts, .ptx, .csv or a .ply without "
            "faces")
        ->required();
    command
        .add_option(
            "OUT", pOptions->out,
            "A mesh: .ply, .stl, .obj or .list; or points, unless IN is an .stl: .xyz, .txt, .asc, .bin, .ply or .list")
        ->required();
    command.add_flag("--ascii", pOptions->bAscii, "Write a .ply as text, with six digits or, in double precision, 17");
    program.addPrecisionOption(command);
    program.addCommonOptions(command);
    command.callback([pOptions, &program] { convert(*pOptions, program); });
}
