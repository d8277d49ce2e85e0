# Installs the tree BUILD, moves it to where nobody told it that it would be, and there builds and runs CONSUMER.
cmake_minimum_required(VERSION 3.25)

function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(configure source build)
  run("${CMAKE_COMMAND}" -S "${source}" -B "${build}" -G "${GENERATOR}" "-DCMAKE_PREFIX_PATH=${WORK}/moved"
    "-DCMAKE_CXX_COMPILER=${COMPILER}" "-DCMAKE_CXX_FLAGS=${FLAGS}" "-DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}"
    -DCMAKE_BUILD_TYPE=Release ${ARGN})
endfunction()

file(REMOVE_RECURSE "${WORK}/first" "${WORK}/moved" "${WORK}/consumer")
run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${WORK}/first")
file(RENAME "${WORK}/first" "${WORK}/moved")

configure("${CONSUMER}" "${WORK}/consumer" "-DCONSUMER_PLAYER=${PLAYER}" "-DCONSUMER_ASSERT_MODE=${ASSERT_MODE}")
run("${CMAKE_COMMAND}" --build "${WORK}/consumer")
run("${CMAKE_CTEST_COMMAND}" --test-dir "${WORK}/consumer" --output-on-failure --no-tests=error)

# code_in(<page> <first words> <file>): writes the indented block of the page that begins so.
function(code_in page first_words file)
  file(READ "${page}" text)
  string(FIND "${text}" "\n    ${first_words}" begin)
  math(EXPR begin "${begin} + 1")
  string(SUBSTRING "${text}" ${begin} -1 text)
  string(REGEX MATCH "^(    [^\n]*\n|\n)+" block "${text}")
  file(WRITE "${file}" "${block}")
endfunction()

# run_example(<folder> <expected output>): builds it, and has it read the clip that the consumer has written.
function(run_example example expected)
  configure("${example}" "${example}/build")
  run("${CMAKE_COMMAND}" --build "${example}/build")
  execute_process(COMMAND "${example}/build/my_program" "${WORK}/consumer/consumer.mp4" OUTPUT_VARIABLE output
    COMMAND_ERROR_IS_FATAL ANY)
  if(NOT output STREQUAL "${expected}\n")
    message(FATAL_ERROR "The program in ${example} says '${output}'")
  endif()
endfunction()

# The README's program and that of the page about the library for random access compile as they stand.
if(PLAYER)
  run("${WORK}/moved/bin/nimb" --version)
  set(example "${WORK}/readme")
  file(REMOVE_RECURSE "${example}")
  code_in("${README}" "cmake_minimum_required" "${example}/CMakeLists.txt")
  code_in("${README}" "#include \"" "${example}/my_program.cpp")
  run_example("${example}" "frame 0: 3 vertices, 1 triangles, a texture of 64 x 48")

  set(example "${WORK}/clip_library")
  file(REMOVE_RECURSE "${example}")
  cmake_path(GET README PARENT_PATH root)
  code_in("${root}/Docs/clip-library.md" "#include <" "${example}/my_program.c")
  file(WRITE "${example}/CMakeLists.txt" "cmake_minimum_required(VERSION 3.25)
project(MyProgram LANGUAGES C CXX)
find_package(Nimb 1.4 REQUIRED)
add_executable(my_program my_program.c)
target_link_libraries(my_program PRIVATE Nimb::ClipAccess)
")
  run_example("${example}" "3 vertices, 1 triangles")
endif()
