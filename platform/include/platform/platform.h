/* SPDX-License-Identifier: Apache-2.0 */
/* platform.h - every host-platform service, and the reset of them all. */
#ifndef PLATFORM_PLATFORM_H
#define PLATFORM_PLATFORM_H

#include <platform/bdmgr.h>
#include <platform/bitset.h>
#include <platform/bmp4096.h>
#include <platform/cli.h>
#include <platform/debug_history.h>
#include <platform/drelm.h>
#include <platform/ifmgr.h>
#include <platform/msg.h>
#include <platform/sysmgr.h>
#include <platform/tlv_array.h>
#include <platform/tracked_mem.h>
#include <platform/tree.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Returns every service to its state at process start, except the memory of live tracked
 * blocks, which stays counted. */
void platform_host_reset(void);

#ifdef __cplusplus
}
#endif

#endif
