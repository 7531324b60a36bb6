// zorv_drel_internal.h - what every source file of the library shares and nothing outside sees:
// the debug-history logging macros, tracked scratch memory, bit helpers of bmp4096_t and the one
// checked way to walk a TLV array or read a type-9 value.
#ifndef ZORV_DREL_INTERNAL_H
#define ZORV_DREL_INTERNAL_H

#include <cstdint>
#include <cstring>
#include <memory>
#include <span>

#include <platform/platform.h>

#include "zorv_drel.h"

namespace zorv {

// ---- Logging -------------------------------------------------------------------------------

// Source name that a few log lines carry in place of the function name.
inline constexpr const char *kCompatcheckSource = "feature/zorv/lib/drel/zorv_drel_compatcheck";

// Opens the debug-history buffers on first use (retried until one open succeeds).
void logbuf_ready() noexcept;

} // namespace zorv

// ZLOG("%s(%d): text %d\n", x): the format carries the "%s(%d)" prefix; it is filled with the
// calling function's name and line. ZLOG_AS names another function (for shared helpers that
// log on behalf of an exported operation), ZLOG_SRC puts the source file name there, and
// ZLOG_RAW logs a format with no prefix at all.
#define ZLOG_RAW(...)                                                                              \
    (::zorv::logbuf_ready(), (void)debug_history_log(ZORV_DREL_LIB_SERVICE_ID, 0, 0, __VA_ARGS__))
#define ZLOG_AS(fn, fmt, ...) ZLOG_RAW(fmt, fn, __LINE__ __VA_OPT__(, ) __VA_ARGS__)
#define ZLOG(fmt, ...) ZLOG_AS(__func__, fmt __VA_OPT__(, ) __VA_ARGS__)
#define ZLOG_SRC(fmt, ...) ZLOG_AS(::zorv::kCompatcheckSource, fmt __VA_OPT__(, ) __VA_ARGS__)

namespace zorv {

// ---- Tracked memory ------------------------------------------------------------------------

// Frees a tracked block of the library when it goes out of scope.
struct tracked_deleter {
    void operator()(void *p) const noexcept { tracked_free(ZORV_DREL_LIB_SERVICE_ID, p); }
};
template <typename T> using tracked_ptr = std::unique_ptr<T, tracked_deleter>;

// A zero-filled tracked block of `size` bytes as T, or null.
template <typename T>
tracked_ptr<T> tracked_calloc(uint32_t mem_type, uint32_t size = sizeof(T)) noexcept {
    return tracked_ptr<T>(static_cast<T *>(zorv_drel_lib_calloc(mem_type, size)));
}

// ---- bmp4096_t bits ------------------------------------------------------------------------

constexpr uint8_t bit_mask(uint32_t n) noexcept {
    return static_cast<uint8_t>(0x80u >> (n & 7u));
}
inline bool bmp_test(const bmp4096_t &b, uint32_t n) noexcept {
    return n < 4096u && (b.bits[n >> 3] & bit_mask(n)) != 0;
}
// Setting or clearing a bit at or above 4096 does nothing: a bitmap is never written past its end.
inline void bmp_set(bmp4096_t &b, uint32_t n) noexcept {
    if (n < 4096u) b.bits[n >> 3] |= bit_mask(n);
}
inline void bmp_clear(bmp4096_t &b, uint32_t n) noexcept {
    if (n < 4096u) b.bits[n >> 3] &= static_cast<uint8_t>(~bit_mask(n));
}
inline void bmp_reset(bmp4096_t &b) noexcept {
    b.len = 512;
    std::memset(b.bits, 0, sizeof b.bits);
}

// Copies at most 255 characters of a NUL-terminated name into a 256-byte field, NUL-padded.
inline void copy_name(char (&dst)[ZORV_NAME_LEN], const char *src) noexcept {
    const size_t len = src != nullptr ? strnlen(src, ZORV_NAME_LEN - 1) : 0;
    if (len != 0) std::memcpy(dst, src, len);
    std::memset(dst + len, 0, sizeof dst - len);
}

// ---- Checked TLV walking -------------------------------------------------------------------

// One TLV as the walk yields it: value points into the array and holds exactly len bytes.
struct tlv {
    uint16_t type;
    uint16_t len;
    const void *value;
};

// Walks an aligned TLV array. Every TLV is bounds-checked by the platform before it is
// yielded, so no caller can read a header or value outside data[0 .. len).
class tlv_walker {
  public:
    explicit tlv_walker(const tlv_array_t *array) noexcept : array_(array) {}
    // 0 and the next TLV in `out`, TLV_ERR_END after the last one, or the platform's error
    // (TLV_ERR_MALFORMED for a TLV that runs past the array).
    int next(tlv &out) noexcept {
        void *value = nullptr;
        int rc = tlv_array_next(array_, &cursor_, &out.type, &out.len, &value, 1);
        out.value = rc == 0 ? value : nullptr;
        return rc;
    }
    // next(), logging a failure on behalf of `fn` as the walks of whole arrays do.
    int next_logged(tlv &out, const char *fn) noexcept {
        const int rc = next(out);
        if (rc != 0)
            ZLOG_AS(fn, "%s(%d): Failed (rc=0x%x, %s) to retrieve tlv\n", static_cast<unsigned>(rc),
                    error_to_string(static_cast<uint32_t>(rc)));
        return rc;
    }
    uint32_t count() const noexcept { return tlv_array_count(array_, 1); }

  private:
    const tlv_array_t *array_;
    uint32_t cursor_ = 0;
};

// Checks that an array received inside `avail` bytes holds its own header and the `len` bytes
// of TLVs that the header claims.
inline bool tlv_array_fits(const tlv_array_t *array, uint64_t avail) noexcept {
    return array != nullptr && avail >= sizeof(uint32_t) && uint64_t{array->len} + 4u <= avail;
}

// The fixed value length of a type-1 type (type 9: without its pairs); 0 for an unknown type.
constexpr uint32_t fixed_value_len(uint16_t type) noexcept {
    switch (type) {
    case ZORV_TYPE1_GBL_ENCAP_PROFILE: return ZORV_ENCAP_NAME_WIRE_LEN;
    case ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP: return ZORV_ENCAP_MAP_LEN;
    case ZORV_TYPE1_INTF_VSI_ADMIN: return ZORV_VSI_ADMIN_LEN;
    case ZORV_TYPE1_INTF_VSI_ENCAP_PROF: return ZORV_VSI_ENCAP_RNG_LEN;
    case ZORV_TYPE1_INTF_VSI_ENCAP_DOT1Q_MAP: return ZORV_VSI_ENCAP_DOT1Q_MAP_LEN;
    case ZORV_TYPE1_GBL_MEMBER_VNI: return ZORV_MEMBER_VNI_LEN;
    case ZORV_TYPE1_INTF_VSI_ATTRIBUTES: return ZORV_VSI_ALL_FIXED_LEN;
    default: return 0;
    }
}

// A type-9 value, checked against its length: the pairs, the allowed-VLAN bitmap and the
// profile name all lie inside the value.
struct vsi_all_view {
    const vsi_all_t *head = nullptr;      // if_index, vsi, admin, map_mode, dyn_map_cnt
    std::span<const vsi_dyn_map_t> pairs; // dyn_map_cnt pairs (none for a count taken as none)
    const vsi_all_tail_t *tail = nullptr; // dot1q_bmp, prof_name; null when not required
};

// Why a type-9 value could not be read.
enum class vsi_all_fault { none, null_value, too_short, negative_count, count_past_end };

// What a reader of a type-9 value requires of it.
struct vsi_all_rules {
    bool tail = true;               // the allowed-VLAN bitmap and profile name lie behind the pairs
    bool nonpositive_empty = false; // a count of 0 or less means no pairs, else negative is refused
};

// Bytes a type-9 value must hold before its count is looked at.
constexpr uint32_t vsi_all_head_len(const vsi_all_rules &rules) noexcept {
    return rules.tail ? ZORV_VSI_ALL_FIXED_LEN : static_cast<uint32_t>(sizeof(vsi_all_t));
}

// Reads a type-9 value of `len` bytes. The count is taken before anything behind offset 20
// is touched; a count whose pairs (and tail, when the rules ask for it) do not fit in `len` is
// refused. A count the rules take as no pairs puts the tail right behind the head.
inline vsi_all_fault parse_vsi_all(const void *value, uint32_t len, vsi_all_view &out,
                                   const vsi_all_rules &rules = {}) noexcept {
    out = {};
    if (value == nullptr) return vsi_all_fault::null_value;
    if (len < vsi_all_head_len(rules)) return vsi_all_fault::too_short;
    const auto *head = static_cast<const vsi_all_t *>(value);
    auto count = static_cast<int32_t>(head->dyn_map_cnt);
    if (count < 0 && !rules.nonpositive_empty) return vsi_all_fault::negative_count;
    if (count < 0) count = 0;
    if (uint64_t{vsi_all_head_len(rules)} + 8u * uint64_t(count) > len)
        return vsi_all_fault::count_past_end;
    out.head = head;
    out.pairs = {head->dyn_map, static_cast<size_t>(count)};
    if (rules.tail) out.tail = ZORV_VSI_ALL_TAIL(const_cast<vsi_all_t *>(head), count);
    return vsi_all_fault::none;
}

// Whether `len` bytes at `value` hold a whole value of `type`: its fixed record and, for type 9,
// every pair its count claims. A type without a record (unknown) has nothing to hold.
inline bool value_fits(uint16_t type, const void *value, uint32_t len) noexcept {
    if (type == ZORV_TYPE1_INTF_VSI_ATTRIBUTES) {
        vsi_all_view view;
        return parse_vsi_all(value, len, view) == vsi_all_fault::none;
    }
    const uint32_t need = fixed_value_len(type);
    return need == 0 || (value != nullptr && len >= need);
}

// Length that a type-9 value claims through its count: 792 + 8 * dyn_map_cnt (count >= 0).
inline uint32_t vsi_all_len(uint32_t dyn_map_cnt) noexcept {
    return ZORV_VSI_ALL_FIXED_LEN + 8u * dyn_map_cnt;
}

// Valid dyn_map pair: VLAN 1..4095 and VNI 1..0xFFFFFF.
constexpr bool valid_pair(uint32_t dot1q, uint32_t vni) noexcept {
    return dot1q >= 1 && dot1q <= 4095 && vni >= 1 && vni <= ZORV_VNI_MAX;
}

// Map mode of an interface node's four flags, first match wins: VDP, DFS, VMT, LLDP, static.
inline uint32_t map_mode_of(const if_cfg_avl_node_t &n) noexcept {
    if (n.vdp) return ZORV_MAP_MODE_VDP;
    if (n.dfs) return ZORV_MAP_MODE_DFS;
    if (n.vmt) return ZORV_MAP_MODE_VMT;
    if (n.lldp) return ZORV_MAP_MODE_LLDP;
    return ZORV_MAP_MODE_STATIC;
}

// The nodes of a tree in order, as T: for (auto *n : zorv::tree_nodes<const T>(tree)).
// The current node must stay in the tree until the loop has moved past it.
template <typename T> class tree_nodes {
  public:
    explicit tree_nodes(const tree_t *tree) noexcept : tree_(tree) {}
    class iterator {
      public:
        iterator(const tree_t *tree, T *node) noexcept : tree_(tree), node_(node) {}
        T *operator*() const noexcept { return node_; }
        iterator &operator++() noexcept {
            node_ = static_cast<T *>(tree_next(tree_, node_));
            return *this;
        }
        bool operator!=(const iterator &o) const noexcept { return node_ != o.node_; }

      private:
        const tree_t *tree_;
        T *node_;
    };
    iterator begin() const noexcept { return {tree_, static_cast<T *>(tree_first(tree_))}; }
    iterator end() const noexcept { return {tree_, nullptr}; }

  private:
    const tree_t *tree_;
};

// Builds the type-9 value of an interface node into `value` (zero-filled, 792 + 8 * dyn_map_cnt
// bytes, dyn_map_cnt within what a TLV can carry), logging the pairs on behalf of `fn`.
void fill_vsi_all(const char *fn, const if_cfg_avl_node_t &node, uint32_t if_index,
                  vsi_all_t &value) noexcept;

// A VNI set in its initial form: a malloc'd 1028-byte block, first u32 1024, the rest zero.
// Aborts the process when the memory cannot be had.
bitset_t *vni_set_create() noexcept;

// Releases the process-wide working sets of the failed-set operations; called at unload.
void release_working_sets() noexcept;

} // namespace zorv

#endif
