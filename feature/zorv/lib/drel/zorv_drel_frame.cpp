// SPDX-License-Identifier: Apache-2.0
// zorv_drel_frame.cpp - the library frame: memory types, zero-filled tracked allocation, type
// names and check codes, the two debug channels, load/unload, and the type-1 value builders.
#include <arpa/inet.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>
#include <utility>

#include "zorv_drel_internal.h"

// Process-wide state of the two debug channels; never reset, never closed.
FILE *zorv_drel_lib_debug_file = nullptr;
uint32_t zorv_drel_lib_logbuf_init_done = 0;

namespace {

constexpr uint32_t kLogbufSize = 0x80000;
constexpr const char *kDebugFileBase = "/qirra/tmp/zorv_drel_lib_dbg.log";
constexpr const char *kLibName = "ZORV DREL Type-1 CFG LIB";
constexpr uint32_t kRegisteredTypes = ZORV_DREL_LIB_MEM_MAX; // every type but the MAX row

// The largest pair count whose type-9 value length still fits the 16-bit TLV length.
constexpr uint32_t kMaxValuePairs = (0xFFFFu - ZORV_VSI_ALL_FIXED_LEN) / 8u;

uint32_t context_number() noexcept {
    return system_context_id_get() & 0xFFFFu;
}

// The debug file's name without its context suffix: ZORV_DREL_DEBUG_FILE when set and not
// empty, else the described default.
const char *debug_file_base() noexcept {
    const char *base = std::getenv("ZORV_DREL_DEBUG_FILE");
    return base != nullptr && base[0] != '\0' ? base : kDebugFileBase;
}

// Opens the debug file of this context and writes its header; false when it cannot be opened.
// A name that does not fit the path buffer is not opened rather than cut to another file's name.
bool open_debug_file() noexcept {
    char path[4096];
    const int n = std::snprintf(path, sizeof path, "%s.%d", debug_file_base(),
                                static_cast<int>(context_number()));
    if (static_cast<size_t>(n) >= sizeof path) return false; // an error (n < 0) too
    FILE *f = std::fopen(path, "a");
    if (f == nullptr) return false;
    zorv_drel_lib_debug_file = f;
    std::fprintf(f, "ZORV DREL Type-1 cfg debug file KOX:%d \n--------------------------------\n",
                 static_cast<int>(context_number()));
    return true;
}

// The value of one TLV that zorv_drel_lib_alloc_tlv hands its caller.
struct tlv_out {
    uint16_t *type;
    uint16_t *len;
    void **value;
};

// A zero-filled tracked block of `len` bytes for a TLV value, or null, logged.
template <typename T> zorv::tracked_ptr<T> new_value(uint32_t mem_type, uint32_t len) noexcept {
    auto v = zorv::tracked_calloc<T>(mem_type, len);
    if (!v)
        ZLOG_AS("zorv_drel_lib_alloc_tlv", "%s(%d): Failed malloc for sz:%d\n",
                static_cast<int>(len));
    return v;
}

template <typename T>
uint32_t hand_over(zorv::tracked_ptr<T> v, uint16_t type, uint32_t len,
                   const tlv_out &out) noexcept {
    *out.value = v.release();
    *out.type = type;
    *out.len = static_cast<uint16_t>(len);
    return ZORV_DREL_OK;
}

uint32_t alloc_member_vni(const gbl_cfg_memvni_avl_node_t &node, const tlv_out &out) noexcept {
    auto v = new_value<member_vni_t>(ZORV_DREL_LIB_MEM_member_vni_t, ZORV_MEMBER_VNI_LEN);
    if (!v) return ZORV_DREL_ERR_NO_MEMORY;
    v->bd = node.bd; // the wire value is {bd, vni}, the node {vni, bd}
    v->vni = node.vni;
    return hand_over(std::move(v), ZORV_TYPE1_GBL_MEMBER_VNI, ZORV_MEMBER_VNI_LEN, out);
}

uint32_t alloc_vsi_all(const if_cfg_avl_node_t &node, const tlv_out &out) noexcept {
    const uint32_t count = node.dyn_map_cnt;
    if (count > kMaxValuePairs) return ZORV_DREL_ERR_INVALID_ARG; // no TLV can carry it
    const uint32_t len = zorv::vsi_all_len(count);
    auto v = new_value<vsi_all_t>(ZORV_DREL_LIB_MEM_vsi_all_t, len);
    if (!v) return ZORV_DREL_ERR_NO_MEMORY;
    zorv::fill_vsi_all("zorv_drel_lib_alloc_tlv", node, node.if_index, *v);
    return hand_over(std::move(v), ZORV_TYPE1_INTF_VSI_ATTRIBUTES, len, out);
}

} // namespace

namespace zorv {

bool value_fits_logged(const char *fn, uint16_t type, uint16_t len, const void *value,
                       const vsi_all_rules &rules) noexcept {
    const value_check c = check_value(type, value, len, rules);
    if (c.ok()) return true;
    if (rule_of(type).varies)
        ZLOG_AS(fn, "%s(%d): Error: malformed value of type:%d len:%d\n", static_cast<int>(type),
                static_cast<int>(len));
    else
        ZLOG_AS(fn, "%s(%d): Error: value of type:%d too short (len:%d, need:%d)\n",
                static_cast<int>(type), static_cast<int>(len), static_cast<int>(c.need));
    return false;
}

void fill_vsi_all(const char *fn, const if_cfg_avl_node_t &node, uint32_t if_index,
                  vsi_all_t &value) noexcept {
    value.if_index = if_index;
    value.vsi = node.vsi_id;
    value.admin = node.admin;
    value.map_mode = map_mode_of(node);
    value.dyn_map_cnt = node.dyn_map_cnt;
    const auto count = static_cast<int32_t>(node.dyn_map_cnt);
    ZLOG_AS(fn, "%s(%d): setting dyn map(%d): ", static_cast<int>(count));
    int32_t written = 0;
    for (uint32_t vlan = 0; vlan < ZORV_DOT1Q_COUNT && written < count; ++vlan) {
        const uint32_t vni = node.dot1q_vni[vlan];
        if (vni == 0) continue;
        ZLOG_RAW("%d)%d,%d ", static_cast<int>(written), static_cast<int>(vlan),
                 static_cast<int>(vni));
        value.dyn_map[written] = vsi_dyn_map_t{vni, vlan};
        ++written;
    }
    vsi_all_tail_t *tail = ZORV_VSI_ALL_TAIL(&value, count < 0 ? 0 : count);
    tail->dot1q_bmp.len = 512;
    std::memcpy(tail->dot1q_bmp.bits, node.dot1q_bmp.bits, sizeof tail->dot1q_bmp.bits);
    copy_name(tail->prof_name, node.prof_name);
    ZLOG_RAW("\n");
}

} // namespace zorv

namespace {

// Registers the memory types and creates the three configuration trees.
__attribute__((constructor)) void zorv_drel_lib_load() noexcept {
    const char *names[kRegisteredTypes];
    for (uint32_t i = 0; i < kRegisteredTypes; ++i)
        names[i] = __zorv_drel_lib_mem_type_t_find(i);
    (void)tracked_mem_init(kLibName, ZORV_DREL_LIB_SERVICE_ID, names, kRegisteredTypes);
    zorv_drel_gbl_cfg_avl = tree_create(zorv_drel_gbl_cfg_avl_cmp_func, 0);
    zorv_drel_gbl_cfg_memvni_avl = tree_create(zorv_drel_gbl_cfg_memvni_avl_cmp_func, 0);
    zorv_drel_if_cfg_avl = tree_create(zorv_drel_if_cfg_avl_cmp_func, 0);
}

// Releases every node the library still holds, then unregisters. The handles keep their values.
__attribute__((destructor)) void zorv_drel_lib_unload() noexcept {
    tree_destroy(zorv_drel_gbl_cfg_avl, zorv_drel_gbl_cfg_avl_free);
    tree_destroy(zorv_drel_gbl_cfg_memvni_avl, zorv_drel_gbl_cfg_memvni_avl_free);
    tree_destroy(zorv_drel_if_cfg_avl, zorv_drel_if_cfg_avl_free);
    if (free_encap_bmp_p != nullptr) std::free(free_encap_bmp_p);
    if (zorv_drel_encap_uid_avl != nullptr)
        tree_destroy(zorv_drel_encap_uid_avl, zorv_drel_encap_uid_avl_free);
    zorv::release_working_sets();
    (void)tracked_mem_uninit(ZORV_DREL_LIB_SERVICE_ID);
}

} // namespace

namespace zorv {

void logbuf_ready() noexcept {
    if (zorv_drel_lib_logbuf_init_done == 0) zorv_drel_lib_logbuf_init();
}

bitset_t *vni_set_create() noexcept {
    void *root = std::malloc(BITSET_ROOT_BYTES);
    if (root == nullptr) std::abort();
    std::memset(root, 0, BITSET_ROOT_BYTES);
    const uint32_t root_bytes = 1024; // the 16 zeroed 64-byte chunks that follow
    std::memcpy(root, &root_bytes, sizeof root_bytes);
    return static_cast<bitset_t *>(root);
}

} // namespace zorv

// Each row's name is its enumerator spelled out, so the enumeration is the one list.
#define ZORV_MEM_ROW(e)                                                                            \
    { e, #e }
constexpr zorv_drel_lib_mem_type_row_t zorv_drel_lib_mem_type_t[17] = {
    ZORV_MEM_ROW(ZORV_DREL_LIB_MEM_NONE),
    ZORV_MEM_ROW(ZORV_DREL_LIB_MEM_gbl_cfg_avl_node_t),
    ZORV_MEM_ROW(ZORV_DREL_LIB_MEM_if_cfg_avl_node_t),
    ZORV_MEM_ROW(ZORV_DREL_LIB_MEM_tlv_array_t),
    ZORV_MEM_ROW(ZORV_DREL_LIB_MEM_drelm_app_info_t),
    ZORV_MEM_ROW(ZORV_DREL_LIB_MEM_drelm_app_cmd_extract_info_t),
    ZORV_MEM_ROW(ZORV_DREL_LIB_MEM_member_vni_t),
    ZORV_MEM_ROW(ZORV_DREL_LIB_MEM_encap_name_t),
    ZORV_MEM_ROW(ZORV_DREL_LIB_MEM_encap_map_t),
    ZORV_MEM_ROW(ZORV_DREL_LIB_MEM_encap_profile_node),
    ZORV_MEM_ROW(ZORV_DREL_LIB_MEM_vsi_admin_t),
    ZORV_MEM_ROW(ZORV_DREL_LIB_MEM_vsi_encap_rng_t),
    ZORV_MEM_ROW(ZORV_DREL_LIB_MEM_gbl_cfg_memvni_avl_node_t),
    ZORV_MEM_ROW(ZORV_DREL_LIB_MEM_encap_uid_node_t),
    ZORV_MEM_ROW(ZORV_DREL_LIB_MEM_vsi_all_t),
    ZORV_MEM_ROW(ZORV_DREL_LIB_MEM_MAX),
    {0, ""}};
#undef ZORV_MEM_ROW

// Row n holds value n, one row per enumerator and the terminator after them.
static_assert([] {
    for (uint32_t i = 0; i <= ZORV_DREL_LIB_MEM_MAX; ++i)
        if (zorv_drel_lib_mem_type_t[i].value != i) return false;
    return zorv_drel_lib_mem_type_t[ZORV_DREL_LIB_MEM_MAX + 1].name[0] == '\0';
}());
static_assert(std::size(zorv_drel_lib_mem_type_t) == ZORV_DREL_LIB_MEM_MAX + 2);

void zorv_drel_lib_logbuf_init(void) {
    if (debug_history_open(ZORV_DREL_LIB_SERVICE_ID, kLogbufSize) != 0) return;
    (void)debug_history_open_instance(ZORV_DREL_LIB_SERVICE_ID, 0, 0, kLogbufSize, 0, 0);
    zorv_drel_lib_logbuf_init_done = 1;
}

int zorv_drel_lib_debug_print(uint32_t, const char *format, ...) {
    if (zorv_drel_lib_debug_file == nullptr && !open_debug_file()) return 0;
    if (format != nullptr) {
        va_list ap;
        va_start(ap, format);
        std::vfprintf(zorv_drel_lib_debug_file, format, ap);
        va_end(ap);
    }
    return std::fflush(zorv_drel_lib_debug_file);
}

const char *__zorv_drel_lib_mem_type_t_find(uint32_t value) {
    const zorv_drel_lib_mem_type_row_t *row = zorv_drel_lib_mem_type_t;
    if (row->name[0] == '\0') return nullptr;
    if (value == 0) return row->name;
    for (++row; row->name[0] != '\0'; ++row)
        if (row->value == value) return row->name;
    return nullptr;
}

uint32_t __zorv_drel_lib_mem_type_t_str2enum(const char *name) {
    if (name == nullptr) return 0;
    for (const auto *row = zorv_drel_lib_mem_type_t; row->name[0] != '\0'; ++row)
        if (strcasecmp(row->name, name) == 0) return row->value;
    return 0;
}

void *zorv_drel_lib_calloc(uint32_t mem_type, uint32_t size) {
    void *p = tracked_alloc(ZORV_DREL_LIB_SERVICE_ID, mem_type, size);
    if (p != nullptr && size != 0) std::memset(p, 0, size);
    return p;
}

const char *zorv_drel_type1_cfg_type_to_str(uint16_t type) {
    return zorv::rule_of(type).name;
}

uint32_t zorv_drel_get_type1_cfg_compat_chk_errcode(uint16_t type) {
    return zorv::rule_of(type).compat_code;
}

uint32_t zorv_drel_lib_get_type_from_uid(uint32_t uid) {
    return (uid >> 24) & 0xFFu;
}

uint32_t zorv_drel_type1_cfg_param_is_default(uint16_t, uint16_t, const void *) {
    return 0;
}

uint32_t zorv_drel_if_cfg_avl_encaplist_add_tlvs(const if_cfg_avl_node_t *, uint32_t,
                                                 tlv_array_t *) {
    return 0;
}

uint32_t zorv_drel_type1_rem_cfg_cache_rebuild(const tlv_array_t *, uint32_t, uint32_t) {
    return 0;
}

uint32_t zorv_drel_lib_any_vsi_using_encap(const char *) {
    return 0;
}

uint32_t zorv_drel_lib_alloc_tlv(uint16_t type, uint16_t *out_type, uint16_t *out_len,
                                 void **out_value, const void *node) {
    if (node == nullptr || out_value == nullptr || *out_value != nullptr || out_type == nullptr ||
        out_len == nullptr)
        return ZORV_DREL_ERR_INVALID_ARG;
    const tlv_out out{out_type, out_len, out_value};
    if (type == ZORV_TYPE1_GBL_MEMBER_VNI)
        return alloc_member_vni(*static_cast<const gbl_cfg_memvni_avl_node_t *>(node), out);
    if (type != ZORV_TYPE1_INTF_VSI_ATTRIBUTES) {
        ZLOG("%s(%d): Unsupported type:%d\n", static_cast<int>(type));
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    return alloc_vsi_all(*static_cast<const if_cfg_avl_node_t *>(node), out);
}

uint32_t zorv_drel_lib_free_tlv(uint16_t type, void *value) {
    if (zorv::rule_of(type).fixed_len != 0)
        return static_cast<uint32_t>(tracked_free(ZORV_DREL_LIB_SERVICE_ID, value));
    ZLOG_SRC("%s(%d): Unsupported type:%d\n", static_cast<int>(type));
    return ZORV_DREL_ERR_INVALID_ARG;
}

void zorv_drel_lib_bmp4096_hton(const bmp4096_t *src, bmp4096_t *dst) {
    if (src != nullptr && dst != nullptr) dst->len = htonl(src->len);
}

void zorv_drel_lib_bmp4096_ntoh(const bmp4096_t *src, bmp4096_t *dst) {
    if (src != nullptr && dst != nullptr) dst->len = ntohl(src->len);
}
