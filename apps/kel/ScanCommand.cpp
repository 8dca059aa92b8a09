#include <memory>

#include "PostProcessing.h"
#include "SyntheticScan.h"
#include "commands.h"

using namespace TARN_KEL;

namespace {

struct ScanOptions {
    ScanRequest request;
    std::string out;
};

void scan(const ScanOptions& options, Program& program) {
    program.requirePointOutput(options.out);
    const ScanRequest& request = options.request;
    std::vector<Point3> vPoints;
    ScanTruth truth;
    program.step("scan", [&] { truth = makeScan(request, vPoints); });
    program.writePoints(options.out, vPoints);
    program.report()["scan"] = {{"shape", request.shape}, {"noise", request.noise}, {"seed", request.seed}};
    program.report()["truth"] = {{"area", truth.area},
                                 {"spacing", truth.spacing},
                                 {"components", truth.numComponents},
                                 {"borderLoops", truth.numBorderLoops},
                                 {"eulerCharacteristic", truth.eulerCharacteristic}};
}

}  // namespace

void addScanCommand(CLI::App& app, Program& program) {
    auto pOptions = std::make_shared<ScanOptions>();
    const std::size_t maxPoints = 1000000000;
    CLI::App& command = *app.add_subcommand("scan", "Make a synthetic scan of a known surface, as test data");
    command.add_option("SHAPE", pOptions->request.shape, "The surface")->required()->check(CLI::IsMember(scanShapes()));
    command.add_option("OUT", pOptions->out, POINTS_OUT)->required();
    command.add_option("--points", pOptions->request.numPoints, "Number of points")
        ->required()
        ->check(CLI::Range(std::size_t{1}, maxPoints));
    command.add_option("--noise", pOptions->request.noise, "Standard deviation along the normal, in mean point spacings")
        ->check(nonNegativeNumber)
        ->capture_default_str();
    command.add_option("--seed", pOptions->request.seed, "Seed of the random numbers")
        ->check(nonNegativeNumber)
        ->capture_default_str();
    program.addCommonOptions(command);
    command.callback([pOptions, &program] { scan(*pOptions, program); });
}
