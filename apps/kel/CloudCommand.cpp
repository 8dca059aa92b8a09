// kel cloud: a triangle soup to points.
#include <memory>

#include "../../src_lib/api/soupRoom.h"
#include "SoupOptions.h"
#include "commands.h"

using namespace TARN_KEL;

namespace {

void makeCloud(const SoupOptions& options, Program& program) {
    const auto& [in, out] = options.files;
    Program::requireMeshInput(in);
    program.requirePointOutput(out, in);
    std::vector<Point3> vCorners = options.read(program, POINT_BYTES_PER_CELL);
    std::vector<Point3> vPoints;
    program.step("cloud", [&] { toCloud(vCorners, options.spacing, options.featureAngle, vPoints); });
    program.report()["cloud"] = options.toJson();
    if (vPoints.empty()) throw Failure("No point came of " + in);
    program.writePoints(out, vPoints);
}

}  // namespace

void addCloudCommand(CLI::App& app, Program& program) {
    auto pOptions = std::make_shared<SoupOptions>();
    CLI::App& command = *app.add_subcommand("cloud", "Make points of triangles: one for each grid cell that they touch");
    addSoupOptions(command, program, *pOptions, POINTS_OUT);
    program.addPrecisionOption(command);
    program.addCommonOptions(command);
    command.callback([pOptions, &program] { makeCloud(*pOptions, program); });
}
