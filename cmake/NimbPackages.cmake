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

# What the Unity package has for Linux, installed by name alone, as the component `unity`. An editor must survive a damaged
# clip, so the plug-in is the one that reports.
set(nimb_unity_libraries nimb_editor_plugin NimbPlatformDesktop nimb_clip)
if(TARGET nimb_clip)
  install(TARGETS ${nimb_unity_libraries} LIBRARY DESTINATION unity COMPONENT unity EXCLUDE_FROM_ALL)
endif()

set(NIMB_HEADSET_LIBRARY "" CACHE FILEPATH "The plug-in for the headset, built with the SDK, for the Unity package")
set(NIMB_MACOS_LIBRARY "" CACHE FILEPATH "NimbClip for macOS (nimb_clip.bundle), for the Unity package")
set(nimb_compose_unity_package "${CMAKE_COMMAND}"
  "-DSOURCE=${CMAKE_SOURCE_DIR}" "-DBUILD=${CMAKE_BINARY_DIR}" "-DVERSION=${PROJECT_VERSION}"
  "-DWINDOWS_LIBRARY=${NIMB_CLIP_WINDOWS}" "-DCLIP_SOURCE=${NIMB_CLIP_AMALGAMATION}/plugin/nimb_clip.cpp")
set(nimb_unity_package_script -P "${CMAKE_CURRENT_LIST_DIR}/UnityPackage.cmake")
add_custom_target(unity-package
  COMMAND ${nimb_compose_unity_package} "-DHEADSET_LIBRARY=${NIMB_HEADSET_LIBRARY}" "-DMACOS_LIBRARY=${NIMB_MACOS_LIBRARY}"
    "-DOUTPUT=${CMAKE_BINARY_DIR}/packages" "-DNIMB=$<TARGET_FILE:nimb>" ${nimb_unity_package_script}
  COMMENT "Composing the Unity package"
  VERBATIM)
foreach(target IN ITEMS ${nimb_unity_libraries} nimb nimb_clip_amalgamated nimb_clip_windows)
  if(TARGET ${target})
    add_dependencies(unity-package ${target})
  endif()
endforeach()
