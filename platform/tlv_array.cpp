// SPDX-License-Identifier: Apache-2.0
// tlv_array.cpp - array of (u16 type, u16 length, value) records after a u32 byte count.
//
// Headers are read with memcpy (an array received from outside need not be aligned), and every
// read is checked against the array's own len first, so nothing outside data[0 .. len) is read.
// A null value with a nonzero length adds a zero-filled value. A null array or cursor makes
// tlv_array_next fail with TLV_ERR_MALFORMED; tlv_array_count of a null array is 0.
#include <platform/tlv_array.h>

#include <cstring>

namespace {

constexpr uint32_t kHeader = 4;

uint64_t occupied(uint32_t value_len, uint32_t aligned) {
    const uint64_t n = kHeader + static_cast<uint64_t>(value_len);
    return aligned != 0 ? (n + 3) & ~uint64_t{3} : n;
}

void read_header(const uint8_t *p, uint16_t &type, uint16_t &len) {
    std::memcpy(&type, p, 2);
    std::memcpy(&len, p + 2, 2);
}

} // namespace

uint32_t tlv_aligned_size(uint32_t value_len) {
    const uint64_t n = occupied(value_len, 1);
    return n > 0xFFFFFFFCu ? 0xFFFFFFFCu : static_cast<uint32_t>(n);
}

int tlv_array_add(tlv_array_t *array, uint32_t array_size, uint16_t type, uint16_t len,
                  const void *value, uint32_t aligned) {
    if (array == nullptr) return static_cast<int>(TLV_ERR_NO_SPACE);
    const uint64_t used = kHeader + static_cast<uint64_t>(array->len);
    const uint64_t size = occupied(len, aligned);
    if (used + size > array_size) return static_cast<int>(TLV_ERR_NO_SPACE);
    uint8_t *p = array->data + array->len;
    std::memcpy(p, &type, 2);
    std::memcpy(p + 2, &len, 2);
    if (value != nullptr)
        std::memcpy(p + kHeader, value, len);
    else
        std::memset(p + kHeader, 0, len);
    std::memset(p + kHeader + len, 0, static_cast<size_t>(size - kHeader - len));
    array->len += static_cast<uint32_t>(size);
    return 0;
}

uint32_t tlv_array_count(const tlv_array_t *array, uint32_t aligned) {
    if (array == nullptr) return 0;
    uint32_t n = 0;
    for (uint64_t off = 0; off + kHeader <= array->len; ++n) {
        uint16_t type, len;
        read_header(array->data + off, type, len);
        off += occupied(len, aligned);
    }
    return n;
}

int tlv_array_next(const tlv_array_t *array, uint32_t *cursor, uint16_t *type, uint16_t *len,
                   void **value, uint32_t aligned) {
    if (array == nullptr || cursor == nullptr) return static_cast<int>(TLV_ERR_MALFORMED);
    const uint64_t off = *cursor;
    const uint64_t end = array->len;
    if (off >= end) return static_cast<int>(TLV_ERR_END);
    if (off + kHeader > end) return static_cast<int>(TLV_ERR_MALFORMED);
    uint16_t t, l;
    read_header(array->data + off, t, l);
    if (off + kHeader + l > end) return static_cast<int>(TLV_ERR_MALFORMED);
    if (type != nullptr) *type = t;
    if (len != nullptr) *len = l;
    if (value != nullptr) *value = const_cast<uint8_t *>(array->data + off + kHeader);
    const uint64_t next = off + occupied(l, aligned);
    *cursor = next > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<uint32_t>(next);
    return 0;
}
