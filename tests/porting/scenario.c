/* SPDX-License-Identifier: Apache-2.0 */
/* scenario.c - one run of the library on the second platform (libaltplat): the cache filled
 * through a rebuild and two update messages, the export, the graceful, strict and re-check
 * against the export and against copies altered in one place, and one failing allocation. Then
 * it checks what the library asked of the platform and that the host platform (libzorvplat) is
 * not among the loaded objects. Prints one line per failed expectation and exits 1 if any. */
#define _GNU_SOURCE
#include <link.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <zorv_drel.h>

#include "altplat.h"

#define SVC ZORV_DREL_LIB_SERVICE_ID
#define IF_A 0x4000Au /* the peer-link member interface */

static int g_failures, g_checks;

/* expect(ok, format, ...): one expectation; a failed one is printed. */
static void expect(int ok, const char *format, ...) {
    g_checks++;
    if (ok) return;
    g_failures++;
    va_list ap;
    va_start(ap, format);
    fputs("porting scenario: FAILED: ", stdout);
    vprintf(format, ap);
    fputc('\n', stdout);
    va_end(ap);
}

/* A TLV array in 8-byte-aligned storage. */
typedef struct array_buf {
    uint64_t words[4096]; /* tlv_array_t: u32 len, then the TLVs */
} array_buf_t;

static tlv_array_t *as_array(array_buf_t *b) {
    return (tlv_array_t *)(void *)b->words;
}

static void add(array_buf_t *b, uint16_t type, uint16_t len, const void *value) {
    const int rc = tlv_array_add(as_array(b), sizeof b->words, type, len, value, 1);
    expect(rc == 0, "tlv_array_add of type %u: 0x%X", type, (unsigned)rc);
}

/* A copy of an exported array, to alter. */
static tlv_array_t *copy_of(array_buf_t *b, const tlv_array_t *a) {
    memset(b, 0, sizeof *b);
    memcpy(b->words, a, 4 + a->len);
    return as_array(b);
}

/* The type-9 value of service instance `vsi` in an array, or null. */
static vsi_all_t *vsi_in(tlv_array_t *a, uint32_t vsi) {
    uint32_t cursor = 0;
    uint16_t type = 0, len = 0;
    void *value = NULL;
    while (tlv_array_next(a, &cursor, &type, &len, &value, 1) == 0)
        if (type == ZORV_TYPE1_INTF_VSI_ATTRIBUTES && ((vsi_all_t *)value)->vsi == vsi)
            return value;
    return NULL;
}

/* A type-9 value with one VLAN-to-VNI pair, that VLAN allowed, and profile "gold". */
static uint16_t make_vsi(uint8_t *out, uint32_t vsi, uint32_t mode, uint32_t vni, uint32_t vlan) {
    const uint16_t len = (uint16_t)(ZORV_VSI_ALL_FIXED_LEN + 8u);
    memset(out, 0, len);
    vsi_all_t *v = (vsi_all_t *)(void *)out;
    v->if_index = IF_A;
    v->vsi = vsi;
    v->admin = 1;
    v->map_mode = mode;
    v->dyn_map_cnt = 1;
    v->dyn_map[0].vni = vni;
    v->dyn_map[0].dot1q = vlan;
    vsi_all_tail_t *tail = ZORV_VSI_ALL_TAIL(v, 1);
    tail->dot1q_bmp.len = 512;
    tail->dot1q_bmp.bits[vlan / 8] |= (uint8_t)(0x80u >> vlan % 8);
    strcpy(tail->prof_name, "gold");
    return len;
}

/* Applies an update message (record at offset 0) for `if_index` carrying `tlvs`. */
static void configure(uint32_t if_index, array_buf_t *tlvs) {
    static uint64_t payload[4200];
    zorv_type1_upd_t *upd = (zorv_type1_upd_t *)(void *)payload;
    upd->is_delete = 0;
    upd->if_index = if_index;
    upd->param_len = 4 + as_array(tlvs)->len;
    memcpy(upd->param, as_array(tlvs), upd->param_len);
    msg_t *msg = altplat_msg_new(ZORV_DREL_OPC_TYPE1_UPD, payload, 12 + upd->param_len);
    tlv_array_t *copy = NULL;
    drelm_app_cmd_extract_info_t *info = NULL;
    uint32_t num = 0, reserved = 0;
    const uint32_t rc = zorv_drel_type1_cfg_param_extractor(msg, &copy, &num, &reserved, &info);
    expect(rc == 0 && num == tlv_array_count(as_array(tlvs), 1),
           "update of interface 0x%X: rc 0x%X, %u TLVs", if_index, rc, num);
    tracked_free(SVC, copy);
    tracked_free(SVC, info);
    altplat_msg_free(msg);
}

/* The members of a VNI set as text, "5000 5001". */
static const char *members(const bitset_t *set) {
    static char text[256];
    size_t at = 0;
    text[0] = '\0';
    for (int32_t v = bitset_find(set, 0); v >= 0 && at < sizeof text - 12;
         v = bitset_find(set, (uint32_t)v + 1))
        at += (size_t)snprintf(text + at, sizeof text - at, at == 0 ? "%d" : " %d", v);
    return text;
}

/* The graceful check of lcl against rmt: its code and its pass and fail sets. */
static void graceful(const char *what, tlv_array_t *lcl, tlv_array_t *rmt, uint32_t code,
                     const char *passed, const char *failed) {
    type1_compat_result_t pass, fail;
    memset(&pass, 0, sizeof pass);
    memset(&fail, 0, sizeof fail);
    const uint32_t rc = zorv_drel_type1_cfg_compat_check(0, lcl, rmt, 0, 0, &pass, &fail);
    expect(rc == code, "graceful check %s: 0x%X, expected 0x%X", what, rc, code);
    expect(strcmp(members(pass.vni_set), passed) == 0, "graceful check %s: passed '%s'", what,
           members(pass.vni_set));
    expect(strcmp(members(fail.vni_set), failed) == 0, "graceful check %s: failed '%s'", what,
           members(fail.vni_set));
    bitset_free(pass.vni_set);
    bitset_free(fail.vni_set);
}

/* Fills the cache: profile "gold" with its map by rebuild, three member VNIs and two service
 * instances of IF_A by update messages. */
static void fill_cache(void) {
    static array_buf_t gbl, memvni, ifc;
    static encap_map_t map;
    static char name[ZORV_ENCAP_NAME_WIRE_LEN];
    static uint8_t vsi1[1024], vsi2[1024];
    strcpy(name, "gold");
    strcpy(map.encap_name, "gold");
    map.dot1q_vni[10] = 5000;
    add(&gbl, ZORV_TYPE1_GBL_ENCAP_PROFILE, sizeof name, name);
    add(&gbl, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, sizeof map, &map);
    const uint32_t rc = zorv_drel_type1_cfg_cache_rebuild(as_array(&gbl), 1, 0);
    expect(rc == 0, "global rebuild: 0x%X", rc);

    const member_vni_t vnis[3] = {{100, 5000}, {100, 5001}, {101, 6000}};
    for (int i = 0; i < 3; ++i)
        add(&memvni, ZORV_TYPE1_GBL_MEMBER_VNI, sizeof vnis[i], &vnis[i]);
    configure(0, &memvni);

    const uint16_t len1 = make_vsi(vsi1, 1, ZORV_MAP_MODE_STATIC, 5000, 10);
    const uint16_t len2 = make_vsi(vsi2, 2, ZORV_MAP_MODE_DFS, 6000, 20);
    add(&ifc, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, len1, vsi1);
    add(&ifc, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, len2, vsi2);
    configure(IF_A, &ifc);
}

static tlv_array_t *export_params(uint32_t is_gbl, uint32_t if_index, uint32_t count) {
    tlv_array_t *a = NULL;
    const uint32_t rc = zorv_drel_type1_cfg_get_params(is_gbl, if_index, &a);
    expect(rc == 0 && a != NULL, "export gbl=%u: 0x%X", is_gbl, rc);
    if (a == NULL) exit(1);
    expect(tlv_array_count(a, 1) == count, "export gbl=%u: %u TLVs, expected %u", is_gbl,
           tlv_array_count(a, 1), count);
    return a;
}

static void checks(tlv_array_t *gbl, tlv_array_t *ifa) {
    static array_buf_t altered;
    graceful("of the interface export against itself", ifa, ifa, 0, "5000 6000", "");
    graceful("of the global export against itself", gbl, gbl, 0, "5000 5001 6000", "");
    vsi_in(copy_of(&altered, ifa), 2)->admin = 0;
    graceful("with service instance 2 down on the peer", ifa, as_array(&altered),
             ZORV_DREL_ERR_COMPAT_INTF_VSI, "5000", "6000");
    expect(altplat_has_event(": Failed type-1 compat check for vsi admin stat type=9, len=800, "
                             "vsi=2, lcl_value=1, rmt_value=0\n"),
           "no event for the differing admin status");

    uint32_t rc = zorv_drel_type1_cfg_gbl_compat_check(0, ifa, ifa);
    expect(rc == 0, "strict check of the export against itself: 0x%X", rc);
    vsi_in(copy_of(&altered, ifa), 2)->map_mode = ZORV_MAP_MODE_LLDP;
    rc = zorv_drel_type1_cfg_gbl_compat_check(0, ifa, as_array(&altered));
    expect(rc == ZORV_DREL_ERR_COMPAT_INTF_VSI, "strict check, mode differs: 0x%X", rc);
    expect(altplat_has_event(": VSI type for local and remote does not match\n"),
           "no event for the differing mapping mode");

    rc = zorv_drel_type1_rmt_cfg_cache_rebuild(ifa, 0, IF_A);
    expect(rc == 0, "re-check of the interface export: 0x%X", rc);
    rc = zorv_drel_type1_rmt_cfg_cache_rebuild(gbl, 1, 0);
    expect(rc == 0, "re-check of the global export: 0x%X", rc);
}

/* The platform's allocator fails the member-VNI export's array: the export gives the no-memory
 * code, logs the array it asked for, and leaves nothing behind. */
static void failing_allocation(void) {
    const uint32_t live = altplat_live_blocks(SVC);
    const uint32_t events = altplat_event_count();
    tlv_array_t *a = NULL;
    altplat_fail_allocs(0, 1);
    const uint32_t rc = zorv_drel_gbl_cfg_memvni_avl_get_params(&a);
    altplat_fail_allocs(0, 0);
    expect(rc == ZORV_DREL_ERR_NO_MEMORY && a == NULL, "export without memory: 0x%X", rc);
    expect(altplat_failed_allocs() == 1, "%u allocations failed", altplat_failed_allocs());
    expect(altplat_live_blocks(SVC) == live, "export without memory left %u blocks, not %u",
           altplat_live_blocks(SVC), live);
    const char *last = altplat_event(altplat_event_count() - 1);
    const char *fn = "zorv_drel_gbl_cfg_memvni_avl_get_params(";
    const char *tail = "): TLV array size 40\n"; /* 4 + three TLVs of 4 + 8 bytes */
    expect(altplat_event_count() == events + 1 && strncmp(last, fn, strlen(fn)) == 0 &&
               strlen(last) > strlen(tail) && strcmp(last + strlen(last) - strlen(tail), tail) == 0,
           "the export without memory logged %u events, the last '%s'",
           altplat_event_count() - events, last);
}

/* dl_iterate_phdr callback: records whether the host platform or the second one is loaded. */
static int note_object(struct dl_phdr_info *info, size_t size, void *data) {
    (void)size;
    int *seen = data;
    if (strstr(info->dlpi_name, "libzorvplat") != NULL) seen[0] = 1;
    if (strstr(info->dlpi_name, "libaltplat.so") != NULL) seen[1] = 1;
    if (strstr(info->dlpi_name, "libzorvdrel.so") != NULL) seen[2] = 1;
    return 0;
}

int main(void) {
    altplat_add_peer_link_member(IF_A, 10, 22);
    fill_cache();
    tlv_array_t *gbl = export_params(1, 0, 5); /* the profile, its map, three member VNIs */
    tlv_array_t *ifa = export_params(0, IF_A, 2);
    checks(gbl, ifa);
    failing_allocation();
    tracked_free(SVC, gbl);
    tracked_free(SVC, ifa);

    altplat_calls_t calls;
    altplat_calls_get(&calls);
    expect(calls.mem_inits == 1 && calls.mem_type_count == 15,
           "tracked_mem_init: %u calls, %u types", calls.mem_inits, calls.mem_type_count);
    expect(calls.tree_creates >= 3, "tree_create: %u calls", calls.tree_creates);
    expect(calls.history_opens >= 1 && calls.events > 0, "debug history: %u opens, %u events",
           calls.history_opens, calls.events);

    int seen[3] = {0, 0, 0};
    dl_iterate_phdr(note_object, seen);
    expect(!seen[0], "the host platform libzorvplat is loaded");
    expect(seen[1] && seen[2], "libaltplat loaded: %d, libzorvdrel loaded: %d", seen[1], seen[2]);

    printf("porting scenario: %d of %d expectations hold\n", g_checks - g_failures, g_checks);
    return g_failures == 0 ? 0 : 1;
}
