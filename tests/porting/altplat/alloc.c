/* SPDX-License-Identifier: Apache-2.0 */
/* alloc.c - the tracked allocator: a registry of live blocks (service, type, address), blocks
 * from posix_memalign, and fault injection by count. A free looks the address up in the registry
 * before touching it, so a block that is not live is refused, never freed twice. */
#define _POSIX_C_SOURCE 200112L
#include <stdlib.h>

#include "altplat.h"
#include "altplat_internal.h"

typedef struct block {
    void *address;       /* what tracked_alloc returned */
    uint32_t service_id; /* the owner */
    uint32_t mem_type;   /* the owner's memory type */
} block_t;

static block_t *g_blocks;         /* the live blocks, unordered */
static uint32_t g_count, g_space; /* used and allocated entries of g_blocks */
static uint32_t g_skip, g_fail; /* fault injection: successes left to let through, then failures */
static uint32_t g_failed;       /* allocations failed on purpose */

int tracked_mem_init(const char *lib_name, uint32_t service_id, const char *const *type_names,
                     uint32_t type_count) {
    (void)lib_name;
    (void)service_id;
    (void)type_names; /* the names are not kept, so nothing needs copying */
    altplat_g_calls.mem_inits++;
    altplat_g_calls.mem_type_count = type_count;
    return 0;
}

int tracked_mem_uninit(uint32_t service_id) {
    altplat_g_uninit_service = service_id;
    return 0;
}

/* Whether the next allocation is one to fail. */
static int inject_failure(void) {
    if (g_skip > 0) {
        g_skip--;
        return 0;
    }
    if (g_fail == 0) return 0;
    g_fail--;
    g_failed++;
    return 1;
}

void *tracked_alloc(uint32_t service_id, uint32_t mem_type, uint32_t size) {
    if (inject_failure()) return NULL;
    if (g_count == g_space) {
        const uint32_t space = g_space != 0 ? 2 * g_space : 64;
        block_t *grown = realloc(g_blocks, space * sizeof *grown);
        if (grown == NULL) return NULL;
        g_blocks = grown;
        g_space = space;
    }
    void *p = NULL; /* size 0 still gives a unique block */
    if (posix_memalign(&p, 16, size != 0 ? size : 1) != 0) return NULL;
    g_blocks[g_count].address = p;
    g_blocks[g_count].service_id = service_id;
    g_blocks[g_count].mem_type = mem_type;
    g_count++;
    return p;
}

int tracked_free(uint32_t service_id, void *block) {
    if (block == NULL) return 0;
    for (uint32_t i = 0; i < g_count; ++i) {
        if (g_blocks[i].address != block || g_blocks[i].service_id != service_id) continue;
        free(block);
        g_blocks[i] = g_blocks[--g_count];
        return 0;
    }
    return (int)TRACKED_ERR_BAD_BLOCK;
}

uint32_t altplat_live_blocks(uint32_t service_id) {
    uint32_t n = 0;
    for (uint32_t i = 0; i < g_count; ++i)
        n += g_blocks[i].service_id == service_id;
    return n;
}

uint32_t altplat_failed_allocs(void) {
    return g_failed;
}

void altplat_fail_allocs(uint32_t skip, uint32_t count) {
    g_skip = count != 0 ? skip : 0;
    g_fail = count;
}
