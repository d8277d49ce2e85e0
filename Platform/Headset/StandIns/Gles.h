// OpenGL ES 3.0.
#pragma once

#define GL_APICALL __attribute__((visibility("default")))
#include <GLES3/gl3.h>
