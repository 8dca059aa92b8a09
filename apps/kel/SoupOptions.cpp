#include "SoupOptions.h"

nlohmann::ordered_json SoupOptions::toJson() const {
    return {{"spacing", spacing}, {"featureAngle", featureAngle}};
}

void addSoupOptions(CLI::App& command, SoupOptions& options, const char* outText) {
    command.add_option("IN", options.files.in, MESH_IN)->required();
    command.add_option("OUT", options.files.out, outText)->required();
    command.add_option("--spacing", options.spacing, "The edge of a grid cell, a length")->required()->check(positiveNumber);
    command
        .add_option("--feature-angle", options.featureAngle,
                    "Where normals turn by more than this, in degrees, an edge stays sharp")
        ->check(nonNegativeNumber)
        ->capture_default_str();
}
