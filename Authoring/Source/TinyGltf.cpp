// The one place where tinygltf's own code is compiled.
#include <nlohmann/json.hpp>

#define TINYGLTF_IMPLEMENTATION
#define TINYGLTF_NO_INCLUDE_JSON
#include "Authoring/Source/TinyGltf.h"
