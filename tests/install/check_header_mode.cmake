# SPDX-License-Identifier: Apache-2.0
# One language mode of a consumer: the installed header, with exactly the flags that
# `pkg-config --cflags --libs zorvdrel` gives (plain -I), builds tests/drel/header_consumer.c
# under -Wall -Wextra -pedantic -Werror and the program runs; the same header with one wrong
# field offset fails to compile, naming the record, so the layout checks work in this mode too.
# With INSTALL_ONLY, installs the build tree into the scratch prefix that the modes share.
# Expects SRC, BIN and LIBDIR; for a mode also PKG_CONFIG, COMPILER, LANG (c or c++), STD and
# EXTRA_LDFLAGS.
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
set(scratch ${BIN}/header-modes)
if(INSTALL_ONLY)
  fresh_install(${scratch})
  return()
endif()
set(prefix ${scratch}/prefix)
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_LIBDIR} ${prefix}/${LIBDIR}/pkgconfig)
capture(cflags ${PKG_CONFIG} --cflags zorvdrel)
capture(libs ${PKG_CONFIG} --libs zorvdrel)
capture(libdir ${PKG_CONFIG} --variable=libdir zorvdrel)
if(cflags MATCHES "-isystem" OR NOT cflags MATCHES "(^| )-I")
  message(FATAL_ERROR "pkg-config --cflags zorvdrel gives '${cflags}', not plain -I flags")
endif()
separate_arguments(cflags UNIX_COMMAND "${cflags}")
separate_arguments(libs UNIX_COMMAND "${libs}")
separate_arguments(extra UNIX_COMMAND "${EXTRA_LDFLAGS}")
set(strict -std=${STD} -Wall -Wextra -pedantic -Werror)
set(out ${scratch}/${STD})
file(REMOVE_RECURSE ${out})
file(MAKE_DIRECTORY ${out})

run(${COMPILER} ${strict} ${cflags} -x ${LANG} ${SRC}/tests/drel/header_consumer.c -x none
    -o ${out}/consumer ${libs} -Wl,-rpath,${libdir} ${extra})
capture(said ${out}/consumer)
if(NOT said STREQUAL "the header serves its consumer: ok")
  message(FATAL_ERROR "the ${STD} consumer says: ${said}")
endif()

# The folder of pkg-config's -I flags that holds zorv_drel.h, copied with one offset wrong.
set(folder "")
foreach(flag ${cflags})
  if(flag MATCHES "^-I(.*)")
    if(EXISTS ${CMAKE_MATCH_1}/zorv_drel.h)
      set(folder ${CMAKE_MATCH_1})
    endif()
  endif()
endforeach()
if(NOT folder)
  message(FATAL_ERROR "no folder of '${cflags}' holds zorv_drel.h")
endif()
file(COPY ${folder}/ DESTINATION ${out}/wrong)
file(READ ${out}/wrong/zorv_drel.h header)
string(REGEX REPLACE "(param_len, 8, param, )12" "\\116" wrong "${header}")
if(wrong STREQUAL header)
  message(FATAL_ERROR "the layout check of zorv_type1_upd_t was not found in ${folder}/zorv_drel.h")
endif()
file(WRITE ${out}/wrong/zorv_drel.h "${wrong}")
execute_process(COMMAND ${COMPILER} ${strict} -I${out}/wrong ${cflags} -x ${LANG} -c
                        ${SRC}/tests/drel/header_consumer.c -o ${out}/wrong.o
                RESULT_VARIABLE rc OUTPUT_VARIABLE said ERROR_VARIABLE said)
if(rc EQUAL 0 OR NOT said MATCHES "zorv_type1_upd_t")
  message(FATAL_ERROR "with param at offset 16 the ${STD} header still compiles (${rc}):\n${said}")
endif()
