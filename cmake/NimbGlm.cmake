# nimb_glm: vectors and matrices, for targets that reckon with them. Only headers: cross builds take them from the machine
# that builds, through a folder with nothing else in it, since the rest of that machine's headers is not for the target.
find_path(NIMB_GLM_INCLUDE_DIR glm/glm.hpp REQUIRED NO_CMAKE_FIND_ROOT_PATH)
file(MAKE_DIRECTORY "${CMAKE_BINARY_DIR}/glm")
file(CREATE_LINK "${NIMB_GLM_INCLUDE_DIR}/glm" "${CMAKE_BINARY_DIR}/glm/glm" SYMBOLIC)

add_library(nimb_glm INTERFACE)
target_include_directories(nimb_glm SYSTEM INTERFACE "${CMAKE_BINARY_DIR}/glm")
target_compile_definitions(nimb_glm INTERFACE GLM_ENABLE_EXPERIMENTAL)  # glm/gtx
