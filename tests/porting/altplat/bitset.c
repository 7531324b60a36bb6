/* SPDX-License-Identifier: Apache-2.0 */
/* bitset.c - VNI sets. The root's 1024 body bytes hold VNIs 0..8191 (bit n in byte n / 8,
 * mask 1 << n % 8). Higher VNIs live in 1 KiB chunks of 8192 VNIs each, allocated on demand and
 * kept in a side table keyed by the root's address, so the root never moves and memory follows
 * the occupied chunks. */
#include <stdlib.h>
#include <string.h>

#include "altplat_internal.h"

#define CHUNK_BITS 8192u
#define CHUNK_BYTES (CHUNK_BITS / 8u)
#define CHUNKS ((BITSET_MAX_BIT + 1u) / CHUNK_BITS) /* 2048, chunk 0 is the root's body */

typedef struct growth {
    const void *root;       /* the set */
    uint8_t *chunk[CHUNKS]; /* chunk c holds VNIs c * 8192 .. c * 8192 + 8191; [0] unused */
} growth_t;

static growth_t **g_growth;          /* one entry per set that has grown */
static uint32_t g_sets, g_set_space; /* used and allocated entries */

static uint8_t *body(const bitset_t *set) {
    return (uint8_t *)(uintptr_t)set + 4;
}

static growth_t *growth_of(const bitset_t *set, uint32_t *index) {
    for (uint32_t i = 0; i < g_sets; ++i)
        if (g_growth[i]->root == (const void *)set) {
            if (index != NULL) *index = i;
            return g_growth[i];
        }
    return NULL;
}

/* The bytes that hold `bit`, or null when its chunk does not exist (and `grow` is 0 or memory
 * is exhausted). */
static uint8_t *bytes_of(const bitset_t *set, uint32_t bit, int grow) {
    const uint32_t c = bit / CHUNK_BITS;
    if (c == 0) return body(set);
    growth_t *g = growth_of(set, NULL);
    if (g == NULL) {
        if (!grow) return NULL;
        if (g_sets == g_set_space) {
            const uint32_t space = g_set_space != 0 ? 2 * g_set_space : 8;
            growth_t **more = realloc(g_growth, space * sizeof *more);
            if (more == NULL) return NULL;
            g_growth = more;
            g_set_space = space;
        }
        g = calloc(1, sizeof *g);
        if (g == NULL) return NULL;
        g->root = set;
        g_growth[g_sets++] = g;
    }
    if (g->chunk[c] == NULL && grow) g->chunk[c] = calloc(1, CHUNK_BYTES);
    return g->chunk[c];
}

int bitset_set(bitset_t *set, uint32_t bit) {
    if (bit > BITSET_MAX_BIT) return (int)BITSET_ERR_RANGE;
    uint8_t *b = bytes_of(set, bit, 1);
    if (b == NULL) return (int)BITSET_ERR_NO_MEMORY;
    b[(bit % CHUNK_BITS) / 8] |= (uint8_t)(1u << bit % 8);
    return 0;
}

int bitset_clear(bitset_t *set, uint32_t bit) {
    if (bit > BITSET_MAX_BIT) return (int)BITSET_ERR_RANGE;
    uint8_t *b = bytes_of(set, bit, 0);
    if (b != NULL) b[(bit % CHUNK_BITS) / 8] &= (uint8_t) ~(1u << bit % 8);
    return 0;
}

/* The least member >= from within one chunk's bytes, or -1; skips zero words of 8 bytes. */
static int32_t find_in(const uint8_t *b, uint32_t base, uint32_t from) {
    for (uint32_t i = from / 8; i < CHUNK_BYTES; ++i) {
        uint64_t word = 0;
        if (i % 8 == 0) memcpy(&word, b + i, 8);
        if (i % 8 == 0 && word == 0) {
            i += 7;
            continue;
        }
        uint8_t byte = b[i];
        if (i == from / 8) byte &= (uint8_t)(0xFFu << from % 8);
        if (byte == 0) continue;
        uint32_t k = 0;
        while (!(byte & (1u << k)))
            ++k;
        return (int32_t)(base + i * 8 + k);
    }
    return -1;
}

int32_t bitset_find(const bitset_t *set, uint32_t from) {
    if (set == NULL || from > BITSET_MAX_BIT) return -1;
    const growth_t *g = growth_of(set, NULL);
    for (uint32_t c = from / CHUNK_BITS; c < CHUNKS; ++c) {
        const uint8_t *b = c == 0 ? body(set) : (g != NULL ? g->chunk[c] : NULL);
        if (b == NULL) continue;
        const uint32_t start = c == from / CHUNK_BITS ? from % CHUNK_BITS : 0;
        const int32_t v = find_in(b, c * CHUNK_BITS, start);
        if (v >= 0) return v;
        if (g == NULL) break; /* the root's body was the only chunk */
    }
    return -1;
}

int32_t bitset_count(const bitset_t *set) {
    if (set == NULL) return -1;
    const growth_t *g = growth_of(set, NULL);
    int32_t n = 0;
    for (uint32_t c = 0; c < CHUNKS; ++c) {
        const uint8_t *b = c == 0 ? body(set) : (g != NULL ? g->chunk[c] : NULL);
        if (b != NULL) n += (int32_t)bitmap_count_bits(b, CHUNK_BYTES);
    }
    return n;
}

void bitset_free(bitset_t *set) {
    if (set == NULL) return;
    uint32_t i = 0;
    growth_t *g = growth_of(set, &i);
    if (g != NULL) {
        for (uint32_t c = 1; c < CHUNKS; ++c)
            free(g->chunk[c]);
        free(g);
        g_growth[i] = g_growth[--g_sets];
    }
    free(set);
}

uint32_t bitmap_count_bits(const void *bytes, uint32_t nbytes) {
    const uint8_t *b = bytes;
    uint32_t n = 0;
    for (uint32_t i = 0; i < nbytes; ++i)
        for (uint8_t v = b[i]; v != 0; v &= (uint8_t)(v - 1))
            ++n;
    return n;
}
