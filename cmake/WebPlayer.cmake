# cmake -DWEB=<Web/> -DOUTPUT=<folder> -P WebPlayer.cmake: builds the web player in Web/dist and copies the files that
# pages need. What that takes is looked for here, since nothing else needs it.
set(missing)
foreach(program IN ITEMS npm python3 em++)
  string(MAKE_C_IDENTIFIER "${program}" variable)
  find_program("${variable}" "${program}")
  if(NOT ${variable})
    list(APPEND missing "${program}")
  endif()
endforeach()
if(missing)
  list(JOIN missing ", " missing)
  message(FATAL_ERROR "The web player is built with npm, python3 and em++ (Debian: npm, python3, emscripten, "
    "node-acorn); not there: ${missing}")
endif()

function(run_npm)
  execute_process(COMMAND "${npm}" --no-audit --no-fund ${ARGN} WORKING_DIRECTORY "${WEB}" COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# npm notes in this file what it has installed.
if("${WEB}/package-lock.json" IS_NEWER_THAN "${WEB}/node_modules/.package-lock.json")
  run_npm(ci)
endif()
run_npm(run build)

file(MAKE_DIRECTORY "${OUTPUT}")
# nimb-player.js last: it says that the others are there.
foreach(name IN ITEMS nimb-clip.wasm nimb-player-worker.js nimb-player-inline.js nimb-player.js)
  file(COPY_FILE "${WEB}/dist/${name}" "${OUTPUT}/${name}.part" RESULT error)
  if(error)
    message(FATAL_ERROR "${OUTPUT}/${name}: ${error}")
  endif()
  file(RENAME "${OUTPUT}/${name}.part" "${OUTPUT}/${name}")
endforeach()
