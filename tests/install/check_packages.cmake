# SPDX-License-Identifier: Apache-2.0
# Builds the Debian packages with CPack and checks what each holds and depends on, runs lintian
# on them (any error or warning fails), then unpacks them into a scratch root and runs the
# packaged drelsim and pkg-config files from there. The packages are left in <build>/packages
# (where `./dev package` shows them) and unpacked in <build>/packages-check/root (where the
# installed-example test builds against them).
# Expects BIN, CPACK, DPKG_DEB, PKG_CONFIG, LINTIAN, READELF, VERSION, MAJOR and LIBDIR.
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
set(scratch ${BIN}/packages-check)
file(REMOVE_RECURSE ${scratch})
file(MAKE_DIRECTORY ${scratch}/root)
set(OUT ${BIN}/packages)
file(GLOB old ${OUT}/*.deb ${OUT}/*.ddeb ${OUT}/lintian.txt)
if(old)
  file(REMOVE ${old})
endif()
run(${CPACK} --config ${BIN}/CPackConfig.cmake -B ${OUT})

set(plat libzorvplat${MAJOR})
set(drel libzorvdrel${MAJOR})
set(ver "\\(= ${VERSION}\\)")

# check(<package> DEPENDS <regex...> HAS <path...> LACKS <regex...> CONTROL <file...>)
# <path> is below /usr; CONTROL lists the package's control files besides control and md5sums.
function(check package)
  cmake_parse_arguments(c "" "" "DEPENDS;HAS;LACKS;CONTROL" ${ARGN})
  file(GLOB deb ${OUT}/${package}_${VERSION}_*.deb ${OUT}/${package}_${VERSION}_*.ddeb)
  list(LENGTH deb n)
  if(NOT n EQUAL 1)
    message(FATAL_ERROR "expected one package ${package}_${VERSION}_*.deb in ${OUT}, found ${n}")
  endif()
  capture(name ${DPKG_DEB} --field ${deb} Package)
  capture(version ${DPKG_DEB} --field ${deb} Version)
  if(NOT name STREQUAL package OR NOT version STREQUAL VERSION)
    message(FATAL_ERROR "${deb} says it is ${name} ${version}")
  endif()
  capture(depends ${DPKG_DEB} --field ${deb} Depends)
  foreach(d ${c_DEPENDS})
    if(NOT depends MATCHES "(^|, )${d}")
      message(FATAL_ERROR "${package} does not depend on '${d}': Depends: ${depends}")
    endif()
  endforeach()
  capture(listing ${DPKG_DEB} --contents ${deb})
  foreach(path ${c_HAS})
    string(REPLACE "." "\\." re "${path}")
    if(NOT listing MATCHES " \\./usr/${re}( -> |\n|$)")
      message(FATAL_ERROR "${package} lacks /usr/${path}:\n${listing}")
    endif()
  endforeach()
  foreach(re ${c_LACKS})
    if(listing MATCHES "${re}")
      message(FATAL_ERROR "${package} holds what it must not (${re}):\n${listing}")
    endif()
  endforeach()
  # The control files: exactly the expected ones (no maintainer scripts).
  file(REMOVE_RECURSE ${scratch}/control)
  run(${DPKG_DEB} --control ${deb} ${scratch}/control)
  file(GLOB control RELATIVE ${scratch}/control ${scratch}/control/*)
  list(SORT control)
  set(expected control md5sums ${c_CONTROL})
  list(SORT expected)
  if(NOT control STREQUAL expected)
    message(FATAL_ERROR "${package} has the control files '${control}', expected '${expected}'")
  endif()
  run(${DPKG_DEB} --extract ${deb} ${scratch}/root)
endfunction()

# Every package carries the copyright file and the changelog; a runtime library package its
# symbols, shlibs (>= the release that introduced the names) and the ldconfig trigger.
set(library_control shlibs symbols triggers)

check(${plat} DEPENDS "libc6" "libstdc\\+\\+6" CONTROL ${library_control}
      HAS ${LIBDIR}/libzorvplat.so.${MAJOR} ${LIBDIR}/libzorvplat.so.${VERSION}
          share/doc/${plat}/copyright share/doc/${plat}/changelog.gz
      LACKS "libzorvplat\\.so\n" "libzorvplat\\.so -> " "include/" "libzorvdrel")
check(${drel} DEPENDS "${plat} ${ver}" "libc6" "libstdc\\+\\+6" CONTROL ${library_control}
      HAS ${LIBDIR}/libzorvdrel.so.${MAJOR} ${LIBDIR}/libzorvdrel.so.${VERSION}
          share/doc/${drel}/copyright share/doc/${drel}/changelog.gz
      LACKS "libzorvdrel\\.so\n" "libzorvdrel\\.so -> " "include/" "libzorvplat")
set(inc include/zorvdrel)
check(libzorvdrel-dev DEPENDS "${plat} ${ver}" "${drel} ${ver}"
      HAS ${inc}/zorv_drel.h ${inc}/zorv_drel_version.h ${inc}/platform/platform.h
          ${inc}/platform/tracked_mem.h ${LIBDIR}/libzorvdrel.so ${LIBDIR}/libzorvplat.so
          ${LIBDIR}/cmake/zorvdrel/zorvdrelConfig.cmake
          ${LIBDIR}/cmake/zorvdrel/zorvdrelConfigVersion.cmake
          ${LIBDIR}/cmake/zorvdrel/zorvdrelTargets.cmake
          ${LIBDIR}/pkgconfig/zorvdrel.pc ${LIBDIR}/pkgconfig/zorvplat.pc
          share/doc/libzorvdrel-dev/examples/example/CMakeLists.txt
          share/doc/libzorvdrel-dev/examples/example/main.cpp
          share/doc/libzorvdrel-dev/copyright share/doc/libzorvdrel-dev/changelog.gz
      LACKS " \\./usr/lib/[^ ]*\\.so\\.${MAJOR}[ \n]" "bin/" " \\./usr/include/platform/")
check(drelsim DEPENDS "${plat} ${ver}" "${drel} ${ver}" "libyaml-0-2"
      HAS bin/drelsim share/drelsim/scenarios/identical.yaml share/drelsim/scenarios/admin_differs.yaml
          share/doc/drelsim/README.md share/man/man1/drelsim.1.gz
          share/doc/drelsim/copyright share/doc/drelsim/changelog.gz
      LACKS "lib/" "include/")
# The debug information of each binary, in a -dbgsym package found by the binary's build id.
foreach(p ${plat} ${drel} drelsim)
  check(${p}-dbgsym DEPENDS "${p} ${ver}" HAS lib/debug/.build-id/ LACKS "bin/" "include/")
endforeach()
foreach(f bin/drelsim ${LIBDIR}/libzorvplat.so.${VERSION} ${LIBDIR}/libzorvdrel.so.${VERSION})
  capture(sections ${READELF} -S --wide ${scratch}/root/usr/${f})
  capture(notes ${READELF} -n ${scratch}/root/usr/${f})
  if(sections MATCHES "\\.debug_info" OR NOT sections MATCHES "\\.gnu_debuglink"
     OR NOT notes MATCHES "Build ID: ([0-9a-f][0-9a-f])([0-9a-f]+)")
    message(FATAL_ERROR "/usr/${f} is not stripped with a debug link and a build id")
  endif()
  set(debug ${scratch}/root/usr/lib/debug/.build-id/${CMAKE_MATCH_1}/${CMAKE_MATCH_2}.debug)
  if(NOT EXISTS ${debug})
    message(FATAL_ERROR "no debug file ${debug} for /usr/${f}")
  endif()
endforeach()

# lintian, pedantic: no error and no warning; what remains is listed in docs/packaging.md.
file(GLOB debs ${OUT}/*.deb ${OUT}/*.ddeb)
execute_process(COMMAND ${LINTIAN} --pedantic --display-info --fail-on error,warning ${debs}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "lintian finds errors or warnings in the packages (rc=${rc}):\n${out}\n${err}")
endif()
# `./dev package` shows what lintian said.
file(WRITE ${OUT}/lintian.txt "${out}")
message(STATUS "lintian --pedantic: no error, no warning\n${out}")

# The unpacked packages work together: drelsim finds the packaged library beside it ...
set(root ${scratch}/root/usr)
set(ENV{ZORV_DREL_SO} "")
execute_process(COMMAND ${root}/bin/drelsim ${root}/share/drelsim/scenarios/admin_differs.yaml
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 1 OR NOT out MATCHES "Result: FAIL")
  message(FATAL_ERROR "packaged drelsim on admin_differs.yaml: rc=${rc}\n${out}\n${err}")
endif()
# ... and the packaged pkg-config files point into wherever the packages were unpacked.
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_LIBDIR} ${root}/${LIBDIR}/pkgconfig)
capture(inc ${PKG_CONFIG} --variable=includedir zorvdrel)
if(NOT EXISTS ${inc}/zorv_drel.h OR NOT EXISTS ${inc}/zorv_drel_version.h
   OR NOT EXISTS ${inc}/platform/platform.h)
  message(FATAL_ERROR "the packaged zorvdrel.pc names include directory ${inc}")
endif()
