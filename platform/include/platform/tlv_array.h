/* SPDX-License-Identifier: Apache-2.0 */
/* tlv_array.h - array of (u16 type, u16 length, value) records, optionally 4-byte aligned. */
#ifndef PLATFORM_TLV_ARRAY_H
#define PLATFORM_TLV_ARRAY_H

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

#define TLV_ERR_NO_SPACE 0x0E030001u
#define TLV_ERR_END 0x0E030002u
#define TLV_ERR_MALFORMED 0x0E030003u

/* C++ has no flexible array member; g++ and clang++ lay one out as C does and take it here
 * without a pedantic warning. */
#ifdef __cplusplus
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"
#endif
typedef struct tlv_array {
    uint32_t len;   /* bytes of TLVs in data */
    uint8_t data[]; /* the TLVs */
} tlv_array_t;
#ifdef __cplusplus
#pragma GCC diagnostic pop
#endif
/* Contract with libzorvdrel: the library always passes aligned = 1. Each TLV is a u16 type, a
 * u16 length and the value, in host byte order, padded with zero bytes to a multiple of 4.
 * The library sizes the arrays it builds as 4 + the sum of tlv_aligned_size of their values,
 * so add must use exactly that many bytes per TLV. */
uint32_t tlv_aligned_size(uint32_t value_len); /* 4 + value_len rounded up to 4 */
/* Appends at data + len; array_size is the whole buffer, header included. TLV_ERR_NO_SPACE and
 * nothing written when the TLV does not fit. */
int tlv_array_add(tlv_array_t *array, uint32_t array_size, uint16_t type, uint16_t len,
                  const void *value, uint32_t aligned);
/* TLV headers that lie whole inside len, walked from offset 0 (values are not checked). */
uint32_t tlv_array_count(const tlv_array_t *array, uint32_t aligned);
/* *cursor starts at 0. Fills the outputs (value points into the array) and advances; TLV_ERR_END
 * at the end, TLV_ERR_MALFORMED for a TLV whose header or value runs past len. Neither count
 * nor next reads outside data[0 .. len). */
int tlv_array_next(const tlv_array_t *array, uint32_t *cursor, uint16_t *type, uint16_t *len,
                   void **value, uint32_t aligned);

#ifdef __cplusplus
}
#endif

#endif
