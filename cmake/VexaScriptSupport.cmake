# Helpers of the project's `cmake -P` scripts (the man page writer and the
# installation tests).

# Stops the script unless every named variable was given with -D.
function(vexa_require_defines script)
  foreach(variable IN LISTS ARGN)
    if(NOT ${variable})
      message(FATAL_ERROR "${script} needs -D${variable}=...")
    endif()
  endforeach()
endfunction()

# Runs a command; stops the script with its output when it fails, else sets
# run_output to its standard output.
function(vexa_run_checked description)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${description} failed (${status}):\n${out}\n${err}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()
