# SPDX-License-Identifier: Apache-2.0
# The example that libzorvdrel-dev ships (/usr/share/doc/libzorvdrel-dev/examples/example) builds
# with its own CMake file against the packages that debian_packages unpacked, finding them only
# through find_package(zorvdrel), and runs with the packaged libraries.
# Expects BIN, CXX and LIBDIR.
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
set(usr ${BIN}/packages-check/root/usr)
set(example ${usr}/share/doc/libzorvdrel-dev/examples/example)
if(NOT EXISTS ${example}/CMakeLists.txt)
  message(FATAL_ERROR "the unpacked libzorvdrel-dev holds no example at ${example}")
endif()
set(build ${BIN}/packages-check/example)
file(REMOVE_RECURSE ${build})
run(${CMAKE_COMMAND} -S ${example} -B ${build} -G Ninja -DCMAKE_CXX_COMPILER=${CXX}
    -DCMAKE_PREFIX_PATH=${usr} -DCMAKE_FIND_USE_CMAKE_SYSTEM_PATH=OFF
    "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Werror" -DCMAKE_BUILD_RPATH=${usr}/${LIBDIR})
run(${CMAKE_COMMAND} --build ${build})
execute_process(COMMAND ${build}/zorv_example RESULT_VARIABLE rc OUTPUT_VARIABLE out
                ERROR_VARIABLE err)
if(NOT rc EQUAL 0 OR NOT out MATCHES "Memory types \\(tracked allocator, service 1293\\)"
   OR NOT out MATCHES "Debug history of service 1293")
  message(FATAL_ERROR "the packaged example: rc=${rc}\n${out}\n${err}")
endif()
# It ran on the packaged libraries, not on the build tree's.
capture(loaded ldd ${build}/zorv_example)
if(NOT loaded MATCHES "libzorvdrel\\.so\\.[0-9]+ => ${usr}/${LIBDIR}/")
  message(FATAL_ERROR "the example does not load the packaged libzorvdrel:\n${loaded}")
endif()
