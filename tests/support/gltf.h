// glTF files as bytes, put together by hand.
#pragma once

#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace TARN_TEST {

using Json = nlohmann::json;

/// A document and its one buffer. Lists of numbers are added first, then the meshes and nodes that name them.
class GltfBuilder {
public:
    /// Adds a list of numbers; returns its accessor. perElement: 1 to 4.
    template <typename T>
    int add(const std::vector<T>& v, std::size_t perElement, bool bNormalized = false) {
        bytes.resize((bytes.size() + 3) / 4 * 4);
        json["bufferViews"].push_back({{"buffer", 0}, {"byteOffset", bytes.size()}, {"byteLength", v.size() * sizeof(T)}});
        bytes.append(reinterpret_cast<const char*>(v.data()), v.size() * sizeof(T));
        const char* const type = perElement == 1 ? "SCALAR" : perElement == 2 ? "VEC2" : perElement == 3 ? "VEC3" : "VEC4";
        json["accessors"].push_back({{"bufferView", json["bufferViews"].size() - 1},
                                     {"componentType", codeOf(T{})},
                                     {"count", v.size() / perElement},
                                     {"type", type},
                                     {"normalized", bNormalized}});
        return static_cast<int>(json["accessors"].size()) - 1;
    }
    /// Adds a mesh of one primitive; returns its number.
    int addMesh(const Json& primitive) {
        json["meshes"].push_back({{"primitives", {primitive}}});
        return static_cast<int>(json["meshes"].size()) - 1;
    }
    void addNode(const Json& node) { json["nodes"].push_back(node); }

    /// The bytes of a .glb.
    std::string glb() const {
        Json whole = json;
        whole["buffers"] = {{{"byteLength", bytes.size()}}};
        std::string text = whole.dump(), data = bytes;
        text.resize((text.size() + 3) / 4 * 4, ' ');
        data.resize((data.size() + 3) / 4 * 4);
        return "glTF" + number(2) + number(28 + text.size() + data.size()) + number(text.size()) + "JSON" + text +
               number(data.size()) + std::string("BIN\0", 4) + data;
    }
    /// The text of a .gltf whose buffer is in another file.
    std::string gltf(const std::string& bufferName) const {
        Json whole = json;
        whole["buffers"] = {{{"byteLength", bytes.size()}, {"uri", bufferName}}};
        return whole.dump();
    }

    Json json = {{"asset", {{"version", "2.0"}}}};
    std::string bytes;

private:
    static std::string number(std::size_t value) {
        const auto bits = static_cast<std::uint32_t>(value);
        std::string text(4, '\0');
        std::memcpy(text.data(), &bits, sizeof bits);
        return text;
    }
    static int codeOf(std::int8_t) { return 5120; }
    static int codeOf(std::uint8_t) { return 5121; }
    static int codeOf(std::int16_t) { return 5122; }
    static int codeOf(std::uint16_t) { return 5123; }
    static int codeOf(std::uint32_t) { return 5125; }
    static int codeOf(float) { return 5126; }
};

}  // namespace TARN_TEST
