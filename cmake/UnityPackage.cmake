# Composes the Unity package as people install it, native libraries inside, and packs it as a tarball: from the tree
# SOURCE and its build BUILD to the folder OUTPUT. What is not there to be packed is named in a file of the package, which
# the editor reads. Tests/Unity/package_lint.py refuses libraries that their platform could not load.
#
#   HEADSET_LIBRARY  the plug-in for the headset, built with the SDK; empty: left out
#   MACOS_LIBRARY    NimbClip for macOS; empty: left out
#   WINDOWS_LIBRARY  NimbClip for Windows
#   CLIP_SOURCE      NimbClip as one source file, for Android and iOS
#   NIMB             the tool, which makes the clip of a sample; empty: the sample is without
cmake_minimum_required(VERSION 3.25)

file(READ "${SOURCE}/Unity/package.json" manifest)
string(JSON name GET "${manifest}" name)
string(JSON version GET "${manifest}" version)
if(NOT version STREQUAL VERSION)
  message(FATAL_ERROR "Unity/package.json has version ${version}, the plug-in ${VERSION}")
endif()
if(NOT WINDOWS_LIBRARY)
  message(FATAL_ERROR "The package has a library for Windows, made by x86_64-w64-mingw32-g++-posix, which is not there "
                      "(Debian: g++-mingw-w64-x86-64-posix)")
endif()

set(work "${OUTPUT}/unity")
set(composed "${work}/${name}")
set(plugins "${composed}/Runtime/Plugins")
file(REMOVE_RECURSE "${work}")
file(COPY "${SOURCE}/Unity/" DESTINATION "${composed}" PATTERN "Native~" EXCLUDE)
file(COPY "${SOURCE}/Unity/Native~/" DESTINATION "${composed}/Runtime" PATTERN "README.md" EXCLUDE)

# place_library(<place> <file>)
function(place_library place file)
  if(NOT EXISTS "${file}")
    message(FATAL_ERROR "There is no '${file}'")
  endif()
  get_filename_component(folder "${plugins}/${place}" DIRECTORY)
  file(MAKE_DIRECTORY "${folder}")
  file(COPY_FILE "${file}" "${plugins}/${place}")
endfunction()

# leave_out(<place> <reason>): its import settings go, and those of folders that are empty without it.
function(leave_out place reason)
  file(APPEND "${composed}/Native~/missing.txt" "${place}: ${reason}\n")
  set(path "${plugins}/${place}")
  set(files)
  while(NOT files)
    file(REMOVE_RECURSE "${path}")
    file(REMOVE "${path}.meta")
    get_filename_component(path "${path}" DIRECTORY)
    file(GLOB files "${path}/*")
  endwhile()
  message(STATUS "Not in the package: ${place}, ${reason}")
endfunction()

# Installed, not built, libraries: they find each other wherever they lie.
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD}" --component unity --strip --prefix "${work}/installed"
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
foreach(library IN ITEMS libNimbUnityPluginML.so libNimbPlatformDesktop.so libnimb_clip.so)
  place_library("Linux/x86_64/${library}" "${work}/installed/unity/${library}")
endforeach()
place_library(Windows/x86_64/nimb_clip.dll "${WINDOWS_LIBRARY}")
place_library(Source/nimb_clip.cpp "${CLIP_SOURCE}")
set(headset_place Android/arm64-v8a/libNimbUnityPluginML.so)
if(HEADSET_LIBRARY)
  place_library("${headset_place}" "${HEADSET_LIBRARY}")
  find_program(headset_strip NAMES aarch64-linux-gnu-strip llvm-strip)
  if(headset_strip)
    execute_process(COMMAND "${headset_strip}" "${plugins}/${headset_place}" ERROR_QUIET)  # what is none, the check says
  endif()
else()
  leave_out("${headset_place}" "it takes the headset's SDK to build it; what is built without is a stand-in that no device loads")
endif()
if(MACOS_LIBRARY)
  place_library(macOS/nimb_clip.bundle "${MACOS_LIBRARY}")
else()
  leave_out(macOS/nimb_clip.bundle "it is made on a Mac, with one command that Native libraries in the documentation has")
endif()

if(NIMB)
  include("${CMAKE_CURRENT_LIST_DIR}/UnitySampleClip.cmake")
  make_unity_sample_clip("${NIMB}" "${composed}" "${SOURCE}/Tests/Unity/sample_lint.py")
endif()

find_program(python python3 REQUIRED)
execute_process(COMMAND "${python}" "${SOURCE}/Tests/Unity/package_lint.py" --composed "${composed}"
  OUTPUT_VARIABLE findings RESULT_VARIABLE result)
if(result)
  message(FATAL_ERROR "The package is not packed:\n${findings}")
endif()
execute_process(COMMAND "${python}" "${SOURCE}/scripts/pack_tarball.py" "${composed}" "${OUTPUT}/${name}-${version}.tgz"
  COMMAND_ERROR_IS_FATAL ANY)
