# What goes to other people: a Debian package of the tool (`cpack`), and the Unity package with its native libraries
# (target `unity-package`).
if(NOT TARGET nimb)
  return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME nimb)
set(CPACK_PACKAGE_CONTACT "The Nimb project")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "encodes, plays and checks volumetric video")
set(CPACK_COMPONENT_TOOL_DESCRIPTION "Every frame of a volumetric video carries a textured triangle mesh.
This package makes such clips from meshes, plays them, looks into them
and takes them apart.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL tool)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME nimb)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_OUTPUT_FILE_PREFIX "${CMAKE_BINARY_DIR}/packages")
include(CPack)

set(NIMB_HEADSET_LIBRARY "${CMAKE_SOURCE_DIR}/build/headset/NimbUnityPluginML/libNimbUnityPluginML.so" CACHE FILEPATH
  "The plug-in for the headset, for the Unity package")
add_custom_target(unity-package
  COMMAND "${CMAKE_COMMAND}"
    "-DPACKAGE=${CMAKE_SOURCE_DIR}/Unity" "-DBUILD=${CMAKE_BINARY_DIR}" "-DHEADSET_LIBRARY=${NIMB_HEADSET_LIBRARY}"
    "-DLINT=${CMAKE_SOURCE_DIR}/Tests/Unity/package_lint.py" "-DLIBRARIES=${CMAKE_INSTALL_LIBDIR}"
    "-DVERSION=${PROJECT_VERSION}" "-DOUTPUT=${CMAKE_BINARY_DIR}/packages"
    -P "${CMAKE_CURRENT_LIST_DIR}/UnityPackage.cmake"
  DEPENDS NimbUnityPluginML NimbPlatformDesktop
  COMMENT "Composing the Unity package"
  VERBATIM)
