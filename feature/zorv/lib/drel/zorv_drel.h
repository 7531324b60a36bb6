/* SPDX-License-Identifier: Apache-2.0 */
/*
 * zorv_drel.h - the one public header of libzorvdrel.
 *
 * libzorvdrel keeps the switch's VLAN-to-VNI "type-1" parameters for the multi-chassis
 * link-aggregation peer manager (drelm), exports them to the peer switch as TLVs and checks
 * local against remote parameters so that a mismatch is charged to one VNI or one service
 * instance alone.
 *
 * Conventions
 *  - Plain C functions and plain records; the header compiles as C99 and as C++.
 *  - Every fallible operation returns a u32 status: 0 for success, else one of ZORV_DREL_ERR_*
 *    (a few allocation failures return a bare 1, as documented per operation). Constructors and
 *    lookups return a pointer or null.
 *  - Memory comes from the platform's tracked allocator under service ZORV_DREL_LIB_SERVICE_ID.
 *    Arrays handed to the caller are released with tracked_free(ZORV_DREL_LIB_SERVICE_ID, p).
 *  - Tree nodes belong to their tree once inserted; constructors hand a node to the caller, who
 *    inserts it with tree_insert.
 *  - Text renderers return fixed global buffers that the next call of the same renderer
 *    overwrites.
 *  - Integers in TLV values are u32 in host byte order. Names are 256-byte NUL-terminated fields.
 *  - Not thread-safe: every call must come from the peer manager's single event thread.
 *  - A value taken from a TLV array is never read past its TLV length.
 */
#ifndef ZORV_DREL_H
#define ZORV_DREL_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include <platform/bitset.h>
#include <platform/bmp4096.h>
#include <platform/msg.h>
#include <platform/tlv_array.h>
#include <platform/tree.h>

#include "zorv_drel_version.h"

/* Record layouts are ABI: each record below is followed by the size and field offsets it must
 * keep, so a change that moves a field fails to compile. */
#ifdef __cplusplus
#define ZORV_STATIC_ASSERT(c, m) static_assert(c, m)
#else
#define ZORV_STATIC_ASSERT(c, m) _Static_assert(c, m)
#endif
/* ZORV_LAYOUT(t, size, offsets): t is size bytes long and every field of offsets is where it
 * says (1 for a record whose only field is its first, which C puts at 0). ZORV_AT3 checks three
 * fields at once, so that a record's layout takes few lines. */
#define ZORV_LAYOUT(t, s, offsets)                                                                 \
    ZORV_STATIC_ASSERT(sizeof(t) == (s) && (offsets), "layout of " #t)
#define ZORV_AT(t, f, o) (offsetof(t, f) == (o))
#define ZORV_AT3(t, f1, o1, f2, o2, f3, o3)                                                        \
    (ZORV_AT(t, f1, o1) && ZORV_AT(t, f2, o2) && ZORV_AT(t, f3, o3))

#ifdef __cplusplus
extern "C" {
#endif

#if defined(ZORV_DREL_BUILDING)
#define ZORV_DREL_API __attribute__((visibility("default")))
#else
#define ZORV_DREL_API
#endif

/* ------------------------------------------------------------------------------------------ */
/* Frame: service identity, error codes, memory types                                          */
/* ------------------------------------------------------------------------------------------ */

#define ZORV_DREL_LIB_SERVICE_ID 1293u

#define ZORV_DREL_OK 0x00000000u
#define ZORV_DREL_ERR_FAILURE 0x42D90001u       /* a required lookup or TLV walk failed */
#define ZORV_DREL_ERR_NO_MEMORY 0x42D90002u     /* an allocation returned nothing */
#define ZORV_DREL_ERR_INVALID_ARG 0x42D90003u   /* bad argument, unsupported type, no key */
#define ZORV_DREL_ERR_PARAM_MISSING 0x42D9002Bu /* a parameter on one side of a check only */
#define ZORV_DREL_ERR_COMPAT_GBL_ENCAP_PROFILE 0x42D90038u
#define ZORV_DREL_ERR_COMPAT_GBL_ENCAP_DOT1Q_MAP 0x42D90039u
#define ZORV_DREL_ERR_COMPAT_INTF_VSI 0x42D9003Au
#define ZORV_DREL_ERR_COMPAT_INTF_VSI_ENCAP_PROF 0x42D9003Bu
#define ZORV_DREL_ERR_COMPAT_INTF_VSI_ENCAP_DOT1Q_MAP 0x42D9003Cu
#define ZORV_DREL_ERR_COMPAT_GBL_MEMBER_VNI 0x42D9003Du
#define ZORV_DREL_ERR_DRELM_NO_RECORD 0x41B70016u /* peer manager: no interface record */

/* Memory types of the tracked allocator. */
enum zorv_drel_lib_mem_type_t {
    ZORV_DREL_LIB_MEM_NONE = 0,
    ZORV_DREL_LIB_MEM_gbl_cfg_avl_node_t = 1,
    ZORV_DREL_LIB_MEM_if_cfg_avl_node_t = 2,
    ZORV_DREL_LIB_MEM_tlv_array_t = 3,
    ZORV_DREL_LIB_MEM_drelm_app_info_t = 4,
    ZORV_DREL_LIB_MEM_drelm_app_cmd_extract_info_t = 5,
    ZORV_DREL_LIB_MEM_member_vni_t = 6,
    ZORV_DREL_LIB_MEM_encap_name_t = 7,
    ZORV_DREL_LIB_MEM_encap_map_t = 8,
    ZORV_DREL_LIB_MEM_encap_profile_node = 9,
    ZORV_DREL_LIB_MEM_vsi_admin_t = 10,
    ZORV_DREL_LIB_MEM_vsi_encap_rng_t = 11,
    ZORV_DREL_LIB_MEM_gbl_cfg_memvni_avl_node_t = 12,
    ZORV_DREL_LIB_MEM_encap_uid_node_t = 13,
    ZORV_DREL_LIB_MEM_vsi_all_t = 14,
    ZORV_DREL_LIB_MEM_MAX = 15
};

/* One row of the memory-type table. */
typedef struct zorv_drel_lib_mem_type_row {
    uint32_t value;   /* memory type handed to tracked_alloc */
    const char *name; /* its name in accounting reports; "" ends the table */
} zorv_drel_lib_mem_type_row_t;
ZORV_LAYOUT(zorv_drel_lib_mem_type_row_t, 16, ZORV_AT(zorv_drel_lib_mem_type_row_t, name, 8));

/* The memory-type table: rows 0..15, then a terminating row {0, ""}. The object shares its
 * name with the enumeration's tag (C and C++ keep tags and objects apart). */
ZORV_DREL_API extern const zorv_drel_lib_mem_type_row_t zorv_drel_lib_mem_type_t[17];

/* ------------------------------------------------------------------------------------------ */
/* Type-1 parameter types and TLV value records                                                 */
/* ------------------------------------------------------------------------------------------ */

#define ZORV_TYPE1_GBL_ENCAP_PROFILE 1u        /* encap_name_t (256 bytes on the wire) */
#define ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP 2u      /* encap_map_t */
#define ZORV_TYPE1_INTF_VSI_ADMIN 5u           /* vsi_admin_t */
#define ZORV_TYPE1_INTF_VSI_ENCAP_PROF 6u      /* vsi_encap_rng_t */
#define ZORV_TYPE1_INTF_VSI_ENCAP_DOT1Q_MAP 7u /* vsi_encap_dot1q_map_t */
#define ZORV_TYPE1_GBL_MEMBER_VNI 8u           /* member_vni_t */
#define ZORV_TYPE1_INTF_VSI_ATTRIBUTES 9u      /* vsi_all_t */

#define ZORV_NAME_LEN 256u
#define ZORV_DOT1Q_COUNT 4096u
#define ZORV_VNI_MAX 0xFFFFFFu

/* Value lengths on the wire. */
#define ZORV_ENCAP_NAME_WIRE_LEN 256u
#define ZORV_ENCAP_MAP_LEN 16640u
#define ZORV_VSI_ADMIN_LEN 12u
#define ZORV_VSI_ENCAP_RNG_LEN 780u
#define ZORV_VSI_ENCAP_DOT1Q_MAP_LEN 16392u
#define ZORV_MEMBER_VNI_LEN 8u
#define ZORV_VSI_ALL_FIXED_LEN 792u /* type 9 without its dyn_map pairs */

/* Mapping modes of a service instance (vsi_all_t.map_mode). */
#define ZORV_MAP_MODE_STATIC 1u
#define ZORV_MAP_MODE_DFS 2u
#define ZORV_MAP_MODE_VMT 3u
#define ZORV_MAP_MODE_VDP 4u
#define ZORV_MAP_MODE_LLDP 5u

/* Type 1, local record: the wire value is encap_name only; id stays inside the library. */
typedef struct encap_name {
    char encap_name[256]; /* profile name, NUL-terminated */
    uint32_t id;          /* the profile's identifier, 0 when not yet assigned */
} encap_name_t;
ZORV_LAYOUT(encap_name_t, 260, ZORV_AT(encap_name_t, id, 256));

/* Type 2: a profile's dot1q-to-VNI map. */
typedef struct encap_map {
    char encap_name[256];     /* profile name */
    uint32_t dot1q_vni[4096]; /* VNI per VLAN, 0 = unmapped */
} encap_map_t;
ZORV_LAYOUT(encap_map_t, 16640, ZORV_AT(encap_map_t, dot1q_vni, 256));

/* Type 5: a service instance's admin status. */
typedef struct vsi_admin {
    uint32_t if_index; /* parent interface */
    uint32_t vsi;      /* service-instance id */
    uint32_t admin;    /* 0 = down, else up */
} vsi_admin_t;
ZORV_LAYOUT(vsi_admin_t, 12, ZORV_AT(vsi_admin_t, vsi, 4) && ZORV_AT(vsi_admin_t, admin, 8));

/* Type 6: the encap profile that a service instance uses, with its allowed VLANs. */
typedef struct vsi_encap_rng {
    uint32_t if_index;    /* parent interface */
    uint32_t vsi;         /* service-instance id */
    char encap_name[256]; /* global encap profile name */
    bmp4096_t dot1q_bmp;  /* VLANs of the profile that the service instance allows */
} vsi_encap_rng_t;
ZORV_LAYOUT(vsi_encap_rng_t, 780, ZORV_AT3(vsi_encap_rng_t, vsi, 4, encap_name, 8, dot1q_bmp, 264));

/* Type 7: a service instance's own dot1q-to-VNI map. */
typedef struct vsi_encap_dot1q_map {
    uint32_t if_index;        /* parent interface */
    uint32_t vsi;             /* service-instance id */
    uint32_t dot1q_vni[4096]; /* VNI per VLAN, 0 = unmapped */
} vsi_encap_dot1q_map_t;
ZORV_LAYOUT(vsi_encap_dot1q_map_t, 16392, ZORV_AT(vsi_encap_dot1q_map_t, dot1q_vni, 8));

/* Type 8: a VNI bound to a bridge domain (wire order: bd first). */
typedef struct member_vni {
    uint32_t bd;  /* bridge domain */
    uint32_t vni; /* member VNI */
} member_vni_t;
ZORV_LAYOUT(member_vni_t, 8, ZORV_AT(member_vni_t, vni, 4));

/* One dot1q-to-VNI pair of a type-9 value. */
typedef struct vsi_dyn_map {
    uint32_t vni;   /* VNI, 1..0xFFFFFF when valid */
    uint32_t dot1q; /* VLAN, 1..4095 when valid */
} vsi_dyn_map_t;
ZORV_LAYOUT(vsi_dyn_map_t, 8, ZORV_AT(vsi_dyn_map_t, dot1q, 4));

/* Type 9: the attributes of a service instance. Variable length: 792 + 8 * dyn_map_cnt.
 * Behind the dyn_map_cnt pairs follows a vsi_all_tail_t; use ZORV_VSI_ALL_TAIL to reach it. */
typedef struct vsi_all {
    uint32_t if_index;       /* parent interface ifindex */
    uint32_t vsi;            /* service-instance id */
    uint32_t admin;          /* admin status, 0 = down */
    uint32_t map_mode;       /* ZORV_MAP_MODE_* */
    uint32_t dyn_map_cnt;    /* N, the number of dyn_map pairs (read as signed by checks) */
    vsi_dyn_map_t dyn_map[]; /* N pairs in ascending VLAN order */
} vsi_all_t;
ZORV_LAYOUT(vsi_all_t, 20,
            ZORV_AT3(vsi_all_t, vsi, 4, admin, 8, map_mode, 12) &&
                ZORV_AT(vsi_all_t, dyn_map_cnt, 16) && ZORV_AT(vsi_all_t, dyn_map, 20));

/* The fixed tail of a type-9 value, behind its pairs. */
typedef struct vsi_all_tail {
    bmp4096_t dot1q_bmp; /* allowed VLANs (dot1q_bmp_len, then the 512 bit bytes) */
    char prof_name[256]; /* encap profile name of the service instance */
} vsi_all_tail_t;
ZORV_LAYOUT(vsi_all_tail_t, 772, ZORV_AT(vsi_all_tail_t, prof_name, 516));

/* Address of the tail of a type-9 value whose dyn_map_cnt is n (n >= 0). */
#define ZORV_VSI_ALL_TAIL(v, n)                                                                    \
    ((vsi_all_tail_t *)((uint8_t *)(v) + sizeof(vsi_all_t) + 8u * (uint32_t)(n)))

/* ------------------------------------------------------------------------------------------ */
/* Configuration cache records                                                                  */
/* ------------------------------------------------------------------------------------------ */

/* Node of the global configuration tree (zorv_drel_gbl_cfg_avl), memory type 1. */
typedef struct gbl_cfg_avl_node {
    const char *key;     /* points at map.encap_name: the tree orders by this text */
    uint32_t map_exists; /* 1 when map holds a dot1q map */
    encap_map_t map;     /* profile name and dot1q map */
    uint32_t id;         /* the profile's identifier, 0 when none */
} gbl_cfg_avl_node_t;
ZORV_LAYOUT(gbl_cfg_avl_node_t, 16656,
            ZORV_AT3(gbl_cfg_avl_node_t, map_exists, 8, map, 12, id, 16652));

/* Search key of the global configuration tree: a node serves as its own key. */
typedef struct gbl_cfg_avl_key {
    const char *key; /* profile name */
} gbl_cfg_avl_key_t;
ZORV_LAYOUT(gbl_cfg_avl_key_t, 8, 1);

/* Node and key of the member-VNI tree (zorv_drel_gbl_cfg_memvni_avl), memory type 12. */
typedef struct gbl_cfg_memvni_avl_node {
    uint32_t vni; /* the key */
    uint32_t bd;  /* bridge domain the VNI is a member of */
} gbl_cfg_memvni_avl_node_t;
ZORV_LAYOUT(gbl_cfg_memvni_avl_node_t, 8, ZORV_AT(gbl_cfg_memvni_avl_node_t, bd, 4));

/* Entry of an interface node's encap list, memory type 9. */
typedef struct encap_profile_node {
    struct encap_profile_node *next; /* next entry or null */
    char encap_name[256];            /* profile name; empty for a map-only entry */
    uint32_t all_allowed;            /* 1 when all 4096 VLANs are allowed */
    bmp4096_t dot1q_bmp;             /* allowed VLANs of the profile on this service instance */
    uint32_t dot1q_vni[4096];        /* VNI per VLAN for a map entry */
} encap_profile_node;
ZORV_LAYOUT(encap_profile_node, 17168,
            ZORV_AT3(encap_profile_node, encap_name, 8, all_allowed, 264, dot1q_bmp, 268) &&
                ZORV_AT(encap_profile_node, dot1q_vni, 784));

/* Search key of the interface tree; vsi_id 0 matches every node of the interface. */
typedef struct if_cfg_avl_key {
    uint32_t if_index; /* parent interface */
    uint32_t vsi_id;   /* service-instance id, 0 = any */
} if_cfg_avl_key_t;
ZORV_LAYOUT(if_cfg_avl_key_t, 8, ZORV_AT(if_cfg_avl_key_t, vsi_id, 4));

/* Node of the interface tree (zorv_drel_if_cfg_avl), memory type 2. */
typedef struct if_cfg_avl_node {
    uint32_t if_index;              /* parent interface; key part 1 */
    uint32_t vsi_id;                /* service-instance id; key part 2 */
    uint32_t admin;                 /* admin status, 0 = down */
    uint32_t dot1q_vni[4096];       /* VNI per VLAN, 0 = unmapped */
    uint32_t dyn_map_cnt;           /* pairs in the last type-9 value that carried any */
    uint32_t vdp;                   /* 1 when map_mode was 4 */
    uint32_t dfs;                   /* 1 when map_mode was 2 */
    uint32_t vmt;                   /* 1 when map_mode was 3 */
    uint32_t lldp;                  /* 1 when map_mode was 5 */
    bmp4096_t dot1q_bmp;            /* allowed VLANs */
    char prof_name[256];            /* encap profile name */
    uint32_t encap_count;           /* entries ever appended to encap_list */
    encap_profile_node *encap_list; /* first entry, or null */
} if_cfg_avl_node_t;
ZORV_LAYOUT(if_cfg_avl_node_t, 17200,
            ZORV_AT3(if_cfg_avl_node_t, vsi_id, 4, admin, 8, dot1q_vni, 12) &&
                ZORV_AT3(if_cfg_avl_node_t, dyn_map_cnt, 16396, vdp, 16400, dfs, 16404) &&
                ZORV_AT3(if_cfg_avl_node_t, vmt, 16408, lldp, 16412, dot1q_bmp, 16416) &&
                ZORV_AT3(if_cfg_avl_node_t, prof_name, 16932, encap_count, 17188, encap_list,
                         17192));

/* Node of the encapsulation identifier tree, memory type 13; also its search key. */
typedef struct encap_uid_node {
    char encap_name[256]; /* profile name, the key */
    uint32_t id;          /* identifier 1..4096, 0 while none is assigned */
} encap_uid_node_t;
ZORV_LAYOUT(encap_uid_node_t, 260, ZORV_AT(encap_uid_node_t, id, 256));

/* Result holder of the interface check, owned by the caller. */
typedef struct type1_compat_result {
    bmp4096_t vlan_bmp; /* the caller's VLAN bitmap; the library never writes it */
    bitset_t *vni_set;  /* VNI set created by the check; the caller frees it with bitset_free */
} type1_compat_result_t;
ZORV_LAYOUT(type1_compat_result_t, 528, ZORV_AT(type1_compat_result_t, vni_set, 520));

/* ------------------------------------------------------------------------------------------ */
/* Messages, extraction records, printable rows                                                 */
/* ------------------------------------------------------------------------------------------ */

#define ZORV_DREL_OPC_CLI_CONFIG 0x1DFFu     /* configuration request: refused */
#define ZORV_DREL_OPC_CLI_TLV_CONFIG 0x1E02u /* configuration (TLV) request: refused */
#define ZORV_DREL_OPC_TYPE1_UPD 0x1A00Bu     /* update record at payload offset 0 */
#define ZORV_DREL_OPC_TYPE1_UPD_HDR 0x1A014u /* 16-byte header, then the update record */
#define ZORV_DREL_UPD_HDR_LEN 16u
#define ZORV_DREL_UPD_RESP_PRESENT_OFF 12u

/* Update record carried by the type-1 update messages. */
typedef struct zorv_type1_upd {
    uint32_t is_delete; /* nonzero: delete the TLVs; 0: add or replace */
    uint32_t if_index;  /* 0: global parameters; else the interface they belong to */
    uint32_t param_len; /* bytes of the TLV array that follows, its header included */
    uint8_t param[];    /* an aligned TLV array (tlv_array_t) */
} zorv_type1_upd_t;
ZORV_LAYOUT(zorv_type1_upd_t, 12, ZORV_AT3(zorv_type1_upd_t, if_index, 4, param_len, 8, param, 12));

/* What was done with one TLV of an update, memory type 5 (array of them). */
typedef struct drelm_app_cmd_extract_info {
    uint32_t type;   /* type-1 type of the TLV; 0 when not extracted */
    uint32_t action; /* 1 = replace, 0 = delete */
    uint32_t idx;    /* the parameter's index (zorv_drel_lib_get_uid) */
    uint32_t is_gbl; /* 1 when the update was global */
    uint32_t if_idx; /* the update's interface */
} drelm_app_cmd_extract_info_t;
ZORV_LAYOUT(drelm_app_cmd_extract_info_t, 20,
            ZORV_AT3(drelm_app_cmd_extract_info_t, action, 4, idx, 8, is_gbl, 12) &&
                ZORV_AT(drelm_app_cmd_extract_info_t, if_idx, 16));

/* One printable parameter row. */
typedef struct drelm_app_info_entry {
    uint32_t info_tag;      /* always 160 */
    uint32_t param_type;    /* type-1 type of the TLV */
    uint32_t reserved;      /* 0 */
    char feature_name[256]; /* "ZORV" */
    char param_name[256];   /* "Gbl BD member vni" or "Service instance vni" */
    char param_value[256];  /* the value rendered as text */
} drelm_app_info_entry_t;
ZORV_LAYOUT(drelm_app_info_entry_t, 780,
            ZORV_AT3(drelm_app_info_entry_t, param_type, 4, reserved, 8, feature_name, 12) &&
                ZORV_AT(drelm_app_info_entry_t, param_name, 268) &&
                ZORV_AT(drelm_app_info_entry_t, param_value, 524));

/* Printable rows of a TLV array, memory type 4. */
typedef struct drelm_app_info {
    uint32_t count;                   /* number of entries */
    drelm_app_info_entry_t entries[]; /* one per TLV */
} drelm_app_info_t;
ZORV_LAYOUT(drelm_app_info_t, 4, ZORV_AT(drelm_app_info_t, entries, 4));

/* Range list read by the range utilities. */
typedef struct zorv_range {
    uint32_t first; /* first value */
    uint32_t last;  /* last value; equal to first for a single value */
} zorv_range_t;
ZORV_LAYOUT(zorv_range_t, 8, ZORV_AT(zorv_range_t, last, 4));

typedef struct zorv_mrange {
    uint32_t reserved;     /* not read */
    uint32_t count;        /* number of ranges */
    zorv_range_t ranges[]; /* the ranges, in order */
} zorv_mrange_t;
ZORV_LAYOUT(zorv_mrange_t, 8, ZORV_AT(zorv_mrange_t, ranges, 8));

/* ------------------------------------------------------------------------------------------ */
/* Frame and formats                                                                            */
/* ------------------------------------------------------------------------------------------ */

/* The open debug log file: null until the first successful zorv_drel_lib_debug_print, then
 * kept open for the life of the process. */
ZORV_DREL_API extern FILE *zorv_drel_lib_debug_file;
/* 1 once the debug-history buffers are open; until then every log event tries to open them. */
ZORV_DREL_API extern uint32_t zorv_drel_lib_logbuf_init_done;

/* Opens the debug-history buffers; retried by every log event until it succeeds once. */
ZORV_DREL_API void zorv_drel_lib_logbuf_init(void);
/* Appends one formatted text to the debug log file; returns the flush result, 0 when the file
 * cannot be opened. The first argument is not used. */
ZORV_DREL_API int zorv_drel_lib_debug_print(uint32_t unused, const char *format, ...)
    __attribute__((format(printf, 2, 3)));
/* Name of a memory type, or null. */
ZORV_DREL_API const char *__zorv_drel_lib_mem_type_t_find(uint32_t value);
/* Memory type of a name (case-insensitive), 0 when unknown. */
ZORV_DREL_API uint32_t __zorv_drel_lib_mem_type_t_str2enum(const char *name);
/* A zero-filled tracked block of `size` bytes and memory type `mem_type`, or null. */
ZORV_DREL_API void *zorv_drel_lib_calloc(uint32_t mem_type, uint32_t size);
/* Name of a type-1 type; "" for an unknown one, never null. */
ZORV_DREL_API const char *zorv_drel_type1_cfg_type_to_str(uint16_t type);
/* Compatibility error code of a type-1 type; ZORV_DREL_ERR_FAILURE for an unknown one. */
ZORV_DREL_API uint32_t zorv_drel_get_type1_cfg_compat_chk_errcode(uint16_t type);
/* Type of a uid: its top byte. */
ZORV_DREL_API uint32_t zorv_drel_lib_get_type_from_uid(uint32_t uid);
/* Always 0: no type-1 parameter is ever at its default. */
ZORV_DREL_API uint32_t zorv_drel_type1_cfg_param_is_default(uint16_t type, uint16_t len,
                                                            const void *value);
/* Always 0: an interface's encap list contributes no TLVs of its own. */
ZORV_DREL_API uint32_t zorv_drel_if_cfg_avl_encaplist_add_tlvs(const if_cfg_avl_node_t *node,
                                                               uint32_t array_size,
                                                               tlv_array_t *array);
/* Always 0: does nothing (the remote re-check is zorv_drel_type1_rmt_cfg_cache_rebuild). */
ZORV_DREL_API uint32_t zorv_drel_type1_rem_cfg_cache_rebuild(const tlv_array_t *tlv_array,
                                                             uint32_t is_gbl, uint32_t if_index);
/* Always 0: reports that no service instance uses an encap profile. */
ZORV_DREL_API uint32_t zorv_drel_lib_any_vsi_using_encap(const char *encap_name);

/* Builds the TLV value of a member-VNI node (type 8) or an interface node (type 9) in a new
 * tracked block. *out_value must be null on entry; the caller releases the value with
 * zorv_drel_lib_free_tlv. */
ZORV_DREL_API uint32_t zorv_drel_lib_alloc_tlv(uint16_t type, uint16_t *out_type, uint16_t *out_len,
                                               void **out_value, const void *node);
/* Releases a value of a known type; an unknown type is logged and nothing is freed. */
ZORV_DREL_API uint32_t zorv_drel_lib_free_tlv(uint16_t type, void *value);
/* Store the byte-swapped len of src into dst->len; nothing else is touched. */
ZORV_DREL_API void zorv_drel_lib_bmp4096_hton(const bmp4096_t *src, bmp4096_t *dst);
ZORV_DREL_API void zorv_drel_lib_bmp4096_ntoh(const bmp4096_t *src, bmp4096_t *dst);

/* ------------------------------------------------------------------------------------------ */
/* Text rendering (fixed global buffers, overwritten by the next call)                          */
/* ------------------------------------------------------------------------------------------ */

ZORV_DREL_API extern char zorv_vlan_bmp_str_buf[16384];
ZORV_DREL_API extern char zorv_if_vsi_all_str_buf[256];
ZORV_DREL_API extern char zorv_gbl_encap_map_str_buf[256];
ZORV_DREL_API extern char zorv_gbl_memvni_str_buf[256];
ZORV_DREL_API extern char zorv_if_encap_range_str_buf[256];

ZORV_DREL_API char *zorv_drel_gbl_tlv_memvni_to_str(const member_vni_t *value);
ZORV_DREL_API char *zorv_drel_if_tlv_encap_range_to_str(const vsi_encap_rng_t *value);
ZORV_DREL_API char *zorv_drel_lib_dot1q_map_to_str(const bmp4096_t *bitmap);
/* value is 792 + 8 * dyn_map_cnt bytes long (the caller has checked it). */
ZORV_DREL_API char *zorv_drel_gbl_tlv_encap_map_to_str(const encap_map_t *dot1q_map,
                                                       const vsi_all_t *vsi_all);
ZORV_DREL_API char *zorv_drel_if_tlv_vsi_all_to_str(const vsi_all_t *value);
ZORV_DREL_API int zorv_drel_lib_print_vlan_bmp(const bmp4096_t *bitmap, const char *tag);
ZORV_DREL_API int32_t zorv_int_strlen(int32_t n);
ZORV_DREL_API uint32_t zorv_int_mrange_strlen(const zorv_mrange_t *list);
ZORV_DREL_API int32_t zorv_int_mrange_snprintf(char *dst, uint32_t size, const zorv_mrange_t *list);
ZORV_DREL_API int32_t zorv_int_bd_mrange_snprintf(char *dst, uint32_t size,
                                                  const zorv_mrange_t *list);
ZORV_DREL_API uint32_t zorv_get_native_vlan_for_port(void);
ZORV_DREL_API uint32_t zorv_valid_if_index(uint32_t if_index);

/* ------------------------------------------------------------------------------------------ */
/* Global configuration tree                                                                    */
/* ------------------------------------------------------------------------------------------ */

ZORV_DREL_API extern tree_t *zorv_drel_gbl_cfg_avl;

ZORV_DREL_API int zorv_drel_gbl_cfg_avl_cmp_func(const void *a, const void *b);
ZORV_DREL_API uint32_t zorv_drel_set_gbl_key(gbl_cfg_avl_key_t *key, uint16_t type, uint32_t len,
                                             const void *value);
/* Type 1: value is an encap_name_t whose id is settled and written back; type 2: encap_map_t. */
ZORV_DREL_API gbl_cfg_avl_node_t *zorv_drel_create_gbl_node(const void *unused, uint16_t type,
                                                            uint32_t len, void *value);
ZORV_DREL_API uint32_t zorv_drel_gbl_cfg_avl_update(gbl_cfg_avl_node_t *node, uint16_t type,
                                                    uint32_t len, const void *value,
                                                    uint32_t is_delete);
ZORV_DREL_API void zorv_drel_gbl_cfg_delete_cache_node(gbl_cfg_avl_node_t *node);
ZORV_DREL_API void zorv_drel_gbl_cfg_delete_cache_key(const gbl_cfg_avl_key_t *key);
ZORV_DREL_API void zorv_drel_gbl_cfg_avl_free(void *node);
ZORV_DREL_API uint32_t zorv_drel_gbl_cfg_avl_tlvs_size_get(const gbl_cfg_avl_node_t *node);
ZORV_DREL_API uint32_t zorv_drel_gbl_cfg_avl_tlvs_add(const gbl_cfg_avl_node_t *node,
                                                      uint32_t array_size, tlv_array_t *array);
ZORV_DREL_API uint32_t zorv_drel_get_gbl_cfg_node_id(const char *name);

/* ------------------------------------------------------------------------------------------ */
/* Member-VNI tree                                                                              */
/* ------------------------------------------------------------------------------------------ */

ZORV_DREL_API extern tree_t *zorv_drel_gbl_cfg_memvni_avl;

ZORV_DREL_API int zorv_drel_gbl_cfg_memvni_avl_cmp_func(const void *a, const void *b);
ZORV_DREL_API uint32_t zorv_drel_set_gbl_memvni_key(gbl_cfg_memvni_avl_node_t *key, uint16_t type,
                                                    uint32_t len, const member_vni_t *value);
ZORV_DREL_API gbl_cfg_memvni_avl_node_t *
zorv_drel_create_gbl_memvni_node(const void *unused, uint16_t type, uint32_t len,
                                 const member_vni_t *value);
ZORV_DREL_API uint32_t zorv_drel_gbl_cfg_memvni_avl_update(gbl_cfg_memvni_avl_node_t *node,
                                                           uint16_t type, uint32_t len,
                                                           const member_vni_t *value);
ZORV_DREL_API void zorv_drel_gbl_cfg_memvni_delete_cache_node(gbl_cfg_memvni_avl_node_t *node);
ZORV_DREL_API void zorv_drel_gbl_cfg_memvni_delete_cache_key(const gbl_cfg_memvni_avl_node_t *key);
ZORV_DREL_API void zorv_drel_gbl_cfg_memvni_avl_free(void *node);
ZORV_DREL_API uint32_t
zorv_drel_gbl_cfg_memvni_avl_tlvs_size_get(const gbl_cfg_memvni_avl_node_t *node);
ZORV_DREL_API uint32_t zorv_drel_gbl_cfg_memvni_avl_tlvs_add(const member_vni_t *value,
                                                             uint32_t array_size,
                                                             tlv_array_t *array);

/* ------------------------------------------------------------------------------------------ */
/* Interface tree                                                                               */
/* ------------------------------------------------------------------------------------------ */

ZORV_DREL_API extern tree_t *zorv_drel_if_cfg_avl;

ZORV_DREL_API int zorv_drel_if_cfg_avl_cmp_func(const void *a, const void *b);
ZORV_DREL_API uint32_t zorv_drel_set_if_key(if_cfg_avl_key_t *key, uint16_t type, uint32_t len,
                                            const void *value, uint32_t if_index);
/* A new node of the key, filled from the value by zorv_drel_if_cfg_avl_update; null when the
 * node cannot be allocated or the update fails (a refused value included). */
ZORV_DREL_API if_cfg_avl_node_t *zorv_drel_create_if_node(const if_cfg_avl_key_t *key,
                                                          uint16_t type, uint16_t len,
                                                          const void *value);
/* Applies a type 5, 6 or 9 value of len bytes. A value is read only within len: a type-5 or
 * type-6 value shorter than its fixed length, and a type-9 value shorter than 792 bytes, with a
 * negative dyn_map_cnt or with more pairs than len holds, is refused with
 * ZORV_DREL_ERR_INVALID_ARG and a log line, the node unchanged (pairs are never cut). Other types
 * are logged and give 0. */
ZORV_DREL_API uint32_t zorv_drel_if_cfg_avl_update(if_cfg_avl_node_t *node, uint16_t type,
                                                   uint16_t len, const void *value);
ZORV_DREL_API uint32_t zorv_drel_if_cfg_avl_update_encap(if_cfg_avl_node_t *node, uint16_t type,
                                                         uint32_t len, const void *value,
                                                         uint32_t append);
ZORV_DREL_API uint32_t zorv_drel_if_cfg_avl_append_encap(if_cfg_avl_node_t *node, const char *name,
                                                         const bmp4096_t *bitmap,
                                                         const uint32_t *map);
/* Pointer to the matching entry's encap_name field, or null. */
ZORV_DREL_API char *zorv_drel_if_cfg_avl_get_encap(const if_cfg_avl_node_t *node, const char *name);
ZORV_DREL_API uint32_t zorv_drel_if_cfg_avl_del_encap(if_cfg_avl_node_t *node, const char *name);
ZORV_DREL_API uint32_t zorv_drel_if_cfg_avl_delete(if_cfg_avl_node_t *node, uint16_t type,
                                                   uint32_t len, const void *value);
ZORV_DREL_API void zorv_drel_if_cfg_delete_cache_node(if_cfg_avl_node_t *node);
ZORV_DREL_API void zorv_drel_if_cfg_delete_cache_key(const if_cfg_avl_key_t *key);
ZORV_DREL_API void zorv_drel_if_cfg_avl_free(void *node);
ZORV_DREL_API void zorv_drel_if_cfg_avl_free_encaplist(if_cfg_avl_node_t *node);
ZORV_DREL_API uint32_t zorv_drel_if_cfg_avl_encaplist_tlv_size(const if_cfg_avl_node_t *node);
ZORV_DREL_API uint32_t zorv_drel_lib_get_drel_id(uint32_t if_index, uint32_t *drel_id);
ZORV_DREL_API uint32_t zorv_drel_lib_get_ifindex_from_drel_id(uint32_t drel_id, uint32_t arg);
ZORV_DREL_API uint32_t zorv_drel_lib_mct_exists(void);

/* ------------------------------------------------------------------------------------------ */
/* Encapsulation identifier allocator                                                           */
/* ------------------------------------------------------------------------------------------ */

ZORV_DREL_API extern tree_t *zorv_drel_encap_uid_avl;
ZORV_DREL_API extern bmp4096_t *free_encap_bmp_p;

ZORV_DREL_API int zorv_drel_encap_uid_avl_cmp(const void *a, const void *b);
ZORV_DREL_API encap_uid_node_t *zorv_drel_encap_uid_avl_insert(const char *name);
ZORV_DREL_API encap_uid_node_t *zorv_drel_encap_uid_avl_find(const char *name);
ZORV_DREL_API void zorv_drel_encap_uid_avl_delete(encap_uid_node_t *node);
ZORV_DREL_API void zorv_drel_encap_uid_avl_free(void *node);
ZORV_DREL_API uint32_t zorv_drel_set_encap_uid(const char *name);
ZORV_DREL_API uint32_t zorv_drel_restore_encap_uid(const char *name, uint32_t id);
ZORV_DREL_API uint32_t zorv_drel_get_encap_uid(const encap_name_t *record);
ZORV_DREL_API uint32_t zorv_drel_free_encap_uid(const char *name);
ZORV_DREL_API uint32_t zorv_drel_lib_get_uid(uint16_t type, uint32_t len, const void *value);

/* ------------------------------------------------------------------------------------------ */
/* Parameter extraction, cache update, rebuild, export                                          */
/* ------------------------------------------------------------------------------------------ */

/* Applies a configuration message; on success the caller owns *tlv_array_out and *info_out. */
ZORV_DREL_API uint32_t zorv_drel_type1_cfg_param_extractor(const msg_t *msg,
                                                           tlv_array_t **tlv_array_out,
                                                           uint32_t *num_tlvs_out,
                                                           uint32_t *reserved_out,
                                                           drelm_app_cmd_extract_info_t **info_out);
ZORV_DREL_API uint32_t zorv_drel_param_extractor_from_zorv_type1_upd(
    const msg_t *msg, tlv_array_t **tlv_array_out, uint32_t *num_tlvs_out, uint32_t *reserved_out,
    drelm_app_cmd_extract_info_t **info_out);
ZORV_DREL_API uint32_t zorv_drel_extract_if_params(uint32_t is_delete, uint16_t type, uint16_t len,
                                                   const void *value, uint32_t if_index,
                                                   drelm_app_cmd_extract_info_t *info);
ZORV_DREL_API uint32_t zorv_drel_extract_memvni_param(uint32_t is_delete, uint16_t type,
                                                      uint16_t len, const void *value,
                                                      drelm_app_cmd_extract_info_t *info);
ZORV_DREL_API uint32_t zorv_drel_param_extractor_from_cli(void *cookie, const void *request_handle);
ZORV_DREL_API uint32_t zorv_drel_extract_encap_map_param(void);
ZORV_DREL_API uint32_t zorv_drel_extract_encap_profile_param(void);

ZORV_DREL_API uint32_t zorv_drel_type1_cfg_cache_update(uint32_t is_delete, uint32_t is_gbl,
                                                        uint32_t if_index, const msg_t *msg);
ZORV_DREL_API uint32_t zorv_drel_type1_cfg_cache_rebuild(const tlv_array_t *tlv_array,
                                                         uint32_t is_gbl, uint32_t if_index);

ZORV_DREL_API uint32_t zorv_drel_type1_cfg_get_params(uint32_t is_gbl, uint32_t if_index,
                                                      tlv_array_t **tlv_array_out);
ZORV_DREL_API uint32_t zorv_drel_gbl_cfg_avl_get_params(tlv_array_t **tlv_array_out);
ZORV_DREL_API uint32_t zorv_drel_gbl_cfg_memvni_avl_get_params(tlv_array_t **tlv_array_out);
ZORV_DREL_API uint32_t zorv_drel_if_cfg_avl_get_params(uint32_t if_index,
                                                       tlv_array_t **tlv_array_out);
ZORV_DREL_API uint32_t zorv_drel_type1_cfg_get_param_info(const tlv_array_t *tlv_array,
                                                          drelm_app_info_t **info_out);

/* ------------------------------------------------------------------------------------------ */
/* Compatibility checks                                                                         */
/* ------------------------------------------------------------------------------------------ */

/* Graceful per-VNI check; gives pass_res and fail_res fresh VNI sets that the caller frees. */
ZORV_DREL_API uint32_t zorv_drel_type1_cfg_compat_check(
    uint32_t app_param, const tlv_array_t *lcl_tlvs, const tlv_array_t *rmt_tlvs, uint32_t flags,
    uint32_t reserved, type1_compat_result_t *pass_res, type1_compat_result_t *fail_res);
/* One pair of the graceful check. Only types 8 and 9 are judged, and only their local values are
 * read; a remote value of a known type must hold its record. A type-9 value from a peer up to
 * protocol version 39 needs only its head and pairs; from 40 on also the bitmap and name behind
 * them. A local dyn_map_cnt of 0 or less means no pairs; a remote one below 0 fails the pair. */
ZORV_DREL_API uint32_t zorv_drel_type1_cfg_compat_check_tlv(uint16_t lcl_type, uint16_t lcl_len,
                                                            const void *lcl_val, uint16_t rmt_type,
                                                            uint32_t rmt_len, const void *rmt_val,
                                                            uint32_t aux_ctx,
                                                            type1_compat_result_t *pass_res,
                                                            type1_compat_result_t *fail_res);
/* Strict whole-attribute check of type 9. */
ZORV_DREL_API uint32_t zorv_drel_type1_cfg_gbl_compat_check(uint32_t app_param,
                                                            const tlv_array_t *lcl_tlvs,
                                                            const tlv_array_t *rmt_tlvs);
/* One pair of the strict check: only type 9 is judged, under the value rules of the graceful
 * check's pair. */
ZORV_DREL_API uint32_t zorv_drel_type1_cfg_gbl_compat_check_tlv(uint16_t lcl_type, uint16_t lcl_len,
                                                                const void *lcl_val,
                                                                uint16_t rmt_type, uint32_t rmt_len,
                                                                const void *rmt_val);
/* Re-checks each remote TLV against the cache entry with the same key; the walk ends with 0 at
 * the first TLV the cache lacks. A TLV too short for the bytes its key is built from is skipped.
 * Each pair is judged with fresh, empty holders that are discarded after it. */
ZORV_DREL_API uint32_t zorv_drel_type1_rmt_cfg_cache_rebuild(const tlv_array_t *rmt_tlvs,
                                                             uint32_t is_gbl, uint32_t if_index);

/* ------------------------------------------------------------------------------------------ */
/* Lookups and failed sets                                                                      */
/* ------------------------------------------------------------------------------------------ */

ZORV_DREL_API uint32_t zorv_drel_lib_get_bd_for_vni(uint32_t vni);
ZORV_DREL_API uint32_t zorv_drel_lib_get_bd_bmp_for_vsi(const if_cfg_avl_node_t *if_node,
                                                        bmp4096_t *bd_bmp, bitset_t *vni_set);
/* On success *map_out points into the cache: do not free it or keep it across an update. */
ZORV_DREL_API uint32_t zorv_drel_lib_get_gbl_dot1qmap_for_encap(const char *encap_name,
                                                                uint32_t **map_out);
ZORV_DREL_API uint32_t zorv_drel_lib_check_failed_vlans_vni(uint16_t type, const uint32_t *lcl_map,
                                                            const uint32_t *rmt_map,
                                                            const bmp4096_t *pelk_bmp,
                                                            bmp4096_t *pass_bmp,
                                                            bmp4096_t *failed_bmp);
ZORV_DREL_API uint32_t zorv_drel_lib_check_failed_vlans_bmp(
    uint16_t type, const uint32_t *dot1q_map, const bmp4096_t *lcl_bmp, const bmp4096_t *rmt_bmp,
    const bmp4096_t *pelk_bmp, bmp4096_t *pass_bmp, bmp4096_t *failed_bmp);
/* lcl_val and rmt_val are type-9 values whose lengths the caller has checked. */
ZORV_DREL_API uint32_t zorv_drel_lib_check_failed_bds_vsi(uint16_t type, const vsi_all_t *lcl_val,
                                                          const vsi_all_t *rmt_val,
                                                          uint32_t aux_ctx,
                                                          type1_compat_result_t *pass_res,
                                                          type1_compat_result_t *fail_res);
ZORV_DREL_API uint32_t zorv_drel_lib_fail_all_vlans_vsi(const if_cfg_avl_node_t *if_node,
                                                        uint16_t type, uint32_t aux_ctx,
                                                        type1_compat_result_t *pass_res,
                                                        type1_compat_result_t *fail_res);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* ZORV_DREL_H */
