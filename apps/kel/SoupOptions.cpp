#include "SoupOptions.h"

nlohmann::ordered_json SoupOptions::toJson() const {
    return {{"spacing", spacing}, {"featureAngle", featureAngle}};
}

void addSoupOptions(CLI::App& command, SoupOptions& options, const char* outText) {
    addMeshFiles(command, options.files, outText);
    command.add_option("--spacing", options.spacing, "The edge of a grid cell, a length")->required()->check(positiveNumber);
    command
        .add_option("--feature-angle", options.featureAngle,
                    "Where normals turn by more than this, in degrees, an edge stays sharp")
        ->check(nonNegativeNumber)
        ->capture_default_str();
}
