// params_test_util.h - helpers shared by the tests of extraction, cache update, rebuild, export
// and rendering: value builders, messages, extraction calls, tree walks and leak checks.
#ifndef PARAMS_TEST_UTIL_H
#define PARAMS_TEST_UTIL_H

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zorv_test_support.h"

namespace pt {

constexpr uint32_t kIf = 0x1000;  // a peer-link member in most tests
constexpr uint32_t kIf2 = 0x2000; // another interface
constexpr uint32_t kDrelId = 3;

// Memory types whose blocks must all come back: arrays, rows, records, type-9 values, and the
// cache's own temporary values.
constexpr std::array<int32_t, 5> kTracked = {3, 4, 5, 6, 14};

struct live_baseline {
    std::array<uint64_t, kTracked.size()> at{};
    live_baseline() {
        for (size_t i = 0; i < kTracked.size(); ++i)
            at[i] = zt::live_blocks(kTracked[i]);
    }
    // No block of the tracked types is left behind.
    void expect_same(const char *where = "") const {
        for (size_t i = 0; i < kTracked.size(); ++i)
            EXPECT_EQ(zt::live_blocks(kTracked[i]), at[i])
                << "memory type " << kTracked[i] << " " << where;
    }
};

// Every node of a tree in tree order.
template <typename T> std::vector<T *> walk(const tree_t *tree) {
    std::vector<T *> out;
    for (void *n = tree_first(tree); n != nullptr; n = tree_next(tree, n))
        out.push_back(static_cast<T *>(n));
    return out;
}

inline std::vector<if_cfg_avl_node_t *> if_nodes() {
    return walk<if_cfg_avl_node_t>(zorv_drel_if_cfg_avl);
}
inline std::vector<gbl_cfg_memvni_avl_node_t *> memvni_nodes() {
    return walk<gbl_cfg_memvni_avl_node_t>(zorv_drel_gbl_cfg_memvni_avl);
}
inline std::vector<gbl_cfg_avl_node_t *> gbl_nodes() {
    return walk<gbl_cfg_avl_node_t>(zorv_drel_gbl_cfg_avl);
}
inline if_cfg_avl_node_t *if_node(uint32_t if_index, uint32_t vsi) {
    for (auto *n : if_nodes())
        if (n->if_index == if_index && n->vsi_id == vsi) return n;
    return nullptr;
}
inline gbl_cfg_memvni_avl_node_t *memvni_node(uint32_t vni) {
    for (auto *n : memvni_nodes())
        if (n->vni == vni) return n;
    return nullptr;
}
inline gbl_cfg_avl_node_t *gbl_node(const std::string &name) {
    for (auto *n : gbl_nodes())
        if (name == n->map.encap_name) return n;
    return nullptr;
}

inline void bmp_on(bmp4096_t &b, uint32_t v) {
    b.bits[v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
}
inline bool bmp_has(const bmp4096_t &b, uint32_t v) {
    return (b.bits[v / 8] & (0x80u >> (v % 8))) != 0;
}

inline vsi_encap_rng_t rng_val(uint32_t if_index, uint32_t vsi, const std::string &name,
                               const std::vector<uint32_t> &vlans = {}) {
    vsi_encap_rng_t r{};
    r.if_index = if_index;
    r.vsi = vsi;
    std::strncpy(r.encap_name, name.c_str(), sizeof r.encap_name - 1);
    r.dot1q_bmp.len = 512;
    for (uint32_t v : vlans)
        bmp_on(r.dot1q_bmp, v);
    return r;
}

// A 256-byte type-1 wire value.
inline std::vector<uint8_t> name_wire(const std::string &name) {
    std::vector<uint8_t> v(ZORV_ENCAP_NAME_WIRE_LEN, 0);
    std::memcpy(v.data(), name.data(), std::min<size_t>(name.size(), v.size()));
    return v;
}

using zt::map_val;

inline zt::tlv_buf &add_bytes(zt::tlv_buf &b, uint16_t type, const std::vector<uint8_t> &v) {
    return b.add(type, v.data(), static_cast<uint16_t>(v.size()));
}

// A copy of an array in a heap block of exactly its size, so that a read past it is caught.
inline std::vector<uint8_t> exact_copy(const zt::tlv_buf &b) {
    std::vector<uint8_t> v(b.size());
    std::memcpy(v.data(), b.get(), v.size());
    return v;
}
inline const tlv_array_t *as_array(const std::vector<uint8_t> &v) {
    return reinterpret_cast<const tlv_array_t *>(v.data());
}

// Appends the header of a TLV that claims `claimed` value bytes of which none follow: the walk
// fails on it.
inline void append_cut_tlv(zt::tlv_buf &b, uint16_t type, uint16_t claimed) {
    tlv_array_t *a = b.get();
    uint8_t *at = a->data + a->len;
    std::memcpy(at, &type, 2);
    std::memcpy(at + 2, &claimed, 2);
    a->len += 4;
}

struct msg_deleter {
    void operator()(msg_t *m) const { msg_destroy(m); }
};
using msg_ptr = std::unique_ptr<msg_t, msg_deleter>;

inline msg_ptr make_msg(uint32_t opcode, const std::vector<uint8_t> &payload) {
    return msg_ptr(msg_create(opcode, payload.empty() ? nullptr : payload.data(),
                              static_cast<uint32_t>(payload.size())));
}
inline msg_ptr update_msg(uint32_t is_delete, uint32_t if_index, const zt::tlv_buf &array,
                          bool with_header = true) {
    return make_msg(with_header ? ZORV_DREL_OPC_TYPE1_UPD_HDR : ZORV_DREL_OPC_TYPE1_UPD,
                    zt::make_update(is_delete, if_index, array, with_header));
}

// Outputs of one extraction; the arrays are freed with the holder.
struct extraction {
    static constexpr uintptr_t kUntouched = 0x5a5a5a5a;
    uint32_t rc = 0xFFFFFFFFu;
    tlv_array_t *array = reinterpret_cast<tlv_array_t *>(kUntouched);
    uint32_t num = 0xA5A5A5A5u;
    uint32_t reserved = 0xA5A5A5A5u;
    drelm_app_cmd_extract_info_t *info =
        reinterpret_cast<drelm_app_cmd_extract_info_t *>(kUntouched);

    extraction() = default;
    extraction(const extraction &) = delete;
    extraction &operator=(const extraction &) = delete;
    ~extraction() { release(); }
    bool array_untouched() const { return reinterpret_cast<uintptr_t>(array) == kUntouched; }
    bool info_untouched() const { return reinterpret_cast<uintptr_t>(info) == kUntouched; }
    void release() {
        if (!array_untouched() && array != nullptr) tracked_free(zt::kSvc, array);
        if (!info_untouched() && info != nullptr) tracked_free(zt::kSvc, info);
        array = reinterpret_cast<tlv_array_t *>(kUntouched);
        info = reinterpret_cast<drelm_app_cmd_extract_info_t *>(kUntouched);
    }
};

inline void extract(const msg_t *m, extraction &x) {
    x.rc = zorv_drel_type1_cfg_param_extractor(m, &x.array, &x.num, &x.reserved, &x.info);
}

// Log-line helpers for lines whose arguments are not known in advance (pointers).
inline bool has_log_prefix(std::string_view fn, std::string_view text_prefix) {
    for (const auto &e : zt::events()) {
        std::string_view v(e);
        if (v.substr(0, fn.size()) != fn || v.size() <= fn.size() || v[fn.size()] != '(') continue;
        const size_t close = v.find(')', fn.size());
        if (close == std::string_view::npos) continue;
        if (v.substr(close + 1, text_prefix.size()) == text_prefix) return true;
    }
    return false;
}

// "Failed (rc=0x..., <text>) to ..." with the platform's text of the code.
inline std::string rc_text(uint32_t rc, const char *tail) {
    char buf[512];
    std::snprintf(buf, sizeof buf, ": Failed (rc=0x%x, %s) %s\n", rc, error_to_string(rc), tail);
    return buf;
}

// The TLVs of an array as (type, value bytes).
inline std::vector<std::pair<uint16_t, std::vector<uint8_t>>> tlvs_of(const tlv_array_t *a) {
    std::vector<std::pair<uint16_t, std::vector<uint8_t>>> out;
    uint32_t cursor = 0;
    uint16_t type = 0, len = 0;
    void *value = nullptr;
    while (tlv_array_next(a, &cursor, &type, &len, &value, 1) == 0) {
        const auto *p = static_cast<const uint8_t *>(value);
        out.emplace_back(type, std::vector<uint8_t>(p, p + len));
    }
    return out;
}

template <typename T> T read_as(const std::vector<uint8_t> &v, size_t off = 0) {
    T t{};
    std::memcpy(&t, v.data() + off, sizeof t);
    return t;
}

} // namespace pt

#endif
