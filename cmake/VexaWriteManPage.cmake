# cmake -DTOOL=<vexa-datastore> -DHELP2MAN=<help2man> -DSECTIONS=<file.h2m>
#       -DOUTPUT=<vexa-datastore.1.gz> -P VexaWriteManPage.cmake
#
# Writes the man page from the program's own help, so that it never drifts
# from it: help2man turns `--help` into the synopsis, description and
# options; every command's --help follows under COMMANDS, in the order of
# `--help`, without the global options each repeats; SECTIONS adds the
# hand-written rest. The page is gzipped as Debian installs man pages.
cmake_minimum_required(VERSION 3.25)

include("${CMAKE_CURRENT_LIST_DIR}/VexaScriptSupport.cmake")
vexa_require_defines(VexaWriteManPage.cmake TOOL HELP2MAN SECTIONS OUTPUT)
# A sanitizer build's tool runs here too; a leak report is not help text.
set(ENV{ASAN_OPTIONS} "detect_leaks=0")

function(help_of out)
  execute_process(COMMAND "${TOOL}" ${ARGN} --help
    RESULT_VARIABLE status OUTPUT_VARIABLE text ERROR_VARIABLE errors)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${TOOL} ${ARGN} --help failed (${status}): ${errors}")
  endif()
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

# Text shown as it is in roff: backslashes escaped, no line read as a request.
function(as_roff out text)
  string(REPLACE "\\" "\\e" text "${text}")
  string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" text "${text}")
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

help_of(main_help)
string(REGEX MATCH "\nSubcommands:\n(.*)\n\n" listing "${main_help}")
string(REGEX MATCHALL "\n  [a-z][a-z-]*" commands "\n${CMAKE_MATCH_1}")
if(NOT commands)
  message(FATAL_ERROR "no commands found in the output of ${TOOL} --help")
endif()

get_filename_component(work_dir "${OUTPUT}" DIRECTORY)
set(commands_section "${work_dir}/commands.h2m")
set(section "[COMMANDS]\nEvery command takes the global options above, before or after it.\n")
foreach(command IN LISTS commands)
  string(STRIP "${command}" command)
  help_of(text "${command}")
  string(REGEX REPLACE "\nGlobal options [^\n]*:\n.*\nExample:" "\nExample:" text "${text}")
  as_roff(text "${text}")
  string(APPEND section ".SS ${command}\n.nf\n${text}.fi\n")
endforeach()
file(WRITE "${commands_section}" "${section}")

string(REGEX REPLACE "\\.gz$" "" page "${OUTPUT}")
execute_process(
  COMMAND "${HELP2MAN}" --no-info --section 1 --no-discard-stderr
          --include "${commands_section}" --include "${SECTIONS}" --output "${page}" "${TOOL}"
  RESULT_VARIABLE status ERROR_VARIABLE errors)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "help2man failed (${status}): ${errors}")
endif()
execute_process(COMMAND gzip -9nf "${page}" RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "gzip ${page} failed (${status})")
endif()
