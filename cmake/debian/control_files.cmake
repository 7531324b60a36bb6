# SPDX-License-Identifier: Apache-2.0
# Writes the control files of a runtime library package into OUT: `symbols` (every name the
# shared object exports, each with the release that introduced it), `shlibs` (>= that release)
# and `triggers` (the ldconfig trigger, instead of ldconfig in maintainer scripts).
# Expects LIB (the built shared object), NM, READELF, PACKAGE, DEV_PACKAGE, SINCE and OUT.
# Every name is given SINCE, the release that introduced the names of this major version; a name
# added by a later release needs that release here (see docs/packaging.md).
execute_process(COMMAND ${READELF} -d ${LIB} OUTPUT_VARIABLE dyn RESULT_VARIABLE rc)
if(NOT rc EQUAL 0 OR NOT dyn MATCHES "\\(SONAME\\)[^\n]*\\[((lib[^]]+)\\.so\\.([0-9]+))\\]")
  message(FATAL_ERROR "${LIB} has no SONAME:\n${dyn}")
endif()
set(soname ${CMAKE_MATCH_1})
set(libname ${CMAKE_MATCH_2})
set(major ${CMAKE_MATCH_3})

execute_process(COMMAND ${NM} -D --defined-only ${LIB} OUTPUT_VARIABLE listing RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${NM} -D --defined-only ${LIB} failed")
endif()
string(REPLACE "\n" ";" listing "${listing}")
set(names "")
foreach(line IN LISTS listing)
  # "<address> <kind> <name>[@@<version node>]"; unversioned names are "@Base" to dpkg, and a
  # version node's own symbol (kind A) is "<node>@<node>".
  if(line MATCHES "^[0-9a-f]+ ([A-Za-z]) ([^@ ]+)(@@?([^ ]+))?$")
    set(node Base)
    if(CMAKE_MATCH_4)
      set(node ${CMAKE_MATCH_4})
    elseif(CMAKE_MATCH_1 STREQUAL "A")
      set(node ${CMAKE_MATCH_2})
    endif()
    list(APPEND names "${CMAKE_MATCH_2}@${node}")
  endif()
endforeach()
list(SORT names)
if(NOT names)
  message(FATAL_ERROR "${LIB} exports nothing")
endif()

set(symbols "${soname} ${PACKAGE} #MINVER#\n* Build-Depends-Package: ${DEV_PACKAGE}\n")
foreach(n IN LISTS names)
  string(APPEND symbols " ${n} ${SINCE}\n")
endforeach()
file(MAKE_DIRECTORY ${OUT})
file(WRITE ${OUT}/symbols "${symbols}")
file(WRITE ${OUT}/shlibs "${libname} ${major} ${PACKAGE} (>= ${SINCE})\n")
file(WRITE ${OUT}/triggers "activate-noawait ldconfig\n")
