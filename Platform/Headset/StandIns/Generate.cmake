# Reads preprocessed declarations (INPUT) and writes a source (OUTPUT) that defines those of default visibility: objects
# as zero, functions as a trap. The source includes HEADER, so the compiler checks it against the declarations.
# With ONLY, just the names that match that expression.
file(READ "${INPUT}" text)
string(REGEX REPLACE "[ \t\r\n]+" " " text "${text}")

# A declaration goes from the attribute to its semicolon; attributes in front of it are not needed again.
set(attribute "__attribute__\\(\\(visibility\\(\"default\"\\)\\)\\)")
string(REGEX MATCHALL "${attribute}[^;{}]*" declarations "${text}")

set(definitions "")
set(count 0)
foreach(declaration IN LISTS declarations)
  string(REGEX REPLACE "^${attribute} *(extern )?" "" declaration "${declaration}")
  string(STRIP "${declaration}" declaration)
  if(declaration MATCHES "^[A-Za-z_0-9 *]*[ *]([A-Za-z_0-9]+) ?\\([^()]*\\)$")
    set(name "${CMAKE_MATCH_1}")
    set(definition "${declaration} {\n    __builtin_trap();\n}\n")
  elseif(declaration MATCHES "^[A-Za-z_0-9 *]*[ *]([A-Za-z_0-9]+)$")
    set(name "${CMAKE_MATCH_1}")
    set(definition "${declaration} = {};\n")
  else()
    message(FATAL_ERROR "${HEADER}: neither a function nor an object: ${declaration}")
  endif()
  if(NOT ONLY OR name MATCHES "${ONLY}")
    string(APPEND definitions "\n${definition}")
    math(EXPR count "${count} + 1")
  endif()
endforeach()
if(count EQUAL 0)
  message(FATAL_ERROR "${HEADER}: declares nothing to define")
endif()

file(WRITE "${OUTPUT}" "// Generated from ${HEADER}: ${count} definitions.
#include \"${HEADER}\"

#pragma GCC diagnostic ignored \"-Wunused-parameter\"
${definitions}")
