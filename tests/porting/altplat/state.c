/* SPDX-License-Identifier: Apache-2.0 */
/* state.c - the call counters, and the platform's last word at unload: the library's own
 * destructor has run by then (it needs this library, so it goes first), so every block of its
 * service must be back and the service unregistered. A leak is reported on standard error and
 * turns the exit status into 70. */
#include <stdio.h>
#include <unistd.h>

#include "altplat_internal.h"

altplat_calls_t altplat_g_calls;
uint32_t altplat_g_uninit_service;

void altplat_calls_get(altplat_calls_t *out) {
    *out = altplat_g_calls;
}

__attribute__((destructor)) static void altplat_unload(void) {
    const uint32_t live = altplat_live_blocks(1293);
    if (altplat_g_calls.mem_inits == 0) return; /* no library was loaded */
    fprintf(stderr, "altplat: at unload service %u is %s, %u blocks live\n", 1293u,
            altplat_g_uninit_service == 1293 ? "unregistered" : "still registered", live);
    if (live != 0 || altplat_g_uninit_service != 1293) {
        fflush(NULL);
        _exit(70);
    }
}
