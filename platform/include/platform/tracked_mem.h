/* SPDX-License-Identifier: Apache-2.0 */
/* tracked_mem.h - allocator with per-service, per-memory-type accounting and fault injection. */
#ifndef PLATFORM_TRACKED_MEM_H
#define PLATFORM_TRACKED_MEM_H

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

#define TRACKED_ERR_BAD_BLOCK 0x0E010001u /* free of a block that is not live under the service */

/* Contract with libzorvdrel (service 1293): init is called once, from the library's load-time
 * constructor, before any other call of the library; uninit once, from its unload-time
 * destructor, after its last tracked_free. Both must work while the library is being loaded or
 * unloaded. Their results are not checked. The library releases every block it still holds
 * before uninit; blocks it handed to its caller stay valid and are freed by that caller with
 * tracked_free(1293, p). */

/* Registers a service and the names of its memory types (copied). 0 on success. */
int tracked_mem_init(const char *lib_name, uint32_t service_id, const char *const *type_names,
                     uint32_t type_count);
/* Unregisters a service; its counters stay readable. 0 on success. */
int tracked_mem_uninit(uint32_t service_id);
/* A 16-byte-aligned block, not zeroed; size 0 gives a unique block. Null when memory is
 * exhausted or a fault is injected. The library lays its records and TLV arrays into the block
 * directly, so the alignment is relied on; it zeroes what it needs itself, and it turns a null
 * result into its "no memory" code, so failing is allowed, crashing is not. */
void *tracked_alloc(uint32_t service_id, uint32_t mem_type, uint32_t size);
/* 0, or TRACKED_ERR_BAD_BLOCK for a block that is not live under the service. Null gives 0: the
 * library frees pointers that may be null without testing them. */
int tracked_free(uint32_t service_id, void *block);

/* Host controls. */
typedef struct tracked_mem_stats {
    uint64_t live_blocks, live_bytes, peak_bytes;
    uint64_t allocs, frees, failed_allocs, bad_frees;
} tracked_mem_stats_t;
/* Counters of one memory type, or of all types with mem_type -1. 0 on success. */
int tracked_mem_stats_get(uint32_t service_id, int32_t mem_type, tracked_mem_stats_t *out);
/* After `skip` more successful allocations of the service, fail the next `count` ones
   (count 0 switches injection off). */
void tracked_mem_fault_set(uint32_t service_id, uint64_t skip, uint64_t count);

#ifdef __cplusplus
}
#endif

#endif
