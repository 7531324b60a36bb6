# SPDX-License-Identifier: Apache-2.0
# Builds the Debian packages with CPack and checks what each holds and depends on, then unpacks
# them into a scratch root and runs the packaged drelsim and pkg-config files from there.
# The packages are left in <build>/packages (where `./dev package` shows them).
# Expects BIN, CPACK, DPKG_DEB, PKG_CONFIG, VERSION and MAJOR.
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
set(scratch ${BIN}/packages-check)
file(REMOVE_RECURSE ${scratch})
file(MAKE_DIRECTORY ${scratch}/root)
set(OUT ${BIN}/packages)
file(GLOB old ${OUT}/*.deb)
if(old)
  file(REMOVE ${old})
endif()
run(${CPACK} --config ${BIN}/CPackConfig.cmake -B ${OUT})

set(plat libzorvplat${MAJOR})
set(drel libzorvdrel${MAJOR})
set(ver "\\(= ${VERSION}\\)")

# check(<package> DEPENDS <regex...> HAS <path...> LACKS <regex...>)
function(check package)
  cmake_parse_arguments(c "" "" "DEPENDS;HAS;LACKS" ${ARGN})
  file(GLOB deb ${OUT}/${package}_${VERSION}_*.deb)
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
  run(${DPKG_DEB} --extract ${deb} ${scratch}/root)
endfunction()

check(${plat} DEPENDS "libc6" "libstdc\\+\\+6"
      HAS lib/libzorvplat.so.${MAJOR} lib/libzorvplat.so.${VERSION}
      LACKS "libzorvplat\\.so\n" "libzorvplat\\.so -> " "include/" "libzorvdrel")
check(${drel} DEPENDS "${plat} ${ver}" "libc6" "libstdc\\+\\+6"
      HAS lib/libzorvdrel.so.${MAJOR} lib/libzorvdrel.so.${VERSION}
      LACKS "libzorvdrel\\.so\n" "libzorvdrel\\.so -> " "include/" "libzorvplat")
check(libzorvdrel-dev DEPENDS "${plat} ${ver}" "${drel} ${ver}"
      HAS include/zorv_drel.h include/platform/platform.h include/platform/tracked_mem.h
          lib/libzorvdrel.so lib/libzorvplat.so
          lib/cmake/zorvdrel/zorvdrelConfig.cmake lib/cmake/zorvdrel/zorvdrelConfigVersion.cmake
          lib/cmake/zorvdrel/zorvdrelTargets.cmake
          lib/pkgconfig/zorvdrel.pc lib/pkgconfig/zorvplat.pc
      LACKS " \\./usr/lib/[^ ]*\\.so\\.${MAJOR}[ \n]" "bin/")
check(drelsim DEPENDS "${plat} ${ver}" "${drel} ${ver}" "libyaml-0-2"
      HAS bin/drelsim share/drelsim/scenarios/identical.yaml share/drelsim/scenarios/admin_differs.yaml
          share/doc/drelsim/README.md
      LACKS "lib/" "include/")

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
set(ENV{PKG_CONFIG_LIBDIR} ${root}/lib/pkgconfig)
capture(inc ${PKG_CONFIG} --variable=includedir zorvdrel)
if(NOT EXISTS ${inc}/zorv_drel.h OR NOT EXISTS ${inc}/platform/platform.h)
  message(FATAL_ERROR "the packaged zorvdrel.pc names include directory ${inc}")
endif()
