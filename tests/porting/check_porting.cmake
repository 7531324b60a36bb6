# SPDX-License-Identifier: Apache-2.0
# Porting to one's own platform, as docs/porting.md tells it. A second platform (altplat/, written
# only from that guide and the platform headers) is built as a switch team's shared object, and
# the library is built against it both ways the guide shows:
#  1. this project's CMake with ZORV_PLATFORM_LIBRARY, `cmake --build -t zorvdrel`, then
#     `cmake --install`: the install names only that platform (no libzorvplat, no zorvplat.pc, no
#     path of the build machine) and the library needs it with RUNPATH $ORIGIN; the scenario is
#     built once with pkg-config and once with find_package, and run;
#  2. the plain-compiler recipe, run as the guide prints it: the scenario is built against the
#     result and run.
# The scenario runs with the host platform's directory on LD_LIBRARY_PATH, so a library that
# still needed libzorvplat would load it, and the scenario would see it among the loaded objects.
# Expects SRC, BIN, CC, CXX, PKG_CONFIG, READELF, NM, LIBDIR and HOST_PLATFORM_DIR.
include(${SRC}/tests/install/common.cmake)
set(scratch ${BIN}/porting)
set(here ${SRC}/tests/porting)
set(warnings -Wall -Wextra -Werror -pedantic)

# ---- The switch team's platform: libaltplat.so.1 ----
set(alt ${scratch}/altplat)
file(REMOVE_RECURSE ${alt})
file(MAKE_DIRECTORY ${alt})
file(GLOB alt_sources ${here}/altplat/*.c)
run(${CC} -std=c99 -O2 -g -fPIC ${warnings} -I${SRC}/platform/include -shared
    -Wl,-soname,libaltplat.so.1 -Wl,--no-undefined -o ${alt}/libaltplat.so.1 ${alt_sources})
file(CREATE_LINK libaltplat.so.1 ${alt}/libaltplat.so SYMBOLIC)

# install_platform_beside(<dir>): the team installs its platform where it installs the library.
function(install_platform_beside dir)
  file(COPY ${alt}/libaltplat.so.1 ${alt}/libaltplat.so DESTINATION ${dir})
endfunction()

# expect_needs_own_platform(<library>): needs libaltplat, not libzorvplat, with RUNPATH $ORIGIN.
function(expect_needs_own_platform lib)
  capture(dyn ${READELF} -d ${lib})
  if(NOT dyn MATCHES "NEEDED[^\n]*\\[libaltplat\\.so\\.1\\]" OR dyn MATCHES "libzorvplat"
     OR NOT dyn MATCHES "RUNPATH[^\n]*\\[\\$ORIGIN\\]")
    message(FATAL_ERROR "${lib} does not need the own platform with RUNPATH $ORIGIN:\n${dyn}")
  endif()
endfunction()

# expect_scenario(<program>): the scenario holds every expectation and the platform sees every
# block returned at unload.
function(expect_scenario program)
  execute_process(COMMAND ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${HOST_PLATFORM_DIR} ${program}
                  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0 OR NOT out MATCHES "porting scenario: ([0-9]+) of ([0-9]+) expectations hold"
     OR NOT CMAKE_MATCH_1 EQUAL CMAKE_MATCH_2
     OR NOT err MATCHES "altplat: at unload service 1293 is unregistered, 0 blocks live")
    message(FATAL_ERROR "the porting scenario ${program}: rc=${rc}\n${out}\n${err}")
  endif()
  message(STATUS "${program}: ${out}")
endfunction()

# ---- 1. This project's CMake ----
set(cbuild ${scratch}/cmake-build)
set(prefix ${scratch}/prefix)
file(REMOVE_RECURSE ${prefix})
run(${CMAKE_COMMAND} -S ${SRC} -B ${cbuild} -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
    -DCMAKE_C_COMPILER=${CC} -DCMAKE_CXX_COMPILER=${CXX} -DZORV_WERROR=ON
    -DZORV_BUILD_TESTS=OFF -DZORV_BUILD_TOOLS=OFF -DZORV_PLATFORM_LIBRARY=${alt}/libaltplat.so)
run(${CMAKE_COMMAND} --build ${cbuild} -t zorvdrel)
run(${CMAKE_COMMAND} --install ${cbuild} --prefix ${prefix})

file(GLOB_RECURSE installed LIST_DIRECTORIES false RELATIVE ${prefix} ${prefix}/*)
foreach(f ${installed})
  if(f MATCHES "zorvplat")
    message(FATAL_ERROR "the own-platform install holds the host platform's ${f}")
  endif()
  if(NOT IS_SYMLINK ${prefix}/${f} AND f MATCHES "\\.(cmake|pc|h)$")
    file(READ ${prefix}/${f} text)
    string(FIND "${text}" "${alt}" path_at)
    string(REGEX REPLACE "(^|\n)#[^\n]*" "" code "${text}") # what is not a comment line
    if(NOT path_at EQUAL -1 OR (f MATCHES "\\.(cmake|pc)$" AND code MATCHES "zorvplat"))
      message(FATAL_ERROR "the installed ${f} names the host platform or the path ${alt}")
    endif()
  endif()
endforeach()
file(READ ${prefix}/${LIBDIR}/pkgconfig/zorvdrel.pc pc)
if(NOT pc MATCHES "\nLibs: [^\n]*-lzorvdrel -laltplat\n")
  message(FATAL_ERROR "zorvdrel.pc does not link the own platform:\n${pc}")
endif()
expect_needs_own_platform(${prefix}/${LIBDIR}/libzorvdrel.so.1)
install_platform_beside(${prefix}/${LIBDIR})

# The scenario with nothing but what pkg-config says ...
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_LIBDIR} ${prefix}/${LIBDIR}/pkgconfig)
capture(flags ${PKG_CONFIG} --cflags --libs zorvdrel)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${CC} -std=c99 ${warnings} ${here}/scenario.c -I${here}/altplat ${flags}
    -Wl,-rpath,${prefix}/${LIBDIR} -o ${scratch}/scenario-pkgconfig)
expect_scenario(${scratch}/scenario-pkgconfig)
# ... and with find_package(zorvdrel).
file(REMOVE_RECURSE ${scratch}/consumer)
run(${CMAKE_COMMAND} -S ${here}/consumer -B ${scratch}/consumer -G Ninja -DCMAKE_C_COMPILER=${CC}
    -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${scratch}/consumer)
expect_scenario(${scratch}/consumer/scenario)

# ---- 2. The plain-compiler recipe of the guide, as printed ----
file(READ ${SRC}/docs/porting.md guide)
string(FIND "${guide}" "### With your own build system" at)
string(SUBSTRING "${guide}" ${at} -1 guide)
if(at EQUAL -1 OR NOT guide MATCHES "```sh\n(.*)")
  message(FATAL_ERROR "docs/porting.md has no recipe under \"With your own build system\"")
endif()
string(FIND "${CMAKE_MATCH_1}" "```" end)
string(SUBSTRING "${CMAKE_MATCH_1}" 0 ${end} recipe)
set(plain ${scratch}/plain)
file(REMOVE_RECURSE ${plain})
file(MAKE_DIRECTORY ${plain})
file(WRITE ${plain}/recipe.sh "${recipe}")
execute_process(COMMAND ${CMAKE_COMMAND} -E env SRC=${SRC}
                        PLATFORM_INCLUDE=${SRC}/platform/include PLATFORM_LIBDIR=${alt}
                        PLATFORM_NAME=altplat CXX=${CXX} sh -e recipe.sh
                WORKING_DIRECTORY ${plain} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "the recipe of docs/porting.md failed (rc=${rc}):\n${out}\n${err}")
endif()
expect_needs_own_platform(${plain}/libzorvdrel.so.1)
# Both builds export the same names under the same version node.
foreach(lib ${plain}/libzorvdrel.so.1 ${prefix}/${LIBDIR}/libzorvdrel.so.1)
  capture(names ${NM} -D --defined-only ${lib})
  string(REGEX REPLACE "[0-9a-f]+ [A-Za-z] " "" names "${names}")
  list(APPEND exports "${names}")
endforeach()
list(GET exports 0 plain_names)
list(GET exports 1 cmake_names)
if(NOT plain_names STREQUAL cmake_names)
  message(FATAL_ERROR "the recipe's library exports\n${plain_names}\nthe CMake build's\n${cmake_names}")
endif()
install_platform_beside(${plain})
run(${CC} -std=c99 ${warnings} ${here}/scenario.c -I${here}/altplat -I${SRC}/feature/zorv/lib/drel
    -I${plain}/include -I${SRC}/platform/include -L${plain} -lzorvdrel -laltplat
    -Wl,-rpath,${plain} -o ${scratch}/scenario-plain)
expect_scenario(${scratch}/scenario-plain)
