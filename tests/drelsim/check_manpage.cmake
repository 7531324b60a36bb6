# SPDX-License-Identifier: Apache-2.0
# The manual page keeps up with the program: every option that `drelsim --help` prints, every
# subcommand it lists, and every option of each subcommand's --help appears in man/drelsim.1.
# Expects DRELSIM (the built program) and MAN (the page's source).
file(READ ${MAN} page)
string(REPLACE "\\-" "-" page "${page}") # roff writes a hyphen as \-

# help_of(<var> <args...>): the --help text of drelsim <args...>.
function(help_of var)
  execute_process(COMMAND ${DRELSIM} ${ARGN} --help RESULT_VARIABLE rc OUTPUT_VARIABLE out
                  ERROR_VARIABLE err)
  if(NOT rc EQUAL 0 OR out STREQUAL "")
    message(FATAL_ERROR "drelsim ${ARGN} --help: rc=${rc}\n${out}\n${err}")
  endif()
  set(${var} "${out}" PARENT_SCOPE)
endfunction()

# The options (-x, --name) of a help text's "Options:" section, and its subcommand names.
function(parse text options_var subcommands_var)
  string(REPLACE ";" "," text "${text}")
  string(REPLACE "\n" ";" lines "${text}")
  set(section "")
  set(options "")
  set(subcommands "")
  foreach(line IN LISTS lines)
    if(line MATCHES "^([A-Za-z]+):$")
      set(section ${CMAKE_MATCH_1})
    elseif(section STREQUAL "Options" AND line MATCHES "^  (-[^ ]+)")
      # A negated flag shows the value it sets: --no-ranges{false}.
      string(REGEX REPLACE "{[^}]*}" "" names "${CMAKE_MATCH_1}")
      string(REPLACE "," ";" names "${names}")
      list(APPEND options ${names})
    elseif(section STREQUAL "Subcommands" AND line MATCHES "^  ([a-z][a-z0-9-]*) ")
      list(APPEND subcommands ${CMAKE_MATCH_1})
    endif()
  endforeach()
  set(${options_var} ${options} PARENT_SCOPE)
  set(${subcommands_var} ${subcommands} PARENT_SCOPE)
endfunction()

set(missing "")
# expect_in_page(<where> <words...>): each word appears in the page as a word of its own.
macro(expect_in_page where)
  foreach(w ${ARGN})
    string(REGEX REPLACE "([][+.*?^$()|\\\\])" "\\\\\\1" re "${w}")
    if(NOT page MATCHES "(^|[^A-Za-z0-9-])${re}([^A-Za-z0-9-]|$)")
      list(APPEND missing "${w} (${where})")
    endif()
  endforeach()
endmacro()

help_of(top)
parse("${top}" options subcommands)
if(NOT options)
  message(FATAL_ERROR "no options found in drelsim --help:\n${top}")
endif()
expect_in_page("drelsim --help" ${options} ${subcommands})
set(checked ${options})
foreach(sub IN LISTS subcommands)
  help_of(text ${sub})
  parse("${text}" sub_options ignored)
  expect_in_page("drelsim ${sub} --help" ${sub_options})
  list(APPEND checked ${sub_options})
endforeach()

if(missing)
  list(JOIN missing "\n  " text)
  message(FATAL_ERROR "man/drelsim.1 does not describe:\n  ${text}")
endif()
list(LENGTH checked n)
message(STATUS "man/drelsim.1 describes all ${n} options and the subcommands ${subcommands}")
