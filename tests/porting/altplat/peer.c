/* SPDX-License-Identifier: Apache-2.0 */
/* peer.c - the peer manager's database, the interface, system and bridge-domain managers,
 * configuration requests and messages, as small tables for the porting scenario. */
#include <stdlib.h>
#include <string.h>

#include "altplat_internal.h"

#define TABLE_IF 1u  /* database table of interfaces */
#define TABLE_MCT 2u /* database table of trunks */
#define MAX_IFS 16u

static struct {
    uint32_t if_index;        /* the interface */
    uint32_t if_type;         /* its type */
    drelm_sdb_if_info_t info; /* its peer-link membership */
} g_ifs[MAX_IFS];
static uint32_t g_if_count;

void altplat_add_peer_link_member(uint32_t if_index, uint32_t drel_id, uint32_t if_type) {
    if (g_if_count == MAX_IFS) abort();
    g_ifs[g_if_count].if_index = if_index;
    g_ifs[g_if_count].if_type = if_type;
    g_ifs[g_if_count].info.is_drel = 1;
    g_ifs[g_if_count].info.drel_id = drel_id;
    g_if_count++;
}

static uint32_t if_slot(uint32_t if_index) {
    uint32_t i = 0;
    while (i < g_if_count && g_ifs[i].if_index != if_index)
        ++i;
    return i;
}

int drelm_sdb_generate_if_key(uint32_t if_index, drelm_sdb_key_t *key) {
    key->table = TABLE_IF;
    key->id = if_index;
    return 0;
}

int drelm_sdb_generate_mct_key(uint32_t mct_id, drelm_sdb_key_t *key) {
    key->table = TABLE_MCT;
    key->id = mct_id;
    return 0;
}

const void *drelm_sdb_info_get(const drelm_sdb_key_t *key) {
    static const uint32_t trunk = 1; /* trunk 1 exists; its record is not read */
    if (key->table == TABLE_MCT) return key->id == 1 ? &trunk : NULL;
    const uint32_t i = key->table == TABLE_IF ? if_slot(key->id) : g_if_count;
    return i < g_if_count ? &g_ifs[i].info : NULL;
}

uint32_t drelm_api_get_local_drel_if_index(uint32_t drel_id, uint32_t arg, uint32_t flags) {
    (void)arg;
    (void)flags;
    for (uint32_t i = 0; i < g_if_count; ++i)
        if (g_ifs[i].info.drel_id == drel_id) return g_ifs[i].if_index;
    return 0;
}

int drelm_api_get_pelk_oper_ver(uint32_t *ver, uint32_t arg) {
    (void)arg;
    *ver = 40;
    return 0;
}

uint32_t ifindex_type_get(uint32_t if_index) {
    const uint32_t i = if_slot(if_index);
    return i < g_if_count ? g_ifs[i].if_type : 0;
}

int ifmgr_layer_mode_list_get(uint32_t count, const uint32_t *if_indexes, uint32_t *modes) {
    for (uint32_t k = 0; k < count; ++k) {
        if (if_slot(if_indexes[k]) == g_if_count) return -1;
        modes[k] = 2; /* every known interface is layer 2 */
    }
    return 0;
}

uint32_t system_context_id_get(void) {
    return 1;
}

int bdmgr_fabric_bd_allocation_get(uint16_t context, bmp4096_t *bds) {
    (void)context;
    (void)bds; /* no fabric bridge domains */
    return 0;
}

/* Configuration requests: this platform hands none to the library. */
uint32_t cli_request_handle_get(const msg_t *msg) {
    (void)msg;
    return 0;
}

uint32_t cli_request_handle_get_ext(const msg_t *msg, void *buf) {
    (void)msg;
    (void)buf;
    return 0;
}

int cli_response_send_ok(const void *handle) {
    (void)handle;
    return 0;
}

struct msg {
    uint32_t opcode; /* the message's opcode */
    uint32_t len;    /* payload bytes */
    uint64_t data[]; /* the payload, 8-byte aligned */
};

msg_t *altplat_msg_new(uint32_t opcode, const void *payload, uint32_t len) {
    msg_t *m = malloc(sizeof *m + len);
    if (m == NULL) return NULL;
    m->opcode = opcode;
    m->len = len;
    if (len != 0) memcpy(m->data, payload, len);
    return m;
}

void altplat_msg_free(msg_t *msg) {
    free(msg);
}

uint32_t msg_opcode_get(const msg_t *msg) {
    return msg->opcode;
}

const char *msg_opcode_name_get(uint32_t opcode) {
    return opcode == 0x1A00Bu   ? "type-1 update"
           : opcode == 0x1A014u ? "type-1 update with header"
                                : "other message";
}

void *msg_payload_get(const msg_t *msg, uint32_t *len) {
    *len = msg->len;
    return msg->len != 0 ? (void *)(uintptr_t)msg->data : NULL;
}
