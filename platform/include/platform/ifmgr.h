/* SPDX-License-Identifier: Apache-2.0 */
/* ifmgr.h - interface manager: interface types and layer modes. */
#ifndef PLATFORM_IFMGR_H
#define PLATFORM_IFMGR_H

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The interface type of an if_index; the library accepts types 22, 26, 29 and 31 as candidates
 * for a valid interface. */
uint32_t ifindex_type_get(uint32_t if_index);
/* Writes the layer mode of each of `count` interfaces into modes[]; 0 on success. The library asks
 * for one interface at a time and accepts mode 2 (layer 2) only after a 0 result. */
int ifmgr_layer_mode_list_get(uint32_t count, const uint32_t *if_indexes, uint32_t *modes);

/* Host control. */
void ifmgr_host_set_interface(uint32_t if_index, uint32_t type, uint32_t layer_mode);

#ifdef __cplusplus
}
#endif

#endif
