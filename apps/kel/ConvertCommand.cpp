// kel convert: a file in another format.
#include <memory>
#include <utility>

#include "../../src_lib/files/attributeColumns.h"
#include "CarriedColumns.h"
#include "FileKinds.h"
#include "PointInput.h"
#include "commands.h"

using namespace TARN_KEL;

namespace {

struct ConvertOptions {
    PointInput input;
    std::string out;
    bool bAscii = false;
    bool bAttributes = true;
};

void convertMesh(const ConvertOptions& options, Program& program) {
    const std::string& in = options.input.vFiles.front();
    if (!options.input.choice.isAll())
        throw Failure("Points are chosen from " + in + ", which is a mesh: write them as .xyz, .txt, .asc, .bin or .las");
    program.requireMeshOutput(options.out, in);
    CarriedColumns columns;
    const MeshPtr pMesh = program.readMesh(in, false, options.bAttributes ? &columns : nullptr);
    columns.keepFor(options.out, program);
    columns.tell(program);
    program.writeMesh(options.out, pMesh, options.bAscii, std::move(columns.attributes));
}

/// The names of columns for which a file of points has no room. A .las tells by itself.
std::string notHeld(const std::string& out, const PointAttributes& attributes) {
    if (holdsPointAttributes(out)) return "";
    PointAttributes others;
    for (const AttributeColumn& column : attributes.vColumns) {
        const bool bBehind = attributes.kindOf(column) == kindInText(attributes);
        if (!isPointsText(out) || !bBehind) others.vColumns.push_back({column.name, {}, {}});
    }
    return namesOf(others);
}

void convertPoints(const ConvertOptions& options, Program& program) {
    options.input.require();
    for (const std::string& file : options.input.readFiles())
        program.requirePointOutput(options.out, file);
    PointAttributes attributes;
    std::vector<Point3> vPoints = options.input.read(program, options.bAttributes ? &attributes : nullptr);
    if (const std::string names = notHeld(options.out, attributes); !names.empty())
        program.warn(options.out + " can't hold " + names);
    for (const std::string& file : options.input.vFiles)
        if (holdsTriangles(file)) program.warn("Of the mesh in " + file + " only the vertices are written");
    program.writePoints(options.out, vPoints, options.bAscii, attributes);
}

void convert(const ConvertOptions& options, Program& program) {
    const std::vector<std::string>& vFiles = options.input.vFiles;
    for (const std::string& file : vFiles)
        isTriangleInput(file) ? Program::requireMeshInput(file) : Program::requirePointInput(file);
    if (options.bAscii && !isPlyFile(options.out))
        throw Failure("--ascii chooses the form of a .ply, which " + options.out + " isn't");
    const bool bMesh = vFiles.size() == 1 && holdsTriangles(vFiles.front()) && !isPointsOnlyFile(options.out);
    bMesh ? convertMesh(options, program) : convertPoints(options, program);
}

}  // namespace

void addConvertCommand(CLI::App& app, Program& program) {
    auto pOptions = std::make_shared<ConvertOptions>();
    CLI::App& command = *app.add_subcommand(
        "convert", "Write a mesh or points in another format; a mesh without degenerate and duplicate triangles, oriented");
    addPointFiles(command, program, pOptions->input, pOptions->out,
                  std::string("A mesh: ") + MESH_KINDS_IN +
                      "; or points: .xyz, .txt, .asc, .bin, .las, .pcd, .pts, .ptx, .csv or a mesh file without faces, "
                      "except an .stl",
                  std::string("A mesh: ") + MESH_KINDS_OUT + "; or points, unless IN is an .stl: " + POINT_KINDS_OUT);
    addPointChoice(command, program, pOptions->input.choice);
    command.add_flag("--ascii", pOptions->bAscii, "Write a .ply as text, with six digits or, in double precision, 17");
    addAttributesOption(command, pOptions->bAttributes);
    program.addMeshOutputOptions(command);
    program.addCommonOptions(command);
    command.callback([pOptions, &program] { convert(*pOptions, program); });
}
