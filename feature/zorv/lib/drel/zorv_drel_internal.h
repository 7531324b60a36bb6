/* SPDX-License-Identifier: Apache-2.0 */
// zorv_drel_internal.h - what every source file of the library shares and nothing outside sees:
// the debug-history logging macros, tracked scratch memory and the one checked way to walk a
// TLV array. The type table and value check are in zorv_drel_types.h, the bitmap helper in
// zorv_drel_bmp.h, the cache trees in zorv_drel_trees.h.
#ifndef ZORV_DREL_INTERNAL_H
#define ZORV_DREL_INTERNAL_H

#include <cstdint>
#include <cstring>
#include <memory>
#include <span>

#include <platform/platform.h>

#include "zorv_drel.h"
#include "zorv_drel_bmp.h"
#include "zorv_drel_types.h"

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

// Copies at most 255 characters of a NUL-terminated name into a 256-byte field, NUL-padded.
inline void copy_name(char (&dst)[ZORV_NAME_LEN], const char *src) noexcept {
    const size_t len = src != nullptr ? strnlen(src, ZORV_NAME_LEN - 1) : 0;
    if (len != 0) std::memcpy(dst, src, len);
    std::memset(dst + len, 0, sizeof dst - len);
}

// A 256-byte name field as a text for a log line: all of its bytes, terminated, whether or not
// the field holds a terminator of its own.
struct name_text {
    char text[ZORV_NAME_LEN + 1];
    explicit name_text(const char *field) noexcept {
        const size_t len = field != nullptr ? strnlen(field, ZORV_NAME_LEN) : 0;
        if (len != 0) std::memcpy(text, field, len);
        text[len] = '\0';
    }
};

// ---- Checked TLV walking -------------------------------------------------------------------

// One TLV as the walk yields it: value points into the array and holds exactly len bytes.
struct tlv {
    uint16_t type;
    uint16_t len;
    const void *value;
};

// Walks an aligned TLV array. Every TLV is bounds-checked by the platform before it is
// yielded, so no caller can read a header or value outside data[0 .. len).
//
// As a range, for (const tlv &t : w), it yields the TLVs of the array in order, at most
// count() of them (the TLVs whose headers lie inside the array: every walk of the library
// logs, sizes or pairs by that number), and stops at the first fault, which fault() tells
// afterwards. The check drivers, which pair two arrays in step, call next() instead.
class tlv_walker {
  public:
    explicit tlv_walker(const tlv_array_t *array) noexcept
        : array_(array), count_(tlv_array_count(array, 1)) {}
    // 0 and the next TLV in `out`, TLV_ERR_END after the last one, or the platform's error
    // (TLV_ERR_MALFORMED for a TLV that runs past the array).
    int next(tlv &out) noexcept {
        void *value = nullptr;
        int rc = tlv_array_next(array_, &cursor_, &out.type, &out.len, &value, 1);
        out.value = rc == 0 ? value : nullptr;
        return rc;
    }
    // TLVs whose headers lie inside the array.
    uint32_t count() const noexcept { return count_; }
    // 0 when the range ended after its last TLV, else the platform's code that stopped it.
    int fault() const noexcept { return fault_; }
    // fault(), logged on behalf of `fn` as the walks of whole arrays do.
    int fault_logged(const char *fn) const noexcept {
        if (fault_ != 0)
            ZLOG_AS(fn, "%s(%d): Failed (rc=0x%x, %s) to retrieve tlv\n",
                    static_cast<unsigned>(fault_), error_to_string(static_cast<uint32_t>(fault_)));
        return fault_;
    }

    class iterator {
      public:
        explicit iterator(tlv_walker *w) noexcept : w_(w) { advance(); }
        iterator() noexcept = default;
        const tlv &operator*() const noexcept { return cur_; }
        iterator &operator++() noexcept {
            advance();
            return *this;
        }
        bool operator!=(const iterator &o) const noexcept { return w_ != o.w_; }

      private:
        void advance() noexcept {
            if (w_ == nullptr) return;
            if (w_->yielded_ == w_->count_) {
                w_ = nullptr;
                return;
            }
            const int rc = w_->next(cur_);
            if (rc != 0) {
                w_->fault_ = rc == TLV_ERR_END ? 0 : rc;
                w_ = nullptr;
                return;
            }
            ++w_->yielded_;
        }
        tlv_walker *w_ = nullptr;
        tlv cur_{};
    };
    iterator begin() noexcept { return iterator(this); }
    iterator end() noexcept { return iterator(); }

  private:
    const tlv_array_t *array_;
    uint32_t count_;
    uint32_t cursor_ = 0;
    uint32_t yielded_ = 0;
    int fault_ = 0;
};

// Checks that an array received inside `avail` bytes holds its own header and the `len` bytes
// of TLVs that the header claims.
inline bool tlv_array_fits(const tlv_array_t *array, uint64_t avail) noexcept {
    return array != nullptr && avail >= sizeof(uint32_t) && uint64_t{array->len} + 4u <= avail;
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

// Whether `len` bytes at `value` hold the whole record of `type` (check_value, a type-9 value
// under `rules`); when they do not, logs why on behalf of `fn`.
bool value_fits_logged(const char *fn, uint16_t type, uint16_t len, const void *value,
                       const vsi_all_rules &rules = {}) noexcept;

// The peer protocol version, which decides what a type-9 value carries.
uint32_t peer_version() noexcept;

// ---- Configuration messages ----------------------------------------------------------------

// The update record of a message, located and checked against the reported payload length.
struct upd_record {
    const zorv_type1_upd_t *rec = nullptr; // is_delete, if_index, param_len, then the array
    uint32_t payload_len = 0;              // bytes msg_payload_get reported
};

enum class upd_state { ok, no_payload, refused };

// Finds the update record (behind the 16-byte header in the header form) and checks that the
// record, its param_len bytes and the array header they start with all lie inside the payload.
// `fn` names the exported operation in the log lines.
upd_state locate_update(const char *fn, const msg_t *msg, bool with_header,
                        upd_record &out) noexcept;

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
