// Reads columns, and carries them over to meshes.
#include "CarriedColumns.h"

#include <utility>
#include <vector>

#include "FileKinds.h"

using namespace TARN_KEL;

namespace {

/// Whether the file of a mesh has room for a column.
bool holds(const std::string& out, AttributeKind kind) {
    if (isPlyFile(out) || isGlbFile(out)) return true;
    return isObjFile(out) && (kind == AttributeKind::COLOUR || kind == AttributeKind::NORMAL);
}

}  // namespace

void addAttributesOption(CLI::App& command, bool& bAttributes) {
    command.add_flag_callback(
        "--no-attributes", [&bAttributes] { bAttributes = false; },
        "Leave out the colours, intensities, classes and other columns of IN");
}

void CarriedColumns::keepFor(const std::string& out, Program& program) {
    std::vector<bool> vHeld;  // while all columns are there, as the kind of one depends on others
    for (const AttributeColumn& column : attributes.vColumns)
        vHeld.push_back(holds(out, attributes.kindOf(column)));
    PointAttributes kept, others;
    for (std::size_t i = 0; i < vHeld.size(); ++i)
        (vHeld[i] ? kept : others).vColumns.push_back(std::move(attributes.vColumns[i]));
    attributes = std::move(kept);
    if (!others.empty()) program.warn(out + " can't hold " + namesOf(others));
}

PointAttributes CarriedColumns::onto(const MeshPtr& pMesh, double length, Program& program) const {
    if (attributes.empty()) return {};
    PointAttributes ofVertices;
    program.step("attributes", [&] { ofVertices = transferAttributes(pMesh, vPlaces, attributes, length); });
    program.say("carried over: " + namesOf(ofVertices));
    return ofVertices;
}
