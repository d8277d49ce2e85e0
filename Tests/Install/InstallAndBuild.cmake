# Installs the tree BUILD, moves it to where nobody told it that it would be, and there builds and runs CONSUMER.
cmake_minimum_required(VERSION 3.25)

function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE "${WORK}/first" "${WORK}/moved" "${WORK}/consumer")
run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${WORK}/first")
file(RENAME "${WORK}/first" "${WORK}/moved")

run("${CMAKE_COMMAND}" -S "${CONSUMER}" -B "${WORK}/consumer" -G "${GENERATOR}" "-DCMAKE_PREFIX_PATH=${WORK}/moved"
  "-DCMAKE_CXX_COMPILER=${COMPILER}" "-DCMAKE_CXX_FLAGS=${FLAGS}" "-DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}"
  "-DCMAKE_BUILD_TYPE=Release" "-DCONSUMER_PLAYER=${PLAYER}"
  "-DCONSUMER_ASSERT_MODE=${ASSERT_MODE}")
run("${CMAKE_COMMAND}" --build "${WORK}/consumer")
run("${CMAKE_CTEST_COMMAND}" --test-dir "${WORK}/consumer" --output-on-failure --no-tests=error)
if(PLAYER)
  run("${WORK}/moved/bin/nimb" --version)
endif()
