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

typedef struct tlv_array {
    uint32_t len;    /* bytes of TLVs in data */
    uint8_t data[];  /* the TLVs */
} tlv_array_t;
uint32_t tlv_aligned_size(uint32_t value_len); /* 4 + value_len rounded up to 4 */
int tlv_array_add(tlv_array_t *array, uint32_t array_size, uint16_t type, uint16_t len,
                  const void *value, uint32_t aligned);
uint32_t tlv_array_count(const tlv_array_t *array, uint32_t aligned);
int tlv_array_next(const tlv_array_t *array, uint32_t *cursor, uint16_t *type, uint16_t *len,
                   void **value, uint32_t aligned);

#ifdef __cplusplus
}
#endif

#endif
