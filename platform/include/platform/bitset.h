/* SPDX-License-Identifier: Apache-2.0 */
/* bitset.h - sparse set over VNIs 0..0xFFFFFF behind a fixed 1028-byte root. */
#ifndef PLATFORM_BITSET_H
#define PLATFORM_BITSET_H

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

#define BITSET_ROOT_BYTES 1028u
#define BITSET_MAX_BIT 0xFFFFFFu
#define BITSET_ERR_RANGE 0x0E040001
#define BITSET_ERR_NO_MEMORY 0x0E040002

/* Root block: u32 1024, then 1024 bytes, all zero when new (created with malloc by its owner).
 * Contract with libzorvdrel:
 * - The library creates every VNI set itself, with malloc(BITSET_ROOT_BYTES), first u32 1024 and
 *   the rest zero, and hands such sets to the caller of a check. The platform accepts that form.
 * - The root never moves: the set grows behind it on demand, up to bit 0xFFFFFF, sparsely
 *   (memory follows the occupied parts, not the range), because holders keep a plain pointer.
 * - bitset_free releases the growth and the root (with free, as the root came from malloc); it
 *   is how a set's owner, the library or its caller, releases it.
 * - The library ignores the results of set and clear, so set fails only for a bit above
 *   0xFFFFFF or when memory is exhausted, leaving the set unchanged; clear never allocates.
 * - find(set, from) gives the least member >= from, or -1; the library walks a set with
 *   find(set, v + 1), so find must skip empty stretches a word at a time or faster. */
typedef struct bitset bitset_t;
int bitset_set(bitset_t *set, uint32_t bit);
int bitset_clear(bitset_t *set, uint32_t bit);
int32_t bitset_find(const bitset_t *set, uint32_t from); /* least member >= from, or -1 */
int32_t bitset_count(const bitset_t *set);               /* members, or -1 for a null set */
void bitset_free(bitset_t *set);                         /* releases the growth and the root */
uint32_t bitmap_count_bits(const void *bytes, uint32_t nbytes); /* set bits in nbytes bytes */

#ifdef __cplusplus
}
#endif

#endif
