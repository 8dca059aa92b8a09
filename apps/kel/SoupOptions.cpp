// Adds the options of the commands that rasterise a soup.
#include "SoupOptions.h"

#include <utility>

#include "../../src_lib/api/soupRoom.h"

nlohmann::ordered_json SoupOptions::toJson() const {
    return {{"spacing", spacing}, {"featureAngle", featureAngle}};
}

std::vector<TARN_KEL::Point3> SoupOptions::read(Program& program, double bytesPerCell) const {
    TARN_KEL::PointAttributes attributes;  // all of them, for one question, until the run begins
    std::vector<TARN_KEL::Point3> vCorners = program.readTriangles(files.in, &attributes);
    if (std::exchange(attributes, {}).hasColour()) program.warn("The colours in " + files.in + " aren't kept");
    if (const std::string fault = TARN_KEL::soupRoomFault(vCorners, spacing, bytesPerCell); !fault.empty())
        throw Failure(fault);
    return vCorners;
}

void addSoupOptions(CLI::App& command, Program& program, SoupOptions& options, const char* outText) {
    addMeshFiles(command, program, options.files, outText);
    command.add_option("--spacing", options.spacing, "Edge of a grid cell, a length")->required()->check(positiveNumber);
    command
        .add_option("--feature-angle", options.featureAngle,
                    "Edges whose normals differ by more than this stay sharp, in degrees")
        ->check(nonNegativeNumber)
        ->capture_default_str();
}
