# Composes the Unity package as people install it, native libraries inside, and packs it: from the folder PACKAGE, the
# tree BUILD, which installs libraries to LIBRARIES, and the file HEADSET_LIBRARY to the folder OUTPUT. The script LINT
# checks it before it is packed.
cmake_minimum_required(VERSION 3.25)

# ELF's machine field, little-endian.
set(machine_aarch64 b700)
set(machine_x86-64 3e00)

# check_library(<file> <machine>)
function(check_library file machine)
  if(NOT EXISTS "${file}")
    message(FATAL_ERROR "There is no '${file}'. Build the plug-in for the headset (cmake --preset headset; cmake --build "
                        "--preset headset), or say where it is: -DNIMB_HEADSET_LIBRARY=FILE")
  endif()
  file(READ "${file}" found OFFSET 18 LIMIT 2 HEX)
  if(NOT found STREQUAL "${machine_${machine}}")
    message(FATAL_ERROR "'${file}' is not a library for ${machine}: the machine in its header is '${found}'")
  endif()
endfunction()

file(READ "${PACKAGE}/package.json" manifest)
string(JSON name GET "${manifest}" name)
string(JSON version GET "${manifest}" version)
if(NOT version STREQUAL VERSION)
  message(FATAL_ERROR "${PACKAGE}/package.json has version ${version}, the plug-in ${VERSION}")
endif()

set(work "${OUTPUT}/unity")
set(composed "${work}/${name}")
file(REMOVE_RECURSE "${work}")

file(COPY "${PACKAGE}/" DESTINATION "${composed}" PATTERN "Native~" EXCLUDE)
file(COPY "${PACKAGE}/Native~/" DESTINATION "${composed}/Runtime" PATTERN "README.md" EXCLUDE)

# Installed, not built, libraries: they find each other wherever they lie.
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD}" --component plugin --strip --prefix "${work}/installed"
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
foreach(library IN ITEMS libNimbUnityPluginML.so libNimbPlatformDesktop.so)
  set(file "${work}/installed/${LIBRARIES}/${library}")
  check_library("${file}" x86-64)
  file(COPY "${file}" DESTINATION "${composed}/Runtime/Plugins/Linux/x86_64")
endforeach()
check_library("${HEADSET_LIBRARY}" aarch64)
set(headset_folder "${composed}/Runtime/Plugins/Android/arm64-v8a")
file(COPY "${HEADSET_LIBRARY}" DESTINATION "${headset_folder}")
find_program(headset_strip NAMES aarch64-linux-gnu-strip llvm-strip)
if(headset_strip)
  execute_process(COMMAND "${headset_strip}" "${headset_folder}/libNimbUnityPluginML.so" COMMAND_ERROR_IS_FATAL ANY)
endif()

find_program(python python3 REQUIRED)
execute_process(COMMAND "${python}" "${LINT}" --composed "${composed}" COMMAND_ERROR_IS_FATAL ANY)

set(archive "${OUTPUT}/${name}-${version}.zip")
file(REMOVE "${archive}")
file(GLOB_RECURSE files LIST_DIRECTORIES false RELATIVE "${work}" "${composed}/*")
list(JOIN files "\n" list)
file(WRITE "${work}/files" "${list}\n")
execute_process(COMMAND "${CMAKE_COMMAND}" -E tar cf "${archive}" --format=zip "--files-from=${work}/files"
  WORKING_DIRECTORY "${work}" COMMAND_ERROR_IS_FATAL ANY)
file(SIZE "${archive}" size)
message(STATUS "${archive}: ${size} bytes")
