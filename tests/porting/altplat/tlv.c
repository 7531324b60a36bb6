/* SPDX-License-Identifier: Apache-2.0 */
/* tlv.c - the aligned TLV array: u16 type, u16 length, value, zero padding to 4 bytes. */
#include <string.h>

#include "altplat_internal.h"

uint32_t tlv_aligned_size(uint32_t value_len) {
    return (4u + value_len + 3u) & ~3u;
}

int tlv_array_add(tlv_array_t *array, uint32_t array_size, uint16_t type, uint16_t len,
                  const void *value, uint32_t aligned) {
    const uint32_t need = aligned != 0 ? tlv_aligned_size(len) : 4u + len;
    if (array == NULL || array_size < 4u || array->len > array_size - 4u ||
        need > array_size - 4u - array->len)
        return (int)TLV_ERR_NO_SPACE;
    uint8_t *at = array->data + array->len;
    memcpy(at, &type, 2);
    memcpy(at + 2, &len, 2);
    if (len != 0) memcpy(at + 4, value, len);
    memset(at + 4 + len, 0, need - 4u - len);
    array->len += need;
    return 0;
}

int tlv_array_next(const tlv_array_t *array, uint32_t *cursor, uint16_t *type, uint16_t *len,
                   void **value, uint32_t aligned) {
    if (array == NULL || *cursor >= array->len) return (int)TLV_ERR_END;
    if (array->len - *cursor < 4u) return (int)TLV_ERR_MALFORMED;
    const uint8_t *at = array->data + *cursor;
    uint16_t t = 0, l = 0;
    memcpy(&t, at, 2);
    memcpy(&l, at + 2, 2);
    if (l > array->len - *cursor - 4u) return (int)TLV_ERR_MALFORMED;
    const uint32_t step = aligned != 0 ? tlv_aligned_size(l) : 4u + l;
    *type = t;
    *len = l;
    *value = (void *)(uintptr_t)(at + 4);
    *cursor = step < array->len - *cursor ? *cursor + step : array->len;
    return 0;
}

uint32_t tlv_array_count(const tlv_array_t *array, uint32_t aligned) {
    if (array == NULL) return 0;
    uint32_t n = 0, at = 0;
    while (array->len - at >= 4u) {
        ++n;
        uint16_t l = 0;
        memcpy(&l, array->data + at + 2, 2);
        const uint32_t step = aligned != 0 ? tlv_aligned_size(l) : 4u + l;
        if (step >= array->len - at) break;
        at += step;
    }
    return n;
}
