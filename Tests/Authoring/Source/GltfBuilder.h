// Writes small glTF files.
#pragma once

#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

class GltfBuilder {
public:
    using Json = nlohmann::json;

    Json root = {{"asset", {{"version", "2.0"}}}};

    /// Each returns the index of the new accessor.
    std::size_t Floats(const std::string& type, const std::vector<float>& values) { return Add(type, 5126, values); }
    std::size_t Shorts(const std::string& type, const std::vector<std::uint16_t>& values) {
        return Add(type, 5123, values);
    }
    std::size_t Bytes(const std::string& type, const std::vector<std::uint8_t>& values) {
        return Add(type, 5121, values);
    }

    /// Appends to a list of the root; returns the element's index.
    std::size_t Append(const char* list, const Json& element) {
        root[list].push_back(element);
        return root[list].size() - 1;
    }

    /// Index of a buffer view that holds `bytes`.
    std::size_t View(const std::string& bytes) {
        m_Buffer.resize((m_Buffer.size() + 3) / 4 * 4);
        m_Buffer += bytes;
        return Append("bufferViews",
                      {{"buffer", 0}, {"byteOffset", m_Buffer.size() - bytes.size()}, {"byteLength", bytes.size()}});
    }

    /// A mesh of one triangle (0,0,0) (1,0,0) (0,1,0) with texture coordinates (0,0) (1,0) (0,1); returns its index.
    std::size_t Triangle() {
        const Json attributes = {{"POSITION", Floats("VEC3", {0, 0, 0, 1, 0, 0, 0, 1, 0})},
                                 {"TEXCOORD_0", Floats("VEC2", {0, 0, 1, 0, 0, 1})}};
        return Append("meshes",
                      {{"primitives", {{{"attributes", attributes}, {"indices", Bytes("SCALAR", {0, 1, 2})}}}}});
    }

    Json& Primitive(std::size_t mesh) { return root["meshes"][mesh]["primitives"][0]; }

    /// Adds a channel that animates a node to the animation.
    void Animate(std::size_t animation, std::size_t node, const std::string& path, const std::string& interpolation,
                 const std::vector<float>& times, const std::string& type, const std::vector<float>& values) {
        while (root["animations"].size() <= animation) {
            root["animations"].push_back({{"channels", Json::array()}, {"samplers", Json::array()}});
        }
        const std::size_t input = Floats("SCALAR", times), output = Floats(type, values);
        Json& list = root["animations"][animation];
        list["samplers"].push_back({{"input", input}, {"output", output}, {"interpolation", interpolation}});
        list["channels"].push_back(
            {{"sampler", list["samplers"].size() - 1}, {"target", {{"node", node}, {"path", path}}}});
    }

    std::string Glb() const {
        Json complete = root;
        complete["buffers"] = {{{"byteLength", m_Buffer.size()}}};
        std::string json = complete.dump(), binary = m_Buffer;
        json.resize((json.size() + 3) / 4 * 4, ' ');
        binary.resize((binary.size() + 3) / 4 * 4);
        return "glTF" + Word(2) + Word(28 + json.size() + binary.size()) + Word(json.size()) + "JSON" + json +
               Word(binary.size()) + std::string("BIN\0", 4) + binary;
    }

    /// The text of a .gltf file; the buffer is in the file `uri`.
    std::string Gltf(const std::string& uri) const {
        Json complete = root;
        complete["buffers"] = {{{"byteLength", m_Buffer.size()}, {"uri", uri}}};
        return complete.dump();
    }

    const std::string& Buffer() const { return m_Buffer; }

private:
    static std::string Word(std::size_t value) {
        std::string bytes(4, '\0');
        for (std::size_t i = 0; i < 4; ++i) {
            bytes[i] = static_cast<char>(value >> 8 * i);
        }
        return bytes;
    }

    template <class Number>
    std::size_t Add(const std::string& type, int componentType, const std::vector<Number>& values) {
        const std::size_t width = type == "SCALAR" ? 1 : type == "MAT4" ? 16 : static_cast<std::size_t>(type[3] - '0');
        std::string bytes(values.size() * sizeof(Number), '\0');
        std::memcpy(bytes.data(), values.data(), bytes.size());
        return Append("accessors", {{"bufferView", View(bytes)},
                                    {"componentType", componentType},
                                    {"count", values.size() / width},
                                    {"type", type}});
    }

    std::string m_Buffer;
};
