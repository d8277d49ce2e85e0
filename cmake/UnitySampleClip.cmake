# The clip of the Unity package's sample FirstClip, made when the package is composed: sources hold no binary.

# make_unity_sample_clip(<tool nimb> <composed package> <sample_lint.py>)
function(make_unity_sample_clip nimb composed lint)
  set(clip "${composed}/Samples~/FirstClip/FirstClip.bytes")
  # An asset of that ending is taken as it is; the engine might encode a video anew.
  execute_process(COMMAND "${nimb}" demo -y -o "${clip}.mp4" OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(RENAME "${clip}.mp4" "${clip}")
  file(SIZE "${clip}" size)
  if(size GREATER 2000000)
    message(FATAL_ERROR "${clip} has ${size} bytes, more than a sample should")
  endif()
  find_program(python python3 REQUIRED)
  execute_process(COMMAND "${python}" "${lint}" --fix "${composed}" COMMAND_ERROR_IS_FATAL ANY)
endfunction()
