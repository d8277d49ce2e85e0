// The extensions of OpenGL ES, of which the stand-in picks the image function.
#pragma once

#include <GLES3/gl3.h>
#undef GL_APICALL
#define GL_APICALL __attribute__((visibility("default")))
#define GL_GLEXT_PROTOTYPES
#include <GLES2/gl2ext.h>
