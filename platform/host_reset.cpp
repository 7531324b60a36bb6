// SPDX-License-Identifier: Apache-2.0
// host_reset.cpp - returns every host service to its state at process start.
// Live tracked blocks stay counted, and open debug-history rings stay open (emptied): a library
// opens its ring once per process and would otherwise lose its history for good.
#include <platform/platform.h>

#include "host_state.h"

void platform_host_reset(void) {
    zorvplat::tracked_mem_reset();
    zorvplat::debug_history_reset();
    zorvplat::drelm_reset();
    zorvplat::cli_reset();
    zorvplat::bdmgr_reset();
    zorvplat::ifmgr_reset();
    zorvplat::sysmgr_reset();
}
