// SPDX-License-Identifier: Apache-2.0
// zorv_drel_text.cpp - type-1 values and VLAN sets as short texts, integer and range utilities.
// Every renderer owns one fixed global buffer and returns it; nothing is allocated.
#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "zorv_drel_internal.h"

char zorv_vlan_bmp_str_buf[16384];
char zorv_if_vsi_all_str_buf[256];
char zorv_gbl_encap_map_str_buf[256];
char zorv_gbl_memvni_str_buf[256];
char zorv_if_encap_range_str_buf[256];

namespace {

constexpr uint32_t kEncapMapMax = 255;   // limit of the name prefix, reported as "max"
constexpr uint32_t kEncapMapLimit = 254; // pieces stop before the text would pass this

// Length of what snprintf wrote into a buffer of `size` bytes (never more than size - 1).
uint32_t written(int rc, size_t size) noexcept {
    if (rc < 0) return 0;
    return static_cast<uint32_t>(static_cast<size_t>(rc) < size ? rc : size - 1);
}

// Appends one "dot1q,vni " piece unless the running length would pass the limit; false stops.
bool append_pair(uint32_t dot1q, uint32_t vni, uint32_t &tlen) noexcept {
    char *str = zorv_gbl_encap_map_str_buf;
    char tmp_str[16];
    const uint32_t len = written(std::snprintf(tmp_str, sizeof tmp_str, "%d,%d ",
                                               static_cast<int>(dot1q), static_cast<int>(vni)),
                                 sizeof tmp_str);
    ZLOG_AS("zorv_drel_gbl_tlv_encap_map_to_str",
            "%s(%d): tmp_str:%s gbl_encap_str:%s, str:%s, tlen:%d, len:%d, max:%d\n", tmp_str,
            zorv_gbl_encap_map_str_buf, str, static_cast<int>(tlen), static_cast<int>(len),
            static_cast<int>(kEncapMapMax));
    if (tlen + len > kEncapMapLimit) return false;
    // Appended at the end of the text: with the name prefix the running length is one ahead.
    std::memcpy(str + std::strlen(str), tmp_str, len + 1);
    ZLOG_AS("zorv_drel_gbl_tlv_encap_map_to_str", "%s(%d): str:%s, tlen:%d, len:%d\n", str,
            static_cast<int>(tlen), static_cast<int>(len));
    tlen += len;
    return true;
}

// snprintf into a fixed buffer whose texts are cut on purpose when they do not fit.
__attribute__((format(printf, 3, 4))) void cut_format(char *buf, size_t size, const char *fmt,
                                                      ...) noexcept {
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(buf, size, fmt, ap);
    va_end(ap);
}

// Copies the text `s` (without its NUL) to `dst`; returns the end of what was written.
template <size_t N> char *put(char *dst, const char (&s)[N]) noexcept {
    std::memcpy(dst, s, N - 1);
    return dst + N - 1;
}

const char *true_false(bool b) noexcept {
    return b ? "TRUE" : "FALSE";
}

// Formats one range ("%d" or "%d-%d") and appends it behind `sep`; see the two printers.
int32_t mrange_print(char *dst, uint32_t size, const zorv_mrange_t *list,
                     const char *sep) noexcept {
    if (list == nullptr || list->count == 0) return 0;
    if (dst == nullptr) return -1;
    const uint32_t sep_len = static_cast<uint32_t>(std::strlen(sep));
    uint64_t counter = 1;
    for (uint32_t i = 0; i < list->count; ++i) {
        const zorv_range_t &r = list->ranges[i];
        char piece[256];
        const int rc = r.first == r.last
                           ? std::snprintf(piece, sizeof piece, "%d", static_cast<int>(r.first))
                           : std::snprintf(piece, sizeof piece, "%d-%d", static_cast<int>(r.first),
                                           static_cast<int>(r.last));
        const uint32_t len = written(rc, sizeof piece);
        if (counter + len + 3 > size) return -1;
        // The counter ignores what dst held before; never write past `size` all the same.
        const size_t have = strnlen(dst, size);
        const size_t add = (i > 0 ? sep_len : 0) + len;
        if (have + add + 1 > size) return -1;
        if (i > 0) {
            std::memcpy(dst + have, sep, sep_len);
            counter += sep_len;
        }
        std::memcpy(dst + have + (i > 0 ? sep_len : 0), piece, len + 1);
        counter += len;
    }
    return static_cast<int32_t>(counter - 1);
}

} // namespace

char *zorv_drel_gbl_tlv_memvni_to_str(const member_vni_t *value) {
    zorv_gbl_memvni_str_buf[0] = '\0';
    if (value == nullptr) return zorv_gbl_memvni_str_buf;
    // "BD:%d VNI:%d", put together without the formatter: it runs once per printable row.
    char bd[12], vni[12]; // an int takes at most 11 characters
    const char *bd_end = std::to_chars(bd, bd + sizeof bd, static_cast<int>(value->bd)).ptr;
    const char *vni_end = std::to_chars(vni, vni + sizeof vni, static_cast<int>(value->vni)).ptr;
    char *p = put(zorv_gbl_memvni_str_buf, "BD:");
    p = std::copy(std::cbegin(bd), bd_end, p);
    p = std::copy(std::cbegin(vni), vni_end, put(p, " VNI:"));
    *p = '\0';
    return zorv_gbl_memvni_str_buf;
}

char *zorv_drel_if_tlv_encap_range_to_str(const vsi_encap_rng_t *value) {
    zorv_if_encap_range_str_buf[0] = '\0';
    if (value == nullptr) return zorv_if_encap_range_str_buf;
    char name[ZORV_NAME_LEN] = {};
    std::memcpy(name, value->encap_name, strnlen(value->encap_name, sizeof name - 1));
    cut_format(zorv_if_encap_range_str_buf, sizeof zorv_if_encap_range_str_buf, "%d:%s",
               static_cast<int>(value->vsi), name);
    return zorv_if_encap_range_str_buf;
}

char *zorv_drel_lib_dot1q_map_to_str(const bmp4096_t *bitmap) {
    char *out = zorv_vlan_bmp_str_buf;
    out[0] = '\0';
    if (bitmap == nullptr) return out;
    size_t pos = 0;
    uint32_t v = 0;
    while (v < ZORV_DOT1Q_COUNT) {
        if (!zorv::bmp::test(*bitmap, v)) {
            ++v;
            continue;
        }
        uint32_t last = v;
        while (last + 1 < ZORV_DOT1Q_COUNT && zorv::bmp::test(*bitmap, last + 1))
            ++last;
        const char *sep = pos == 0 ? "" : ",";
        const int rc = v == last
                           ? std::snprintf(out + pos, sizeof zorv_vlan_bmp_str_buf - pos, "%s%d",
                                           sep, static_cast<int>(v))
                           : std::snprintf(out + pos, sizeof zorv_vlan_bmp_str_buf - pos, "%s%d-%d",
                                           sep, static_cast<int>(v), static_cast<int>(last));
        pos += written(rc, sizeof zorv_vlan_bmp_str_buf - pos);
        v = last + 1;
    }
    return out;
}

char *zorv_drel_gbl_tlv_encap_map_to_str(const encap_map_t *dot1q_map, const vsi_all_t *vsi_all) {
    char *str = zorv_gbl_encap_map_str_buf;
    std::memset(str, 0, sizeof zorv_gbl_encap_map_str_buf);
    uint32_t tlen = 0;
    if (dot1q_map != nullptr) {
        char name[ZORV_NAME_LEN] = {};
        std::memcpy(name, dot1q_map->encap_name, strnlen(dot1q_map->encap_name, sizeof name - 1));
        tlen = written(std::snprintf(str, kEncapMapMax, "%s:", name), kEncapMapMax) + 1;
        for (uint32_t q = 0; q < ZORV_DOT1Q_COUNT; ++q) {
            if (dot1q_map->dot1q_vni[q] == 0) continue;
            if (!append_pair(q, dot1q_map->dot1q_vni[q], tlen)) break;
        }
    } else if (vsi_all != nullptr && static_cast<int32_t>(vsi_all->dyn_map_cnt) >= 1) {
        const auto n = static_cast<int32_t>(vsi_all->dyn_map_cnt);
        for (int32_t i = 0; i < n; ++i)
            if (!append_pair(vsi_all->dyn_map[i].dot1q, vsi_all->dyn_map[i].vni, tlen)) break;
    }
    str[tlen] = '\0';
    ZLOG("%s(%d): tlen:%d, encap_map:%s\n", static_cast<int>(tlen), str);
    return str;
}

char *zorv_drel_if_tlv_vsi_all_to_str(const vsi_all_t *value) {
    char *out = zorv_if_vsi_all_str_buf;
    std::memset(out, 0, sizeof zorv_if_vsi_all_str_buf);
    uint32_t ver = 0;
    drelm_api_get_pelk_oper_ver(&ver, 1);
    if (value != nullptr) {
        const uint32_t mode = value->map_mode;
        const char *admin = value->admin != 0 ? "Up" : "Down";
        // Both renderers below own their buffers, so their texts survive until we are done.
        const char *map = zorv_drel_gbl_tlv_encap_map_to_str(nullptr, value);
        if (ver > 39) {
            // Only a newer peer's value carries the bitmap and name behind its pairs.
            const auto n = static_cast<int32_t>(value->dyn_map_cnt);
            const vsi_all_tail_t *tail = ZORV_VSI_ALL_TAIL(value, n < 0 ? 0 : n);
            char prof_name[ZORV_NAME_LEN] = {};
            std::memcpy(prof_name, tail->prof_name, strnlen(tail->prof_name, sizeof prof_name - 1));
            const char *allowed = zorv_drel_lib_dot1q_map_to_str(&tail->dot1q_bmp);
            cut_format(out, sizeof zorv_if_vsi_all_str_buf,
                       "Vsi:%d Admin:%s Map:%s VDP:%s VMT:%s DFS:%s LLDP:%s AllwdDot1q: %s "
                       "ProfName: %s",
                       static_cast<int>(value->vsi), admin, map,
                       true_false(mode == ZORV_MAP_MODE_VDP), true_false(mode == ZORV_MAP_MODE_VMT),
                       true_false(mode == ZORV_MAP_MODE_DFS),
                       true_false(mode == ZORV_MAP_MODE_LLDP), allowed, prof_name);
        } else {
            cut_format(out, sizeof zorv_if_vsi_all_str_buf, "Vsi:%d Admin:%s Map:%s VDP:%s DFS:%s",
                       static_cast<int>(value->vsi), admin, map,
                       true_false(mode == ZORV_MAP_MODE_VDP),
                       true_false(mode == ZORV_MAP_MODE_DFS));
        }
    }
    ZLOG("%s(%d): %s\n", out);
    return out;
}

int zorv_drel_lib_print_vlan_bmp(const bmp4096_t *bitmap, const char *tag) {
    const char *caption = tag != nullptr ? tag : "";
    zorv::logbuf_ready();
    debug_history_log(ZORV_DREL_LIB_SERVICE_ID, 0, 0, "%s(%d): %s\n", __func__, __LINE__, caption);
    if (bitmap != nullptr) {
        for (uint32_t v = 0; v < ZORV_DOT1Q_COUNT; ++v) {
            zorv::logbuf_ready();
            debug_history_log(ZORV_DREL_LIB_SERVICE_ID, 0, 0, "%s",
                              zorv::bmp::test(*bitmap, v) ? "1" : "0");
        }
    }
    zorv::logbuf_ready();
    return debug_history_log(ZORV_DREL_LIB_SERVICE_ID, 0, 0, "%s(%d): End %s\n", __func__, __LINE__,
                             caption);
}

int32_t zorv_int_strlen(int32_t n) {
    int32_t digits = 1;
    for (int32_t limit = 9; digits < 9 && n > limit; limit = limit * 10 + 9)
        ++digits;
    return digits;
}

uint32_t zorv_int_mrange_strlen(const zorv_mrange_t *list) {
    if (list == nullptr || list->count == 0) return 0;
    uint32_t len = 0;
    for (uint32_t i = 0; i < list->count; ++i) {
        const zorv_range_t &r = list->ranges[i];
        len += static_cast<uint32_t>(zorv_int_strlen(static_cast<int32_t>(r.first)));
        if (r.first != r.last)
            len += 1 + static_cast<uint32_t>(zorv_int_strlen(static_cast<int32_t>(r.last)));
        if (i > 0) len += 2;
    }
    return len;
}

int32_t zorv_int_mrange_snprintf(char *dst, uint32_t size, const zorv_mrange_t *list) {
    return mrange_print(dst, size, list, ", ");
}

int32_t zorv_int_bd_mrange_snprintf(char *dst, uint32_t size, const zorv_mrange_t *list) {
    return mrange_print(dst, size, list, ",");
}

uint32_t zorv_get_native_vlan_for_port(void) {
    return 1;
}

uint32_t zorv_valid_if_index(uint32_t if_index) {
    const uint32_t type = ifindex_type_get(if_index);
    if (type != 22 && type != 26 && type != 29 && type != 31) return 0;
    uint32_t mode = 0;
    if (ifmgr_layer_mode_list_get(1, &if_index, &mode) != 0) return 0;
    return mode == 2 ? 1 : 0;
}
