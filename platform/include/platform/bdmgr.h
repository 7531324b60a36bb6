/* SPDX-License-Identifier: Apache-2.0 */
/* bdmgr.h - bridge-domain manager: fabric bridge domains per context. */
#ifndef PLATFORM_BDMGR_H
#define PLATFORM_BDMGR_H

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

#include <platform/bmp4096.h>

/* Sets the bits of the fabric bridge domains of a context in `bds`. The library passes a cleared
 * bitmap (len 512) for context system_context_id_get() & 0xFFFF, ignores the result, and treats
 * the bits that are set afterwards as fabric BDs (so on failure leave the bitmap alone). */
int bdmgr_fabric_bd_allocation_get(uint16_t context, bmp4096_t *bds);

/* Host control. */
void bdmgr_host_set_fabric_bd(uint16_t context, uint32_t bd, int fabric);

#ifdef __cplusplus
}
#endif

#endif
