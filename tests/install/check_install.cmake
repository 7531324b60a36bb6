# SPDX-License-Identifier: Apache-2.0
# Installs the build tree into a scratch prefix, then builds and runs a consumer against it.
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
fresh_install(${BIN}/install-check)
set(cbuild ${BIN}/install-check/consumer)
run(${CMAKE_COMMAND} -S ${SRC}/tests/install/consumer -B ${cbuild} -G Ninja
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_C_COMPILER=${CC} ${EXTRA_FLAGS})
run(${CMAKE_COMMAND} --build ${cbuild})
expect_consumer(${cbuild}/consumer)
