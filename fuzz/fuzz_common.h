/* SPDX-License-Identifier: Apache-2.0 */
// fuzz_common.h - what every fuzz target shares: the input layout, a standard cache to check
// input against, the end-of-input checks (known codes, no tracked block left behind), and the
// structure-aware mutator.
//
// Input layout of every target: kCtl control bytes that the target reads as flags, then the
// target's fixed prefix (if any), then an aligned TLV array (u32 len, then TLVs of u16 type,
// u16 length, value padded to 4). The mutator keeps headers, lengths and type-9 counts
// consistent most of the time, so that inputs reach the deep paths, and breaks them on purpose
// otherwise.
//
// Each target file defines LLVMFuzzerTestOneInput (through run_input) and
// LLVMFuzzerCustomMutator. Built with libFuzzer it is a fuzzer; built with replay_main.cpp it
// replays a corpus directory.
#ifndef ZORV_FUZZ_COMMON_H
#define ZORV_FUZZ_COMMON_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <platform/platform.h>
#include <zorv_drel.h>

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t max_size);

namespace fuzz {

constexpr uint32_t kIfIndex = 0x2000;  // the peer-link interface of the standard cache
constexpr uint32_t kIfIndex2 = 0x2001; // a second interface, not a peer-link member
constexpr uint32_t kDrelId = 3;
constexpr size_t kCtl = 4; // control bytes at the start of every input

[[noreturn]] inline void die(const char *what, unsigned long long a = 0, unsigned long long b = 0) {
    std::fprintf(stderr, "fuzz check failed: %s (%llu, %llu)\n", what, a, b);
    std::abort();
}

// The codes an entry point may return: the library's own, the bare 1 of a failed allocation,
// and the codes it passes on from the TLV array and the peer manager's database.
inline bool known_code(uint32_t rc) {
    switch (rc) {
    case ZORV_DREL_OK:
    case 1:
    case ZORV_DREL_ERR_FAILURE:
    case ZORV_DREL_ERR_NO_MEMORY:
    case ZORV_DREL_ERR_INVALID_ARG:
    case ZORV_DREL_ERR_PARAM_MISSING:
    case ZORV_DREL_ERR_COMPAT_GBL_ENCAP_PROFILE:
    case ZORV_DREL_ERR_COMPAT_GBL_ENCAP_DOT1Q_MAP:
    case ZORV_DREL_ERR_COMPAT_INTF_VSI:
    case ZORV_DREL_ERR_COMPAT_INTF_VSI_ENCAP_PROF:
    case ZORV_DREL_ERR_COMPAT_INTF_VSI_ENCAP_DOT1Q_MAP:
    case ZORV_DREL_ERR_COMPAT_GBL_MEMBER_VNI:
    case ZORV_DREL_ERR_DRELM_NO_RECORD:
    case TLV_ERR_NO_SPACE:
    case TLV_ERR_END:
    case TLV_ERR_MALFORMED: return true;
    default: return false;
    }
}
inline uint32_t code(uint32_t rc, const char *where) {
    if (!known_code(rc)) die(where, rc);
    return rc;
}

inline uint64_t live_blocks(int32_t mem_type = -1) {
    tracked_mem_stats_t s{};
    tracked_mem_stats_get(ZORV_DREL_LIB_SERVICE_ID, mem_type, &s);
    return s.live_blocks;
}

// ---- the cache -------------------------------------------------------------------------------

template <typename F> void each_node(tree_t *tree, F f) {
    std::vector<void *> nodes;
    for (void *n = tree_first(tree); n != nullptr; n = tree_next(tree, n))
        nodes.push_back(n);
    for (void *n : nodes)
        f(n);
}

// Releases every node of the four trees, identifiers included.
inline void empty_cache() {
    each_node(zorv_drel_if_cfg_avl, [](void *n) {
        zorv_drel_if_cfg_delete_cache_node(static_cast<if_cfg_avl_node_t *>(n));
    });
    each_node(zorv_drel_gbl_cfg_memvni_avl, [](void *n) {
        zorv_drel_gbl_cfg_memvni_delete_cache_node(static_cast<gbl_cfg_memvni_avl_node_t *>(n));
    });
    each_node(zorv_drel_gbl_cfg_avl, [](void *n) {
        zorv_drel_gbl_cfg_delete_cache_node(static_cast<gbl_cfg_avl_node_t *>(n));
    });
    if (zorv_drel_encap_uid_avl != nullptr)
        each_node(zorv_drel_encap_uid_avl, [](void *n) {
            zorv_drel_free_encap_uid(static_cast<encap_uid_node_t *>(n)->encap_name);
        });
}

// A type-9 value of service instance `vsi` with `n` pairs (5000 + 10 * vsi + i, 10 + i).
inline std::vector<uint8_t> vsi_value(uint32_t if_index, uint32_t vsi, uint32_t admin,
                                      uint32_t mode, uint32_t n, const char *prof = "") {
    std::vector<uint8_t> v(ZORV_VSI_ALL_FIXED_LEN + 8 * n, 0);
    auto *h = reinterpret_cast<vsi_all_t *>(v.data());
    *h = vsi_all_t{if_index, vsi, admin, mode, n};
    for (uint32_t i = 0; i < n; ++i)
        h->dyn_map[i] = vsi_dyn_map_t{5000 + 10 * vsi + i, 10 + i};
    vsi_all_tail_t *t = ZORV_VSI_ALL_TAIL(h, n);
    t->dot1q_bmp.len = 512;
    for (uint32_t i = 0; i < n; ++i)
        t->dot1q_bmp.bits[(10 + i) / 8] |= static_cast<uint8_t>(0x80u >> ((10 + i) % 8));
    std::strncpy(t->prof_name, prof, 255);
    return v;
}

// The standard cache: service instances 1 to 3 on the peer-link interface, one on a second
// interface, member VNIs for most of their pairs (BD 101 a fabric BD), two global profiles.
inline void fill_cache() {
    drelm_host_set_interface(kIfIndex, 1, kDrelId);
    bdmgr_host_set_fabric_bd(static_cast<uint16_t>(system_context_id_get()), 101, 1);
    const struct {
        uint32_t if_index, vsi, admin, mode, n;
        const char *prof;
    } vsis[] = {{kIfIndex, 1, 1, ZORV_MAP_MODE_DFS, 3, ""},
                {kIfIndex, 2, 0, ZORV_MAP_MODE_STATIC, 2, "p1"},
                {kIfIndex, 3, 1, ZORV_MAP_MODE_VDP, 4, "p2"},
                {kIfIndex2, 1, 1, ZORV_MAP_MODE_LLDP, 1, ""}};
    for (const auto &s : vsis) {
        auto v = vsi_value(s.if_index, s.vsi, s.admin, s.mode, s.n, s.prof);
        if_cfg_avl_key_t key{s.if_index, s.vsi};
        if_cfg_avl_node_t *n = zorv_drel_create_if_node(&key, ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                                                        static_cast<uint16_t>(v.size()), v.data());
        if (n != nullptr) tree_insert(zorv_drel_if_cfg_avl, n);
    }
    for (uint32_t i = 0; i < 4; ++i) {
        for (uint32_t vsi = 1; vsi <= 2; ++vsi) {
            member_vni_t m{100 * vsi + i, 5000 + 10 * vsi + i};
            auto *n = zorv_drel_create_gbl_memvni_node(nullptr, ZORV_TYPE1_GBL_MEMBER_VNI, 8, &m);
            if (n != nullptr) tree_insert(zorv_drel_gbl_cfg_memvni_avl, n);
        }
    }
    encap_name_t name{};
    std::strcpy(name.encap_name, "p2");
    if (auto *n = zorv_drel_create_gbl_node(nullptr, ZORV_TYPE1_GBL_ENCAP_PROFILE, 256, &name))
        tree_insert(zorv_drel_gbl_cfg_avl, n);
    auto *map = static_cast<encap_map_t *>(std::calloc(1, sizeof(encap_map_t)));
    std::strcpy(map->encap_name, "p1");
    map->dot1q_vni[10] = 5010;
    map->dot1q_vni[11] = 5011;
    map->dot1q_vni[12] = 7777;
    if (auto *n = zorv_drel_create_gbl_node(nullptr, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP,
                                            sizeof(encap_map_t), map))
        tree_insert(zorv_drel_gbl_cfg_avl, n);
    std::free(map);
}

// The standard cache again, after a target changed it.
inline void restore_cache() {
    empty_cache();
    fill_cache();
}

// Holds the tracked-block count at the start of an input and checks it at the end: a target
// that changes the cache empties it and fills it again, so the count must come back.
class leak_guard {
  public:
    leak_guard() : at_(live_blocks()) {}
    leak_guard(const leak_guard &) = delete;
    leak_guard &operator=(const leak_guard &) = delete;
    void check() const {
        const uint64_t now = live_blocks();
        if (now != at_) die("tracked blocks left behind (before, after)", at_, now);
    }

  private:
    uint64_t at_;
};

// Sets the standard cache up once per process. With ZORV_FUZZ_QUIET=1 in the environment the
// library's debug history never opens, so no event is formatted: a campaign for throughput
// (the corpus replay and the smoke runs always format every event).
inline void setup_once() {
    static bool done = false;
    if (done) return;
    done = true;
    if (const char *q = std::getenv("ZORV_FUZZ_QUIET"); q != nullptr && q[0] == '1')
        debug_history_fail_open(ZORV_DREL_LIB_SERVICE_ID, 0xFFFFFFFFu);
    fill_cache();
}

// ---- reading an input ------------------------------------------------------------------------

// Bytes copied into a heap block of exactly their size, so that a read past them is caught.
class exact {
  public:
    exact(const void *p, size_t n) : p_(static_cast<uint8_t *>(std::malloc(n ? n : 1))), n_(n) {
        if (n != 0) std::memcpy(p_, p, n);
    }
    exact(const exact &) = delete;
    exact &operator=(const exact &) = delete;
    ~exact() { std::free(p_); }
    uint8_t *data() const { return p_; }
    size_t size() const { return n_; }

  private:
    uint8_t *p_;
    size_t n_;
};

struct input {
    uint8_t ctl[kCtl]{}; // control bytes (zero when the input is shorter)
    const uint8_t *rest = nullptr;
    size_t rest_size = 0;
    bool bit(unsigned n) const { return ((ctl[n / 8] >> (n % 8)) & 1u) != 0; }
    // The second interface when control bit `n` is set, else the peer-link one.
    uint32_t if_index(unsigned n) const { return bit(n) ? kIfIndex2 : kIfIndex; }
};
inline input split(const uint8_t *data, size_t size) {
    input in;
    std::memcpy(in.ctl, data, std::min(size, kCtl));
    if (size > kCtl) {
        in.rest = data + kCtl;
        in.rest_size = size - kCtl;
    }
    return in;
}

// One input of a target: the process set up once (`setup`, the standard cache by default), the
// input split and handed to `body`, and no tracked block left behind after it. Returns what
// LLVMFuzzerTestOneInput returns.
template <typename Body>
int run_input(const uint8_t *data, size_t size, Body body, void (*setup)() = setup_once) {
    setup();
    const leak_guard guard;
    body(split(data, size));
    guard.check();
    return 0;
}

// The bytes as a TLV array in a block of exactly their size. The receiver checks the array
// header against what it received, as the peer link does: a header claiming more is cut down.
// Null when fewer than 4 bytes are given.
class array_copy {
  public:
    array_copy(const uint8_t *p, size_t n) : buf_(p, n) {
        if (n < 4) return;
        auto *a = reinterpret_cast<tlv_array_t *>(buf_.data());
        if (uint64_t{a->len} + 4 > n) a->len = static_cast<uint32_t>(n - 4);
        array_ = a;
    }
    tlv_array_t *get() const { return array_; }

  private:
    exact buf_;
    tlv_array_t *array_ = nullptr;
};

// The TLVs of an aligned array, for targets that take values one by one. A value is handed
// over in its own block of exactly its length.
struct tlv_item {
    uint16_t type, len;
    const uint8_t *value;
};
inline std::vector<tlv_item> tlv_items(const uint8_t *p, size_t n, size_t max_items = 64) {
    std::vector<tlv_item> out;
    if (n < 4) return out;
    uint32_t len;
    std::memcpy(&len, p, 4);
    const size_t end = 4 + std::min<size_t>(len, n - 4);
    size_t off = 4;
    while (off + 4 <= end && out.size() < max_items) {
        tlv_item t{};
        std::memcpy(&t.type, p + off, 2);
        std::memcpy(&t.len, p + off + 2, 2);
        if (off + 4 + t.len > end) break;
        t.value = p + off + 4;
        out.push_back(t);
        off += (4u + t.len + 3u) & ~size_t{3};
    }
    return out;
}

// Calls f(is_gbl, if_index) for the interface scope (interface `if_index`) and for the global
// scope (interface 0), the global one first when `global_first` is set.
template <typename F> void each_scope(bool global_first, uint32_t if_index, F f) {
    for (uint32_t k = 0; k < 2; ++k) {
        const uint32_t is_gbl = global_first ? 1 - k : k;
        f(is_gbl, is_gbl ? 0 : if_index);
    }
}

// Where the TLV array of a target's input starts, and an optional u32 field before it that
// holds the array's size (header included), as an update record's param_len does.
struct layout {
    size_t array_off = kCtl;
    long size_field = -1;
};

// ---- update messages -------------------------------------------------------------------------

constexpr size_t kUpdHdr = ZORV_DREL_UPD_HDR_LEN; // the message header before an update record

// The layout of a target whose input is an update message: the header, the 12-byte head of the
// update record (param_len 8 bytes into it), then the record's TLV array.
inline constexpr layout kUpdateLayout{kCtl + kUpdHdr + 12, static_cast<long>(kCtl + kUpdHdr + 8)};

// The payload of a message made from an input's bytes.
struct payload {
    const uint8_t *data;
    size_t len;
    // A bare update: the header bytes are left out (nothing is left when there are no more).
    void drop_header() {
        data = len > kUpdHdr ? data + kUpdHdr : nullptr;
        len = len > kUpdHdr ? len - kUpdHdr : 0;
    }
    msg_t *message(uint32_t opcode) const {
        return msg_create(opcode, len ? data : nullptr, static_cast<uint32_t>(len));
    }
};

// ---- result holders --------------------------------------------------------------------------

// An empty VNI set as the peer manager hands one to the checks.
inline bitset_t *new_vni_set() {
    auto *p = static_cast<uint32_t *>(std::calloc(1, BITSET_ROOT_BYTES));
    p[0] = 1024;
    return reinterpret_cast<bitset_t *>(p);
}

// The passing and the failing result holder of the graceful check, with a VNI set each as asked;
// the sets are freed at the end of the scope.
struct result_holders {
    type1_compat_result_t pass{}, fail{};
    result_holders(bool pass_set, bool fail_set) {
        if (pass_set) pass.vni_set = new_vni_set();
        if (fail_set) fail.vni_set = new_vni_set();
    }
    result_holders(const result_holders &) = delete;
    result_holders &operator=(const result_holders &) = delete;
    ~result_holders() {
        bitset_free(pass.vni_set);
        bitset_free(fail.vni_set);
    }
};

// ---- the structure-aware mutator -------------------------------------------------------------

class rng {
  public:
    explicit rng(unsigned seed) : s_(seed * 0x9E3779B97F4A7C15ull + 1) {}
    uint64_t next() {
        s_ ^= s_ << 13;
        s_ ^= s_ >> 7;
        s_ ^= s_ << 17;
        return s_;
    }
    uint32_t below(uint32_t n) { return n == 0 ? 0 : static_cast<uint32_t>(next() % n); }
    bool one_in(uint32_t n) { return below(n) == 0; }

  private:
    uint64_t s_;
};

inline const uint16_t kTypes[] = {1, 2, 5, 6, 7, 8, 9, 0, 3, 4, 10, 0xFFFF};
inline const uint32_t kMagicLens[] = {0,   1,   4,     7,     8,     11,    12,    19,    20,
                                      255, 256, 260,   779,   780,   791,   792,   800,   808,
                                      816, 824, 16391, 16392, 16639, 16640, 16644, 0xFFFF};
inline const uint32_t kWords[] = {
    0,        1,         2,        3,         4,          5,          9,         10,
    11,       12,        13,       100,       101,        4095,       4096,      5010,
    5011,     5012,      5020,     5021,      5022,       5030,       512,       792,
    kIfIndex, kIfIndex2, 0xFFFFFF, 0x1000000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};

// One of the profile names p1, p2, p3 (the standard cache knows p1 and p2).
inline void profile_name(char *name, rng &r) {
    name[0] = 'p';
    name[1] = static_cast<char>('1' + r.below(3));
}

// Up to four dot1q-to-VNI entries of a zeroed map, VNIs 5000 to 5039.
inline void dot1q_entries(uint32_t *dot1q_vni, rng &r) {
    for (uint32_t i = 0, n = r.below(5); i < n; ++i)
        dot1q_vni[r.below(4096)] = 5000 + r.below(40);
}

// The record of type T at the start of zeroed value `v`, keyed by service instance 1 to 4 of
// the peer-link interface.
template <typename T> T *vsi_record(std::vector<uint8_t> &v, rng &r) {
    auto *t = reinterpret_cast<T *>(v.data());
    t->if_index = kIfIndex;
    t->vsi = 1 + r.below(4);
    return t;
}

// A well-formed value of `type`, sized by the type; a type-9 value gets `pairs` pairs.
inline std::vector<uint8_t> good_value(uint16_t type, rng &r) {
    switch (type) {
    case ZORV_TYPE1_GBL_ENCAP_PROFILE: {
        std::vector<uint8_t> v(ZORV_ENCAP_NAME_WIRE_LEN, 0);
        profile_name(reinterpret_cast<char *>(v.data()), r);
        return v;
    }
    case ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP: {
        std::vector<uint8_t> v(ZORV_ENCAP_MAP_LEN, 0);
        auto *m = reinterpret_cast<encap_map_t *>(v.data());
        profile_name(m->encap_name, r);
        dot1q_entries(m->dot1q_vni, r);
        return v;
    }
    case ZORV_TYPE1_INTF_VSI_ADMIN: {
        vsi_admin_t a{r.one_in(4) ? kIfIndex2 : kIfIndex, 1 + r.below(4), r.below(2)};
        std::vector<uint8_t> v(sizeof a);
        std::memcpy(v.data(), &a, sizeof a);
        return v;
    }
    case ZORV_TYPE1_INTF_VSI_ENCAP_PROF: {
        std::vector<uint8_t> v(ZORV_VSI_ENCAP_RNG_LEN, 0);
        auto *e = vsi_record<vsi_encap_rng_t>(v, r);
        profile_name(e->encap_name, r);
        e->dot1q_bmp.len = 512;
        if (r.one_in(3))
            std::memset(e->dot1q_bmp.bits, 0xFF, 512);
        else
            e->dot1q_bmp.bits[r.below(512)] = static_cast<uint8_t>(r.next());
        return v;
    }
    case ZORV_TYPE1_INTF_VSI_ENCAP_DOT1Q_MAP: {
        std::vector<uint8_t> v(ZORV_VSI_ENCAP_DOT1Q_MAP_LEN, 0);
        auto *m = vsi_record<vsi_encap_dot1q_map_t>(v, r);
        dot1q_entries(m->dot1q_vni, r);
        return v;
    }
    case ZORV_TYPE1_GBL_MEMBER_VNI: {
        const uint32_t vsi = 1 + r.below(3), i = r.below(5);
        member_vni_t m{r.one_in(4) ? 101 : 100 * vsi + i, 5000 + 10 * vsi + i};
        std::vector<uint8_t> v(sizeof m);
        std::memcpy(v.data(), &m, sizeof m);
        return v;
    }
    case ZORV_TYPE1_INTF_VSI_ATTRIBUTES:
    default: {
        const uint32_t vsi = 1 + r.below(4);
        const uint32_t n = r.one_in(8) ? r.below(64) : r.below(6);
        auto v = vsi_value(r.one_in(5) ? kIfIndex2 : kIfIndex, vsi, r.below(2), 1 + r.below(5), n,
                           r.one_in(2) ? "p1" : "");
        auto *h = reinterpret_cast<vsi_all_t *>(v.data());
        for (uint32_t i = 0; i < n; ++i) {
            if (r.one_in(4)) h->dyn_map[i].vni += 1;
            if (r.one_in(16)) h->dyn_map[i].dot1q = kWords[r.below(std::size(kWords))];
        }
        return v;
    }
    }
}

struct tlv_pos {
    size_t off; // of the TLV header within the buffer
    uint16_t type, len;
};

// Rewrites an input around its TLV array with the structure-aware operations.
class tlv_mutator {
  public:
    tlv_mutator(uint8_t *data, size_t size, size_t max, layout lay)
        : buf_(data, data + size), max_(max), lay_(lay) {
        if (buf_.size() < lay_.array_off + 4) buf_.resize(lay_.array_off + 4, 0);
        parse();
    }

    void parse() {
        items_.clear();
        const size_t base = lay_.array_off + 4;
        size_t off = base;
        while (off + 4 <= buf_.size()) {
            tlv_pos t{off, 0, 0};
            std::memcpy(&t.type, &buf_[off], 2);
            std::memcpy(&t.len, &buf_[off + 2], 2);
            if (off + 4 + t.len > buf_.size()) break;
            items_.push_back(t);
            off += (4u + t.len + 3u) & ~size_t{3};
        }
        end_ = std::min(off, buf_.size());
    }

    // Makes the array header (and the size field) agree with the TLVs that parse.
    void fix_header() {
        const uint32_t len = static_cast<uint32_t>(end_ - (lay_.array_off + 4));
        std::memcpy(&buf_[lay_.array_off], &len, 4);
        if (lay_.size_field >= 0 && static_cast<size_t>(lay_.size_field) + 4 <= lay_.array_off) {
            const uint32_t sz = len + 4;
            std::memcpy(&buf_[static_cast<size_t>(lay_.size_field)], &sz, 4);
        }
    }

    void set_value_len(size_t i, uint32_t new_len) {
        tlv_pos &t = items_[i];
        const size_t old_total = (4u + t.len + 3u) & ~size_t{3};
        const size_t new_total = (4u + new_len + 3u) & ~size_t{3};
        const size_t at = t.off;
        std::vector<uint8_t> v(&buf_[at + 4], &buf_[at + 4] + std::min<size_t>(t.len, new_len));
        v.resize(new_total - 4, 0);
        buf_.erase(buf_.begin() + static_cast<long>(at),
                   buf_.begin() + static_cast<long>(std::min(at + old_total, buf_.size())));
        const uint16_t l = static_cast<uint16_t>(new_len);
        uint8_t hdr[4];
        std::memcpy(hdr, &t.type, 2);
        std::memcpy(hdr + 2, &l, 2);
        buf_.insert(buf_.begin() + static_cast<long>(at), hdr, hdr + 4);
        buf_.insert(buf_.begin() + static_cast<long>(at + 4), v.begin(), v.end());
        parse();
    }

    void insert_tlv(size_t at, uint16_t type, const std::vector<uint8_t> &value) {
        std::vector<uint8_t> t(4, 0);
        const uint16_t l = static_cast<uint16_t>(value.size());
        std::memcpy(&t[0], &type, 2);
        std::memcpy(&t[2], &l, 2);
        t.insert(t.end(), value.begin(), value.end());
        t.resize((t.size() + 3) & ~size_t{3}, 0);
        buf_.insert(buf_.begin() + static_cast<long>(at), t.begin(), t.end());
        parse();
    }

    void mutate(rng &r) {
        const size_t n = items_.size();
        const size_t pick = n ? r.below(static_cast<uint32_t>(n)) : 0;
        switch (r.below(12)) {
        case 0: // a TLV of a type of the dictionary
            if (n) {
                const uint16_t ty = kTypes[r.below(std::size(kTypes))];
                std::memcpy(&buf_[items_[pick].off], &ty, 2);
                parse();
                break;
            }
            [[fallthrough]];
        case 1:
        case 2: { // a well-formed TLV somewhere; the 16 KiB types now and then only
            uint16_t ty = kTypes[r.below(7)];
            if ((ty == ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP ||
                 ty == ZORV_TYPE1_INTF_VSI_ENCAP_DOT1Q_MAP) &&
                (buf_.size() > 8192 || !r.one_in(4)))
                ty = ZORV_TYPE1_INTF_VSI_ATTRIBUTES;
            auto v = good_value(ty, r);
            const size_t at = n && r.one_in(2) ? items_[pick].off : end_;
            if (buf_.size() + v.size() + 8 <= max_) insert_tlv(at, ty, v);
            break;
        }
        case 3: // a magic value length
            if (n) {
                uint32_t l = kMagicLens[r.below(std::size(kMagicLens))];
                if (r.one_in(3)) l = items_[pick].len + r.below(9) - 4u;
                if (buf_.size() + l + 8 <= max_) set_value_len(pick, l & 0xFFFF);
            }
            break;
        case 4:
        case 5: { // a type-9 count that agrees with the length, or one that does not
            for (size_t k = 0; k < n; ++k) {
                const tlv_pos &t = items_[(pick + k) % n];
                if (t.len < 20) continue;
                uint32_t cnt;
                if (t.len >= ZORV_VSI_ALL_FIXED_LEN && !r.one_in(4))
                    cnt = (t.len - ZORV_VSI_ALL_FIXED_LEN) / 8;
                else
                    cnt = kWords[r.below(std::size(kWords))] + r.below(3) - 1u;
                std::memcpy(&buf_[t.off + 4 + 16], &cnt, 4);
                break;
            }
            break;
        }
        case 6: // a word of a value becomes an interesting one
            if (n && items_[pick].len >= 4) {
                const size_t w = r.below(std::min<uint32_t>(items_[pick].len / 4, 220));
                const uint32_t x = kWords[r.below(std::size(kWords))];
                std::memcpy(&buf_[items_[pick].off + 4 + 4 * w], &x, 4);
            }
            break;
        case 7: // drop a TLV
            if (n) {
                const tlv_pos t = items_[pick];
                const size_t total = (4u + t.len + 3u) & ~size_t{3};
                buf_.erase(buf_.begin() + static_cast<long>(t.off),
                           buf_.begin() + static_cast<long>(std::min(t.off + total, buf_.size())));
                parse();
            }
            break;
        case 8: // repeat a TLV (a long one seldom)
            if (n && (items_[pick].len < 1024 || r.one_in(8))) {
                const tlv_pos t = items_[pick];
                std::vector<uint8_t> v(&buf_[t.off + 4], &buf_[t.off + 4] + t.len);
                if (buf_.size() + v.size() + 8 <= max_) insert_tlv(end_, t.type, v);
            }
            break;
        case 9: // swap the order of two TLVs
            if (n >= 2) {
                const tlv_pos a = items_[pick];
                std::vector<uint8_t> v(&buf_[a.off + 4], &buf_[a.off + 4] + a.len);
                const size_t total = (4u + a.len + 3u) & ~size_t{3};
                buf_.erase(buf_.begin() + static_cast<long>(a.off),
                           buf_.begin() + static_cast<long>(std::min(a.off + total, buf_.size())));
                parse();
                insert_tlv(end_, a.type, v);
            }
            break;
        case 10: // a control byte
            buf_[r.below(kCtl)] ^= static_cast<uint8_t>(1u << r.below(8));
            break;
        default: { // a pair of a type-9 value made to agree with another side's pair
            for (size_t k = 0; k < n; ++k) {
                const tlv_pos &t = items_[(pick + k) % n];
                if (t.type != ZORV_TYPE1_INTF_VSI_ATTRIBUTES || t.len < 28) continue;
                const size_t pairs = (t.len - 20) / 8;
                const size_t i = r.below(static_cast<uint32_t>(std::min<size_t>(pairs, 64)));
                const uint32_t vsi = 1 + r.below(3), j = r.below(5);
                const uint32_t p[2] = {5000 + 10 * vsi + j, 10 + j};
                std::memcpy(&buf_[t.off + 4 + 20 + 8 * i], p, 8);
                break;
            }
            break;
        }
        }
    }

    size_t size() const { return buf_.size(); }
    void drop_one(rng &r) {
        if (items_.empty()) return;
        const tlv_pos t = items_[r.below(static_cast<uint32_t>(items_.size()))];
        const size_t total = (4u + t.len + 3u) & ~size_t{3};
        buf_.erase(buf_.begin() + static_cast<long>(t.off),
                   buf_.begin() + static_cast<long>(std::min(t.off + total, buf_.size())));
        parse();
    }

    size_t finish(uint8_t *data, rng &r) {
        if (!r.one_in(8)) fix_header();
        if (buf_.size() > max_) buf_.resize(max_);
        std::memcpy(data, buf_.data(), buf_.size());
        return buf_.size();
    }

  private:
    std::vector<uint8_t> buf_;
    size_t max_;
    layout lay_;
    std::vector<tlv_pos> items_;
    size_t end_ = 0;
};

// The custom mutator of every target: now and then libFuzzer's own byte mutation, otherwise
// one to three structure-aware operations; headers and sizes made consistent 7 times in 8.
inline size_t mutate(uint8_t *data, size_t size, size_t max, unsigned seed, layout lay) {
    rng r(seed);
    if (max < lay.array_off + 8) return LLVMFuzzerMutate(data, size, max);
    if (r.one_in(3)) {
        size = LLVMFuzzerMutate(data, size, max);
        if (r.one_in(2)) return size;
    }
    tlv_mutator m(data, size, max, lay);
    for (uint32_t k = 0, ops = 1 + r.below(3); k < ops; ++k)
        m.mutate(r);
    // Long inputs are slow and seldom deeper: they shrink more often than they grow.
    if (m.size() > 16384 && r.one_in(2)) m.drop_one(r);
    return m.finish(data, r);
}

} // namespace fuzz

#endif
