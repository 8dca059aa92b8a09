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
    program.report()["scan"] = {
        {"shape", request.shape}, {"pattern", request.pattern}, {"noise", request.noise}, {"seed", request.seed}};
    program.report()["truth"] = {{"area", truth.area},
                                 {"spacing", truth.spacing},
                                 {"components", truth.numComponents},
                                 {"borderLoops", truth.numBorderLoops},
                                 {"eulerCharacteristic", truth.eulerCharacteristic},
                                 {"outliers", truth.numOutliers}};
}

void addPatternOptions(CLI::App& command, ScanRequest& request) {
    command.add_option("--pattern", request.pattern, "How the points lie on the surface")
        ->check(CLI::IsMember(scanPatterns()))
        ->capture_default_str();
    command.add_option("--ratio", request.ratio, "How uneven the pattern is; 0: as it is by itself")
        ->check(nonNegativeNumber)
        ->capture_default_str();
    command.add_option("--windows", request.windowWidth, "Width of round windows in the surface, in local point spacings")
        ->check(nonNegativeNumber)
        ->capture_default_str();
    command.add_option("--outliers", request.outlierShare, "Outliers added, as a share of the points")
        ->check(CLI::Range(0.0, 100.0))
        ->capture_default_str();
    command.add_option("--outlier-kind", request.outlierKind, "Where the outliers are")
        ->check(CLI::IsMember(outlierKinds()))
        ->capture_default_str();
    command
        .add_option("--outlier-distance", request.outlierDistance,
                    "How far away they are, in mean point spacings; 0: as the kind is by itself")
        ->check(nonNegativeNumber)
        ->capture_default_str();
}

}  // namespace

void addScanCommand(CLI::App& app, Program& program) {
    auto pOptions = std::make_shared<ScanOptions>();
    const std::size_t maxPoints = 1000000000;
    CLI::App& command = *app.add_subcommand("scan", "Make a synthetic scan of a known surface, as test data");
    command.add_option("SHAPE", pOptions->request.shape, "The surface")->required()->check(CLI::IsMember(scanShapes()));
    program.addOutput(command, pOptions->out, POINTS_OUT);
    command.add_option("--points", pOptions->request.numPoints, "Number of points")
        ->required()
        ->check(CLI::Range(std::size_t{1}, maxPoints));
    command.add_option("--noise", pOptions->request.noise, "Standard deviation along the normal, in mean point spacings")
        ->check(nonNegativeNumber)
        ->capture_default_str();
    command.add_option("--seed", pOptions->request.seed, "Seed of the random numbers")
        ->check(nonNegativeNumber)
        ->capture_default_str();
    addPatternOptions(command, pOptions->request);
    program.addPrecisionOption(command);
    program.addCommonOptions(command);
    command.callback([pOptions, &program] { scan(*pOptions, program); });
}
