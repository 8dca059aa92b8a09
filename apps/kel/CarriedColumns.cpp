// Reads columns, and carries them over to meshes.
#include "CarriedColumns.h"

#include <utility>

#include "FileKinds.h"

using namespace TARN_KEL;

void addAttributesOption(CLI::App& command, bool& bAttributes) {
    command.add_flag_callback(
        "--no-attributes", [&bAttributes] { bAttributes = false; },
        "Leave out the colours, intensities, classes and other columns of IN");
}

void CarriedColumns::keepFor(const std::string& out) {
    if (isPlyFile(out) || isGlbFile(out)) return;
    PointAttributes colours;
    if (isObjFile(out) && attributes.hasColour())
        for (const char* name : {"red", "green", "blue"})
            colours.set(*attributes.find(name));
    attributes = std::move(colours);
}

PointAttributes CarriedColumns::onto(const MeshPtr& pMesh, double length, Program& program) const {
    if (attributes.empty()) return {};
    PointAttributes ofVertices;
    program.step("attributes", [&] { ofVertices = transferAttributes(pMesh, vPlaces, attributes, length); });
    program.say("carried over: " + namesOf(ofVertices));
    return ofVertices;
}

CarriedColumns columnsOfVertices(const std::string& in, const std::string& out, Program& program) {
    CarriedColumns columns;
    if ((!isPlyFile(in) && !isObjFile(in)) || !holdsVertexAttributes(out)) return columns;
    std::size_t numOthers = 0;
    program.appendPoints(in, {}, columns.vPlaces, numOthers, &columns.attributes);
    columns.keepFor(out);
    return columns;
}
