# GoogleTest as GTest::gtest_main: the installed library, or, where that one does not fit, its source built along.
# A cross build has no installed one, and a sanitized build must compile everything with its sanitizer, because
# containers cross the border between the tests and the library.
include(GoogleTest)

set(NIMB_GTEST_SOURCE "/usr/src/googletest" CACHE PATH "GoogleTest's source, for cross and sanitized builds")

if(CMAKE_CROSSCOMPILING OR NIMB_SANITIZE)
  set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  add_subdirectory("${NIMB_GTEST_SOURCE}" "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL)
  target_compile_options(gtest PRIVATE -O0)  # compiles in a third of the time
else()
  find_package(GTest REQUIRED)
endif()
