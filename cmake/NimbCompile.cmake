# How every target of this project is compiled: nimb_compile(<target>).

add_library(nimb_compile_options INTERFACE)
target_include_directories(nimb_compile_options INTERFACE "${CMAKE_SOURCE_DIR}")
target_compile_options(nimb_compile_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  # Float results are part of the format: a fused multiply-add rounds once where the format rounds twice.
  -ffp-contract=off
  # Assertion texts name files relative to the repository, wherever it was built.
  "-fmacro-prefix-map=${CMAKE_SOURCE_DIR}/="
  # Whether what a mutex guards is touched without it; g++ does not know the annotations.
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
  # At -O3 g++ 12 takes the growth of any byte vector for an overflow; the sanitizer builds look for real ones.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-stringop-overflow>
  # Takes a source that is compiled together with others for a header.
  $<$<AND:$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>,$<CXX_COMPILER_ID:GNU>>:-Wno-subobject-linkage>)

# For everything in the build, libraries built along included.
if(NIMB_SANITIZE)
  add_compile_options("-fsanitize=${NIMB_SANITIZE}" -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options("-fsanitize=${NIMB_SANITIZE}")
endif()
if(NIMB_BUILD_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "NIMB_BUILD_FUZZ needs clang's libFuzzer; the compiler is ${CMAKE_CXX_COMPILER_ID}")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

function(nimb_compile target)
  target_link_libraries(${target} PRIVATE "$<BUILD_INTERFACE:nimb_compile_options>")
  target_compile_features(${target} PUBLIC cxx_std_17)  # the headers' users need it too
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
endfunction()
