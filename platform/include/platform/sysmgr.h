/* sysmgr.h - system manager: the virtual device context. */
#ifndef PLATFORM_SYSMGR_H
#define PLATFORM_SYSMGR_H

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

uint32_t system_context_id_get(void);

/* Host control. */
void sysmgr_host_set_context_id(uint32_t id);

#ifdef __cplusplus
}
#endif

#endif
