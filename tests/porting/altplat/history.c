/* SPDX-License-Identifier: Apache-2.0 */
/* history.c - the debug history: one fixed ring of events in static storage (no heap per event);
 * a full ring drops the oldest. An event is whatever one format renders, cut at the slot size. */
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "altplat_internal.h"

#define SLOTS 512u
#define SLOT_BYTES 240u

static char g_ring[SLOTS][SLOT_BYTES]; /* the events */
static uint32_t g_first, g_held;       /* index of the oldest event, events held */
static int g_open;                     /* nonzero once opened */

int debug_history_open(uint32_t service_id, uint32_t size) {
    (void)service_id;
    (void)size; /* the ring has its own fixed size */
    altplat_g_calls.history_opens++;
    g_open = 1;
    return 0;
}

int debug_history_open_instance(uint32_t service_id, uint32_t instance, uint32_t flags,
                                uint32_t size, uint32_t arg4, uint32_t arg5) {
    (void)service_id;
    (void)instance;
    (void)flags;
    (void)size;
    (void)arg4;
    (void)arg5;
    return 0;
}

int debug_history_log(uint32_t service_id, uint32_t instance, uint32_t level, const char *format,
                      ...) {
    (void)service_id;
    (void)instance;
    (void)level;
    altplat_g_calls.events++;
    if (!g_open) return 1;
    char *slot = g_ring[(g_first + g_held) % SLOTS];
    if (g_held < SLOTS)
        g_held++;
    else
        g_first = (g_first + 1) % SLOTS;
    va_list ap;
    va_start(ap, format);
    (void)vsnprintf(slot, SLOT_BYTES, format, ap);
    va_end(ap);
    return 0;
}

uint32_t altplat_event_count(void) {
    return g_held;
}

const char *altplat_event(uint32_t i) {
    return i < g_held ? g_ring[(g_first + i) % SLOTS] : NULL;
}

int altplat_has_event(const char *text) {
    for (uint32_t i = 0; i < g_held; ++i)
        if (strstr(altplat_event(i), text) != NULL) return 1;
    return 0;
}

/* The platform's codes and the library's, by value. */
static const struct {
    uint32_t code;    /* error code */
    const char *text; /* its text */
} g_texts[] = {
    {0x00000000u, "success"},
    {TRACKED_ERR_BAD_BLOCK, "block not live"},
    {TREE_ERR_EXISTS, "node exists"},
    {TREE_ERR_NO_MEMORY, "tree out of memory"},
    {TREE_ERR_NOT_FOUND, "node not found"},
    {TLV_ERR_NO_SPACE, "TLV array full"},
    {TLV_ERR_END, "end of TLV array"},
    {TLV_ERR_MALFORMED, "malformed TLV"},
    {BITSET_ERR_RANGE, "bit out of range"},
    {BITSET_ERR_NO_MEMORY, "bitset out of memory"},
    {0x41B70016u, "peer manager: no interface record"},
};

const char *error_to_string(uint32_t code) {
    static char unknown[48];
    for (size_t i = 0; i < sizeof g_texts / sizeof g_texts[0]; ++i)
        if (g_texts[i].code == code) return g_texts[i].text;
    if ((code & 0xFFFF0000u) == 0x42D90000u) {
        (void)snprintf(unknown, sizeof unknown, "type-1 parameter library error 0x%08X", code);
        return unknown;
    }
    (void)snprintf(unknown, sizeof unknown, "unknown error 0x%08X", code);
    return unknown;
}
