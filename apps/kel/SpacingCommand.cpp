// kel spacing: estimates the spacing of points.
#include <algorithm>
#include <memory>
#include <sstream>

#include "FileKinds.h"
#include "PointInput.h"
#include "commands.h"

using namespace TARN_KEL;

namespace {

/// Those that aren't finite aside.
bool isAtOnePlace(const std::vector<Point3>& vPoints) {
    const auto first = std::find_if(vPoints.begin(), vPoints.end(), isFinitePoint);
    return std::all_of(first, vPoints.end(), [&](const Point3& p) { return !isFinitePoint(p) || p == *first; });
}

void estimateSpacing(const PointInput& input, Program& program) {
    program.keepOutputForResult();
    input.require();
    program.requireReport(input.readFiles());
    std::vector<Point3> vPoints = input.read(program);
    const std::string in = input.names();
    double spacing = -1.0;
    program.step("estimate", [&] { spacing = estimateAvgSpacing(vPoints); });
    if (!(spacing > 0.0)) throw Failure("The points of " + in + " have no spacing");
    if (isAtOnePlace(vPoints)) program.warn("All points of " + in + " are at one place: their spacing is a mere convention");
    program.report()["spacing"] = spacing;
    std::ostringstream line;
    line.precision(17);  // every double exactly
    line << spacing;
    Program::print(line.str());
}

}  // namespace

void addSpacingCommand(CLI::App& app, Program& program) {
    auto pInput = std::make_shared<PointInput>();
    CLI::App& command = *app.add_subcommand("spacing", "Print the estimated average spacing of points");
    addPointFiles(command, program, *pInput, std::string("Points: ") + POINT_KINDS_IN);
    addPointChoice(command, program, pInput->choice);
    program.addCommonOptions(command);
    command.callback([pInput, &program] { estimateSpacing(*pInput, program); });
}
