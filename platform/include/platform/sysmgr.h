/* SPDX-License-Identifier: Apache-2.0 */
/* sysmgr.h - system manager: the virtual device context. */
#ifndef PLATFORM_SYSMGR_H
#define PLATFORM_SYSMGR_H

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The number of the virtual device context. The library uses the low 16 bits: as the context of
 * the fabric bridge-domain query and as the suffix of its debug file's name. */
uint32_t system_context_id_get(void);

/* Host control. */
void sysmgr_host_set_context_id(uint32_t id);

#ifdef __cplusplus
}
#endif

#endif
