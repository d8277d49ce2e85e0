# Cross build for 64-bit Arm Linux with clang, lld and libc++, which is what SDKs for headsets come with, where
# aarch64-linux-gnu.cmake has g++ and libstdc++. C library and start files are those of Debian's cross compiler; libc++ is
# unpacked into the build tree when it is not there yet.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES NIMB_LIBCXX)
set(NIMB_LIBCXX "${CMAKE_BINARY_DIR}/libcxx" CACHE PATH "libc++ for arm64 (see FetchArm64Libcxx.sh)")
if(NOT EXISTS "${NIMB_LIBCXX}/usr/lib/llvm-14/lib/libc++.so.1")
  message(STATUS "Fetching libc++ for arm64")
  execute_process(COMMAND bash "${CMAKE_CURRENT_LIST_DIR}/FetchArm64Libcxx.sh" "${NIMB_LIBCXX}"
    OUTPUT_VARIABLE log ERROR_VARIABLE log RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "libc++ for arm64 could not be fetched:\n${log}")
  endif()
endif()
set(libcxx "${NIMB_LIBCXX}/usr/lib/llvm-14")

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET aarch64-linux-gnu)
set(CMAKE_CXX_COMPILER_TARGET aarch64-linux-gnu)
set(CMAKE_CXX_FLAGS_INIT "-stdlib++-isystem ${libcxx}/include/c++/v1")
foreach(kind IN ITEMS EXE SHARED)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-stdlib=libc++ -fuse-ld=lld -L${libcxx}/lib")
endforeach()
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/aarch64-linux-gnu -E "LD_LIBRARY_PATH=${libcxx}/lib")

set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
