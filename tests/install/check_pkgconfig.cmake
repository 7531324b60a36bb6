# SPDX-License-Identifier: Apache-2.0
# Installs the build tree into a scratch prefix, then builds the consumer with nothing but what
# `pkg-config --cflags --libs zorvdrel` says, and runs it.
# Expects SRC, BIN, CC, PKG_CONFIG, READELF, VERSION, MAJOR, LIBDIR and EXTRA_LDFLAGS.
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
set(scratch ${BIN}/pkgconfig-check)
fresh_install(${scratch})
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_LIBDIR} ${prefix}/${LIBDIR}/pkgconfig)

foreach(pc zorvdrel zorvplat)
  capture(v ${PKG_CONFIG} --modversion ${pc})
  if(NOT v STREQUAL VERSION)
    message(FATAL_ERROR "${pc}.pc has version '${v}', the project ${VERSION}")
  endif()
endforeach()
# The library's flags bring the platform's along (Requires: zorvplat).
capture(flags ${PKG_CONFIG} --cflags --libs zorvdrel)
if(NOT flags MATCHES "-lzorvdrel" OR NOT flags MATCHES "-lzorvplat")
  message(FATAL_ERROR "pkg-config --libs zorvdrel lacks a library: ${flags}")
endif()
capture(libdir ${PKG_CONFIG} --variable=libdir zorvdrel)
if(NOT EXISTS ${libdir}/libzorvdrel.so.${MAJOR} OR NOT EXISTS ${libdir}/libzorvplat.so.${MAJOR})
  message(FATAL_ERROR "pkg-config's libdir ${libdir} does not hold the installed libraries")
endif()

separate_arguments(flags UNIX_COMMAND "${flags}")
separate_arguments(extra UNIX_COMMAND "${EXTRA_LDFLAGS}")
set(consumer ${scratch}/consumer)
run(${CC} -std=c99 -Wall -Wextra -Werror ${SRC}/tests/install/consumer/main.c -o ${consumer}
    ${flags} -Wl,-rpath,${libdir} ${extra})
# Linked against the versioned name (the SONAME), not the development symlink.
capture(dyn ${READELF} -d ${consumer})
if(NOT dyn MATCHES "NEEDED[^\n]*\\[libzorvdrel\\.so\\.${MAJOR}\\]")
  message(FATAL_ERROR "the consumer does not need libzorvdrel.so.${MAJOR}:\n${dyn}")
endif()
expect_consumer(${consumer})
