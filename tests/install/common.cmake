# SPDX-License-Identifier: Apache-2.0
# Shared by the install checks (cmake -P scripts). Expects SRC (source tree) and BIN (build tree).

# run(<command...>): runs a command and fails the check with its output when it fails.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}\n${err}")
  endif()
endfunction()

# capture(<var> <command...>): runs a command that must succeed; <var> receives its output.
function(capture var)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}\n${err}")
  endif()
  set(${var} "${out}" PARENT_SCOPE)
endfunction()

# fresh_install(<scratch>): empties <scratch> and installs the build tree into <scratch>/prefix,
# which `prefix` then names.
macro(fresh_install scratch)
  file(REMOVE_RECURSE ${scratch})
  set(prefix ${scratch}/prefix)
  run(${CMAKE_COMMAND} --install ${BIN} --prefix ${prefix})
endmacro()

# expect_consumer(<program>): the consumer program (consumer/main.c) runs and prints its answer.
function(expect_consumer program)
  execute_process(COMMAND ${program} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0 OR NOT out STREQUAL "Intf Vsi Attributes\n")
    message(FATAL_ERROR "consumer ${program} failed: rc=${rc} out=${out} err=${err}")
  endif()
endfunction()

# Programs built without the sanitizers still load the libraries of a sanitizer build.
set(ENV{ASAN_OPTIONS} "verify_asan_link_order=0:detect_leaks=0")
