#include "MeshFigures.h"

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <utility>
#include <vector>

using TARN_KEL::Mesh;
using TARN_KEL::Point3;

namespace {

/// Both ends of each side of each triangle as one number, the lower end in front; sorted.
std::vector<std::uint64_t> sortedSides(const std::vector<int>& vIndices) {
    std::vector<std::uint64_t> vSide;
    vSide.reserve(vIndices.size());
    for (std::size_t i = 0; i + 2 < vIndices.size(); i += 3) {
        for (std::size_t k = 0; k < 3; ++k) {
            const auto [low, high] = std::minmax(vIndices[i + k], vIndices[i + (k + 1) % 3]);
            vSide.push_back(static_cast<std::uint64_t>(low) << 32 | static_cast<std::uint64_t>(high));
        }
    }
    std::sort(vSide.begin(), vSide.end());
    return vSide;
}

void countEdges(const std::vector<int>& vIndices, MeshFigures& figures) {
    const std::vector<std::uint64_t> vSide = sortedSides(vIndices);
    for (auto it = vSide.begin(); it != vSide.end();) {
        const auto next = std::find_if(it, vSide.end(), [&](std::uint64_t side) { return side != *it; });
        const auto degree = next - it;
        (degree == 1 ? figures.numBorderEdges : degree == 2 ? figures.numInnerEdges : figures.numNonManifoldEdges) += 1;
        it = next;
    }
}

/// Disjoint sets with path halving.
class Sets {
public:
    explicit Sets(std::size_t size) : vParent(size), count(size) { std::iota(vParent.begin(), vParent.end(), 0); }
    void join(int a, int b) {
        const int rootA = root(a);
        const int rootB = root(b);
        if (rootA == rootB) return;
        at(std::max(rootA, rootB)) = std::min(rootA, rootB);
        --count;
    }
    std::size_t numSets() const { return count; }

private:
    int& at(int i) { return vParent[static_cast<std::size_t>(i)]; }
    int root(int i) {
        while (at(i) != i)
            i = at(i) = at(at(i));
        return i;
    }

    std::vector<int> vParent;
    std::size_t count;
};

std::size_t countComponents(std::size_t numVertices, const std::vector<int>& vIndices) {
    Sets sets(numVertices);
    for (std::size_t i = 0; i + 2 < vIndices.size(); i += 3) {
        sets.join(vIndices[i], vIndices[i + 1]);
        sets.join(vIndices[i], vIndices[i + 2]);
    }
    return sets.numSets();
}

}  // namespace

long long MeshFigures::eulerCharacteristic() const {
    return static_cast<long long>(numVertices + numTriangles) - static_cast<long long>(numEdges());
}

nlohmann::ordered_json MeshFigures::toJson() const {
    return {{"vertices", numVertices},
            {"triangles", numTriangles},
            {"edges", {{"border", numBorderEdges}, {"inner", numInnerEdges}, {"nonManifold", numNonManifoldEdges}}},
            {"components", numComponents},
            {"eulerCharacteristic", eulerCharacteristic()},
            {"averageEdgeLength", averageEdgeLength}};
}

MeshFigures measureMesh(Mesh& mesh) {
    std::vector<Point3*> vVertices;
    std::vector<int> vIndices;
    mesh.getVertexIndexData(vVertices, vIndices);
    MeshFigures figures;
    figures.numVertices = vVertices.size();
    figures.numTriangles = vIndices.size() / 3;
    figures.numComponents = countComponents(vVertices.size(), vIndices);
    figures.averageEdgeLength = mesh.getAverageEdgeLength();
    countEdges(vIndices, figures);
    return figures;
}
