/* ifmgr.h - interface manager: interface types and layer modes. */
#ifndef PLATFORM_IFMGR_H
#define PLATFORM_IFMGR_H

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

uint32_t ifindex_type_get(uint32_t if_index);
int ifmgr_layer_mode_list_get(uint32_t count, const uint32_t *if_indexes, uint32_t *modes);

/* Host control. */
void ifmgr_host_set_interface(uint32_t if_index, uint32_t type, uint32_t layer_mode);

#ifdef __cplusplus
}
#endif

#endif
