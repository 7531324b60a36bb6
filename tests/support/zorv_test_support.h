/* SPDX-License-Identifier: Apache-2.0 */
// zorv_test_support.h - shared test helpers: reading the library's debug history and the texts
// it logs, tracked memory counters and leak checks, fault injection, building TLV arrays, values
// and messages, reading TLV arrays back, exactly-sized buffers, bitmaps, and extraction calls.
// The cache trees have their own helpers in zorv_test_cache.h.
#ifndef ZORV_TEST_SUPPORT_H
#define ZORV_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <platform/platform.h>
#include <zorv_drel.h>
#include <zorv_drel_bmp.h>

namespace zt {

constexpr uint32_t kSvc = ZORV_DREL_LIB_SERVICE_ID;

constexpr uint32_t kIf = 0x1000;  // a peer-link member in most tests
constexpr uint32_t kIf2 = 0x2000; // another interface
constexpr uint32_t kDrelId = 3;

// The source name some allocator log lines carry in place of a function name.
inline constexpr const char *kSrc = "feature/zorv/lib/drel/zorv_drel_compatcheck";

// ---- The debug history -------------------------------------------------------------------

// Every event the library's debug history holds, oldest first.
std::vector<std::string> events();
// Events that are exactly "<fn>(<line>)<text>" for some line number. `text` starts after the
// closing parenthesis, e.g. log_count("zorv_drel_lib_alloc_tlv", ": Unsupported type:3\n").
size_t log_count(std::string_view fn, std::string_view text);
// Number of logged events, whatever their prefix, whose text contains `part`.
size_t logs_containing(std::string_view part);
inline bool has_log(std::string_view fn, std::string_view text) {
    return log_count(fn, text) > 0;
}
// Expects each of `texts` as some "<fn>(<line>)<text>" event (as has_log), naming any missing.
void expect_logs(std::string_view fn, std::initializer_list<std::string> texts);
// Events equal to `text` exactly (lines without a function-and-line prefix).
size_t raw_count(std::string_view text);
inline bool has_raw(std::string_view text) {
    return raw_count(text) > 0;
}
// The debug history as one text, for failure messages.
std::string dump_events();
// What debug_history_dump writes for service `svc` (empty when it fails).
std::string history_dump(uint32_t svc);
// Some "<fn>(<line>)<text>" event whose text starts with `text_prefix` (for lines whose
// arguments are not known in advance, such as pointers).
bool has_log_prefix(std::string_view fn, std::string_view text_prefix);

// ---- Texts the library logs --------------------------------------------------------------

// `v` in lower-case hexadecimal without a prefix.
std::string hex(uint32_t v);
// "0x<code>, <the platform's text of the code>".
std::string rc_text(uint32_t rc);
// ": Failed (rc=0x..., <text>) <tail>\n".
std::string rc_text(uint32_t rc, const char *tail);
// ": failed (rc=0x..., <text>) get_next_tlv\n": the TLV walk gave up on a read.
std::string get_next_line(uint32_t rc);

// ---- Tracked memory ----------------------------------------------------------------------

// Tracked-allocator counters of the library (mem_type -1: all types).
tracked_mem_stats_t stats(int32_t mem_type = -1);
inline uint64_t live_blocks(int32_t mem_type = -1) {
    return stats(mem_type).live_blocks;
}

// Memory types whose blocks must all come back: arrays, rows, records, type-9 values, and the
// cache's own temporary values.
constexpr std::array<int32_t, 5> kTracked = {
    ZORV_DREL_LIB_MEM_tlv_array_t, ZORV_DREL_LIB_MEM_drelm_app_info_t,
    ZORV_DREL_LIB_MEM_drelm_app_cmd_extract_info_t, ZORV_DREL_LIB_MEM_member_vni_t,
    ZORV_DREL_LIB_MEM_vsi_all_t};

struct live_baseline {
    std::array<uint64_t, kTracked.size()> at{};
    live_baseline() {
        for (size_t i = 0; i < kTracked.size(); ++i)
            at[i] = live_blocks(kTracked[i]);
    }
    // No block of the tracked types is left behind.
    void expect_same(const char *where = "") const {
        for (size_t i = 0; i < kTracked.size(); ++i)
            EXPECT_EQ(live_blocks(kTracked[i]), at[i])
                << "memory type " << kTracked[i] << " " << where;
    }
};

// With `made` blocks made since `before` and still live, `unload` unloads the library (true when
// it is gone); then every one of them came back, no free was bad, and no memory type holds a
// block.
void unload_and_expect_all_returned(const tracked_mem_stats_t &before, uint64_t made,
                                    const std::function<bool()> &unload);

// The library's tracked memory and the C heap in use around a stretch of repeated calls.
struct repeat_growth {
    tracked_mem_stats_t before, after;
    size_t heap_before = 0, heap_after = 0;
};
// Calls `once` `warm_up` times (filling the log ring and warming allocator caches), then `times`
// times more, measuring around the latter.
repeat_growth measure_repeated(int warm_up, int times, const std::function<void()> &once);

// Switches fault injection off again when a test ends, whatever happened.
struct fault_guard {
    fault_guard(uint64_t skip, uint64_t count) { tracked_mem_fault_set(kSvc, skip, count); }
    ~fault_guard() { tracked_mem_fault_set(kSvc, 0, 0); }
};

// Frees a block of the library's tracked allocator.
struct tracked_deleter {
    void operator()(void *p) const { tracked_free(kSvc, p); }
};
// Frees a block of the C heap.
struct free_deleter {
    void operator()(void *p) const { std::free(p); }
};

// ---- Building TLV arrays and values ------------------------------------------------------

// A growable aligned TLV array for tests.
class tlv_buf {
  public:
    explicit tlv_buf(uint32_t capacity = 1u << 20);
    tlv_buf &add(uint16_t type, const void *value, uint16_t len);
    template <typename T> tlv_buf &add(uint16_t type, const T &v) {
        return add(type, &v, static_cast<uint16_t>(sizeof v));
    }
    tlv_array_t *get() { return reinterpret_cast<tlv_array_t *>(storage_.data()); }
    const tlv_array_t *get() const {
        return reinterpret_cast<const tlv_array_t *>(storage_.data());
    }
    uint32_t size() const { return 4u + get()->len; } // header plus TLVs
  private:
    std::vector<uint64_t> storage_; // 8-aligned backing store, zero-filled
    uint32_t capacity_;
};

inline tlv_buf &add_bytes(tlv_buf &b, uint16_t type, const std::vector<uint8_t> &v) {
    return b.add(type, v.data(), static_cast<uint16_t>(v.size()));
}
// An array of type-9 TLVs with the given values.
tlv_buf vsis(const std::vector<std::vector<uint8_t>> &values);
// An array of type-8 TLVs with the given (bd, vni) pairs.
tlv_buf memvnis(const std::vector<std::pair<uint32_t, uint32_t>> &bd_vni);

// Appends the header of a TLV that claims `claimed` value bytes of which none follow: the walk
// fails on it.
void append_cut_tlv(tlv_buf &b, uint16_t type, uint16_t claimed);

inline uint16_t aligned16(uint32_t len) {
    return static_cast<uint16_t>(tlv_aligned_size(len));
}

using pairs_t = std::vector<std::pair<uint32_t, uint32_t>>; // (vni, dot1q)

// A type-9 value with the given pairs (vni, dot1q), allowed VLANs and profile name.
std::vector<uint8_t> make_vsi_all(uint32_t if_index, uint32_t vsi, uint32_t admin,
                                  uint32_t map_mode, const pairs_t &pairs,
                                  const std::vector<uint32_t> &allowed_vlans = {},
                                  const std::string &prof_name = "");

// A type-9 value seen through its header.
inline const vsi_all_t *as_vsi(const std::vector<uint8_t> &v) {
    return reinterpret_cast<const vsi_all_t *>(v.data());
}

// A type-9 value with `count` written into dyn_map_cnt, whatever pairs it really holds.
std::vector<uint8_t> vsi_with_count(uint32_t if_index, uint32_t vsi, uint32_t admin,
                                    const pairs_t &pairs, int32_t count,
                                    uint32_t mode = ZORV_MAP_MODE_STATIC);

// A type-2 value (profile name and VLAN-to-VNI pairs); 16 KiB, so it lives on the heap.
std::unique_ptr<encap_map_t>
map_val(const std::string &name, const std::vector<std::pair<uint32_t, uint32_t>> &vlan_vni = {});

// A 256-byte type-1 wire value.
std::vector<uint8_t> name_wire(const std::string &name);
// A type-1 record as the cache holds it.
encap_name_t name_rec(const std::string &name, uint32_t id = 0);

inline member_vni_t memvni(uint32_t bd, uint32_t vni) {
    return member_vni_t{bd, vni};
}
inline vsi_admin_t admin_val(uint32_t if_index, uint32_t vsi, uint32_t admin) {
    return vsi_admin_t{if_index, vsi, admin};
}
// A type-6 value with the given allowed VLANs, or all of them.
vsi_encap_rng_t rng_val(uint32_t if_index, uint32_t vsi, const std::string &name,
                        const std::vector<uint32_t> &vlans = {}, bool all = false);

// ---- Bitmaps and VNI sets (through the library's own bitmap helper) ----------------------

// A bitmap of size 512 with the given bits set.
inline bmp4096_t bmp_of(const std::vector<uint32_t> &bits) {
    bmp4096_t b{};
    zorv::bmp::reset(b);
    for (uint32_t n : bits)
        zorv::bmp::set(b, n);
    return b;
}
inline uint32_t bmp_count(const bmp4096_t &b) {
    return zorv::bmp::count(&b);
}

// Members of a VNI set in ascending order.
inline std::vector<uint32_t> members(const bitset_t *set) {
    std::vector<uint32_t> out;
    zorv::for_each_vni(set, [&](uint32_t v) { out.push_back(v); });
    return out;
}
// A VNI set in its initial form, as the library creates them.
bitset_t *new_set();

// ---- Reading TLV arrays back -------------------------------------------------------------

// One TLV of an array, its value copied.
struct tlv_item {
    uint16_t type;
    std::vector<uint8_t> value;
};
// The TLVs of an array, walked with the platform's checked walk.
std::vector<tlv_item> tlvs(const tlv_array_t *a);

template <typename T> T read_as(const std::vector<uint8_t> &v, size_t off = 0) {
    T t{};
    std::memcpy(&t, v.data() + off, sizeof t);
    return t;
}

// Expects the TLVs of a global export, in this order: a type-1 TLV naming each of `profiles`,
// the type-2 TLV `map` (none if null), a type-8 TLV for each (bd, vni) of `bd_vni`.
void expect_global_tlvs(const std::vector<tlv_item> &t, const std::vector<std::string> &profiles,
                        const encap_map_t *map,
                        const std::vector<std::pair<uint32_t, uint32_t>> &bd_vni);

// ---- Exactly-sized buffers ---------------------------------------------------------------

// Bytes held in a heap block of exactly their size, so that any read past them is a
// sanitizer error.
class exact_buf {
  public:
    explicit exact_buf(const void *data, size_t size)
        : p_(static_cast<uint8_t *>(std::malloc(size == 0 ? 1 : size))), size_(size) {
        if (size != 0) std::memcpy(p_, data, size);
    }
    explicit exact_buf(const std::vector<uint8_t> &v) : exact_buf(v.data(), v.size()) {}
    exact_buf(const exact_buf &) = delete;
    exact_buf &operator=(const exact_buf &) = delete;
    ~exact_buf() { std::free(p_); }
    uint8_t *data() { return p_; }
    size_t size() const { return size_; }
    std::vector<uint8_t> bytes() const { return std::vector<uint8_t>(p_, p_ + size_); }
    template <typename T> T *as() { return reinterpret_cast<T *>(p_); }

  private:
    uint8_t *p_;
    size_t size_;
};

// A TLV array copied into a heap block of exactly its size (header plus TLVs), so that the
// last value ends at the block's end.
inline exact_buf exact_array(const tlv_buf &b) {
    return exact_buf(b.get(), b.size());
}

// ---- Messages and extraction -------------------------------------------------------------

// An update-record payload {is_delete, if_index, param_len, array}, optionally behind the
// 16-byte header of the header form (resp_present set).
std::vector<uint8_t> make_update(uint32_t is_delete, uint32_t if_index, const tlv_buf &array,
                                 bool with_header);

struct msg_deleter {
    void operator()(msg_t *m) const { msg_destroy(m); }
};
using msg_ptr = std::unique_ptr<msg_t, msg_deleter>;

inline msg_ptr make_msg(uint32_t opcode, const std::vector<uint8_t> &payload) {
    return msg_ptr(msg_create(opcode, payload.empty() ? nullptr : payload.data(),
                              static_cast<uint32_t>(payload.size())));
}
inline msg_ptr update_msg(uint32_t is_delete, uint32_t if_index, const tlv_buf &array,
                          bool with_header = true) {
    return make_msg(with_header ? ZORV_DREL_OPC_TYPE1_UPD_HDR : ZORV_DREL_OPC_TYPE1_UPD,
                    make_update(is_delete, if_index, array, with_header));
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
        if (!array_untouched() && array != nullptr) tracked_free(kSvc, array);
        if (!info_untouched() && info != nullptr) tracked_free(kSvc, info);
        array = reinterpret_cast<tlv_array_t *>(kUntouched);
        info = reinterpret_cast<drelm_app_cmd_extract_info_t *>(kUntouched);
    }
};

inline void extract(const msg_t *m, extraction &x) {
    x.rc = zorv_drel_type1_cfg_param_extractor(m, &x.array, &x.num, &x.reserved, &x.info);
}

} // namespace zt

#endif
