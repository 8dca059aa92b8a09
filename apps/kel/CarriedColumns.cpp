// Reads columns, and carries them over to meshes.
#include "CarriedColumns.h"

#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "../../src_lib/files/fileFormats.h"
#include "FileKinds.h"

using namespace TARN_KEL;

namespace {

constexpr std::size_t NEW = static_cast<std::size_t>(-1);
constexpr double MEAN_EDGE = 0.0;  // as a length: that of the new mesh, whose vertices stand for those that are gone

/// Whether the file of a mesh has room for a column.
bool holds(const std::string& out, AttributeKind kind) {
    if (isThreeMfFile(out)) return kind == AttributeKind::COLOUR;
    return isGlbFile(out) || meshFileHolds(out, kind);
}

/// Sets values to those that other rows of a column had. vRow: for each value its row there, or NEW.
void setRows(const AttributeColumn& older, const std::vector<std::size_t>& vRow, AttributeColumn& column) {
    std::visit(
        [&](auto& vValue) {
            const auto& vOlder = std::get<std::decay_t<decltype(vValue)>>(older.values);
            for (std::size_t i = 0; i < vRow.size(); ++i)
                if (vRow[i] != NEW) vValue[i] = vOlder[vRow[i]];
        },
        column.values);
    if (column.vMissing.empty() && older.vMissing.empty()) return;
    column.vMissing.resize(vRow.size(), 0);
    for (std::size_t i = 0; i < vRow.size(); ++i)
        if (vRow[i] != NEW) column.vMissing[i] = older.vMissing.empty() ? 0 : older.vMissing[vRow[i]];
}

std::vector<Point3*> verticesOf(const MeshPtr& pMesh) {
    std::vector<Point3*> vVertices;
    std::vector<int> vIndices;
    pMesh->getVertexIndexData(vVertices, vIndices);
    return vVertices;
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

void CarriedColumns::moveToMesh(const MeshPtr& pMesh, const std::vector<Point3>& vOfFile,
                                const std::vector<std::size_t>& vRow) {
    constexpr double SAME_PLACE = 1e-150;  // a length whose square is a normal number
    if (attributes.empty()) return;
    attributes = vRow.empty() ? transferAttributes(pMesh, vOfFile, attributes, SAME_PLACE) : attributes.rows(vRow);
    vPlaces.clear();
    for (const Point3* p : verticesOf(pMesh))
        vPlaces.push_back(*p);
}

PointAttributes CarriedColumns::onto(const MeshPtr& pMesh, double length, Program& program) const {
    if (attributes.empty()) return {};
    PointAttributes ofVertices;
    program.step("attributes", [&] { ofVertices = transferAttributes(pMesh, vPlaces, attributes, length); });
    tell(program);
    return ofVertices;
}

void CarriedColumns::tell(Program& program) const {
    if (!attributes.empty()) program.say("carried over: " + namesOf(attributes));
}

OlderVertices::OlderVertices(const MeshPtr& pMesh) : vNormals(vertexNormals(pMesh)), edge(pMesh->getAverageEdgeLength()) {
    for (const Point3* p : verticesOf(pMesh))
        mRow.emplace(p, mRow.size());
    follow(pMesh);
}

void OlderVertices::follow(const MeshPtr& pMesh) {
    pFollowed = pMesh->getRMesh();
    std::vector<Point3*> vVertices;
    vIndices.clear();
    vRow.clear();
    pMesh->getVertexIndexData(vVertices, vIndices);
    for (const Point3* p : vVertices) {
        const auto it = mRow.find(p);
        vRow.push_back(it != mRow.end() ? it->second : NEW);
    }
}

PointAttributes OlderVertices::carry(const CarriedColumns& columns, const MeshPtr& pMesh, bool bMean, Program& program) {
    PointAttributes made;
    program.step("attributes", [&] {
        made = transferAttributes(pMesh, columns.vPlaces, vNormals, columns.attributes, bMean ? MEAN_EDGE : edge);
        if (bMean) return;
        if (pMesh->getRMesh() == pFollowed) follow(pMesh);
        std::vector<Point3*> vVertices;
        std::vector<int> vNow;
        pMesh->getVertexIndexData(vVertices, vNow);
        if (vNow != vIndices || vVertices.size() != vRow.size()) return;
        for (AttributeColumn& column : made.vColumns)
            setRows(*columns.attributes.find(column.name), vRow, column);
    });
    columns.tell(program);
    return made;
}
