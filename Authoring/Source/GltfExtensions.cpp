#include "Authoring/Source/GltfExtensions.h"

#include <array>
#include <set>
#include <string>

namespace Nimb::Authoring {
namespace {

bool IsSupported(const std::string& name) {
    // Players light nothing, so to be unlit is to be as wanted.
    static const std::set<std::string> s_Supported = {"KHR_texture_transform", "KHR_mesh_quantization",
                                                      "KHR_materials_unlit"};
    return s_Supported.count(name) != 0;
}

/// Whether the mesh and the colour of its surface are the same without it.
bool IsBesideTheSurface(const std::string& name) {
    static const std::set<std::string> s_Replacing = {"KHR_materials_pbrSpecularGlossiness", "KHR_materials_common"};
    static const std::array<std::string, 14> s_Beside = {"KHR_materials_",
                                                         "KHR_lights",
                                                         "EXT_lights",
                                                         "KHR_xmp",
                                                         "KHR_audio",
                                                         "MSFT_audio",
                                                         "KHR_physics",
                                                         "MSFT_physics",
                                                         "KHR_implicit_shapes",
                                                         "KHR_interactivity",
                                                         "KHR_animation_pointer",
                                                         "EXT_mesh_features",
                                                         "EXT_structural_metadata",
                                                         "EXT_instance_features"};
    if (s_Replacing.count(name) != 0) {
        return false;
    }
    for (const std::string& beginning : s_Beside) {
        if (name.compare(0, beginning.size(), beginning) == 0) {
            return true;
        }
    }
    return false;
}

std::string Advice(const std::string& name) {
    if (name == "KHR_draco_mesh_compression" || name.find("meshopt_compression") != std::string::npos) {
        return "; export the scene without mesh compression";
    }
    if (name.find("_texture_") != std::string::npos) {
        return "; export the scene with PNG or JPEG pictures";
    }
    return "";
}

/// Pointers may lead to what moves a surface.
void CheckPointers(const GltfFile& file) {
    for (std::size_t i = 0; i < file.Count("animations"); ++i) {
        for (const Json& channel : file.Element("animations", i).value("channels", Json::array())) {
            const Json target = channel.value("target", Json::object());
            const std::string pointer = target.value("extensions", Json::object())
                                            .value("KHR_animation_pointer", Json::object())
                                            .value("pointer", "");
            for (const char* const path : {"/translation", "/rotation", "/scale", "/weights"}) {
                const std::string end = path;
                const bool isNode = pointer.compare(0, 7, "/nodes/") == 0 || pointer.compare(0, 8, "/meshes/") == 0;
                if (isNode && pointer.find(end, 7) != std::string::npos) {
                    file.Fail("animation " + std::to_string(i) + " moves nodes by the glTF extension " +
                              "KHR_animation_pointer (" + pointer + "), which is not supported");
                }
            }
        }
    }
}

}  // namespace

void CheckExtensions(const GltfFile& file, Warnings* pWarnings) {
    const auto required = file.Root().value("extensionsRequired", std::set<std::string>());
    std::set<std::string> all = file.Root().value("extensionsUsed", std::set<std::string>());
    all.insert(required.begin(), required.end());
    for (const std::string& name : all) {
        if (IsSupported(name)) {
            continue;
        }
        if (required.count(name) != 0 && !IsBesideTheSurface(name)) {
            file.Fail("requires the glTF extension " + name + ", which is not supported" + Advice(name));
        }
        if (pWarnings != nullptr) {
            pWarnings->Add("the glTF extension " + name + " is ignored", file.Path());
        }
    }
    CheckPointers(file);
}

}  // namespace Nimb::Authoring
