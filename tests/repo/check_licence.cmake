# SPDX-License-Identifier: Apache-2.0
# Every source, script and build file of the tree carries the project's licence line near its top,
# and the licence and notice files are at the root. Expects SRC (source tree).
set(tag "SPDX-License-Identifier: Apache-2.0")
foreach(f LICENSE NOTICE)
  if(NOT EXISTS ${SRC}/${f})
    message(FATAL_ERROR "${f} is missing at the root of the tree")
  endif()
endforeach()
file(GLOB_RECURSE files RELATIVE ${SRC} LIST_DIRECTORIES false
     ${SRC}/*.c ${SRC}/*.h ${SRC}/*.cpp ${SRC}/*.hpp ${SRC}/*.cmake ${SRC}/*.in ${SRC}/*.map
     ${SRC}/*.sh ${SRC}/*.py ${SRC}/*.js ${SRC}/CMakeLists.txt)
# Build trees and the fuzz corpora (data, not sources) are not the tree's own files.
list(FILTER files EXCLUDE REGEX "^(build[^/]*|out|\\.git|fuzz/corpus)/|(^|/)node_modules/")
list(APPEND files dev .ci/run)
set(missing "")
foreach(f ${files})
  file(STRINGS ${SRC}/${f} head LIMIT_COUNT 5)
  string(FIND "${head}" "${tag}" at)
  if(at EQUAL -1)
    list(APPEND missing ${f})
  endif()
endforeach()
list(LENGTH files n)
if(missing)
  list(JOIN missing "\n  " text)
  message(FATAL_ERROR "files without \"${tag}\" in their first five lines:\n  ${text}")
endif()
message(STATUS "licence line present in ${n} files")
