# SPDX-License-Identifier: Apache-2.0
# `cmake --install` puts drelsim and its scenarios into the prefix, and the installed drelsim
# loads the installed library: it runs a scenario, and once that library is taken away it
# reports that it cannot load it (so it never fell back on the build tree's copy).
# Expects SRC, BIN, SONAME and LIBDIR.
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
fresh_install(${BIN}/drelsim-install-check)
set(ENV{ZORV_DREL_SO} "")
set(drelsim ${prefix}/bin/drelsim)
set(scenario ${prefix}/share/drelsim/scenarios/identical.yaml)
if(NOT EXISTS ${scenario})
  message(FATAL_ERROR "the scenarios are not installed: ${scenario}")
endif()

execute_process(COMMAND ${drelsim} ${scenario} RESULT_VARIABLE rc OUTPUT_VARIABLE out
                ERROR_VARIABLE err)
if(NOT rc EQUAL 0 OR NOT out MATCHES "Result: PASS")
  message(FATAL_ERROR "installed drelsim on identical.yaml: rc=${rc}\n${out}\n${err}")
endif()

file(GLOB installed_lib ${prefix}/${LIBDIR}/libzorvdrel.so*)
file(REMOVE ${installed_lib})
execute_process(COMMAND ${drelsim} ${scenario} RESULT_VARIABLE rc OUTPUT_VARIABLE out
                ERROR_VARIABLE err)
if(NOT rc EQUAL 3 OR NOT err MATCHES "cannot load ${SONAME}")
  message(FATAL_ERROR "installed drelsim without the installed library: rc=${rc}\n${out}\n${err}")
endif()
