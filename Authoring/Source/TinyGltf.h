// tinygltf, without its pictures: those are ImageFile.h's, and decoded when they are wanted.
#pragma once

#define TINYGLTF_NO_EXTERNAL_IMAGE
#define TINYGLTF_NO_STB_IMAGE
#define TINYGLTF_NO_STB_IMAGE_WRITE
#include <tiny_gltf.h>
