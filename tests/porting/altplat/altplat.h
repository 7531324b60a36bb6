/* SPDX-License-Identifier: Apache-2.0 */
/* altplat.h - the controls of the second platform (libaltplat), a switch platform written only
 * from docs/porting.md and the declarations of the platform headers, with its own
 * implementations: a sorted-array tree, a registry allocator, a fixed ring of events, a VNI set
 * whose growth lives in a side table. The porting scenario uses these controls to set up the
 * world the library sees and to observe what the library asked of the platform. */
#ifndef ALTPLAT_H
#define ALTPLAT_H

#include <stdint.h>

#include <platform/platform.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What the library asked of the platform so far. */
typedef struct altplat_calls {
    uint32_t mem_inits;      /* tracked_mem_init calls */
    uint32_t mem_type_count; /* memory types the last init registered */
    uint32_t tree_creates;   /* tree_create calls */
    uint32_t history_opens;  /* debug_history_open calls */
    uint32_t events;         /* debug_history_log calls */
} altplat_calls_t;
void altplat_calls_get(altplat_calls_t *out);

/* Allocator: blocks live under a service, and the failures injected so far. */
uint32_t altplat_live_blocks(uint32_t service_id);
uint32_t altplat_failed_allocs(void);
/* After `skip` more successful allocations, fail the next `count` ones (0: none). */
void altplat_fail_allocs(uint32_t skip, uint32_t count);

/* Debug history: the number of events held, and the i-th oldest (null past the end). */
uint32_t altplat_event_count(void);
const char *altplat_event(uint32_t i);
/* Nonzero when an event held contains `text`. */
int altplat_has_event(const char *text);

/* Peer manager and interface manager: a peer-link member interface, layer 2. */
void altplat_add_peer_link_member(uint32_t if_index, uint32_t drel_id, uint32_t if_type);

/* Messages: a message with a copy of the payload (8-byte aligned); free with altplat_msg_free. */
msg_t *altplat_msg_new(uint32_t opcode, const void *payload, uint32_t len);
void altplat_msg_free(msg_t *msg);

#ifdef __cplusplus
}
#endif

#endif
