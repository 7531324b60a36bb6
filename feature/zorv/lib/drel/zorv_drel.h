/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file zorv_drel.h
 * @brief The one public header of libzorvdrel.
 *
 * libzorvdrel keeps the switch's VLAN-to-VNI "type-1" parameters for the multi-chassis
 * link-aggregation peer manager (drelm), exports them to the peer switch as TLVs and checks
 * local against remote parameters so that a mismatch is charged to one VNI or one service
 * instance alone.
 *
 * @par Conventions
 *  - Plain C functions and plain records; the header builds as C99, gnu99, C11 and as C++11,
 *    C++17 and C++20, also under `-Wall -Wextra -pedantic -Werror`.
 *  - Every fallible operation returns a u32 status: #ZORV_DREL_OK (0) for success, else one of
 *    the `ZORV_DREL_ERR_*` codes, a code of the platform passed through (named per operation),
 *    or, where an operation says so, a legacy value: a bare `1` for some allocation failures and
 *    `0xFFFFFFFF` from zorv_drel_if_cfg_avl_delete(). Constructors and lookups return a pointer or
 *    null.
 *  - Memory comes from the platform's tracked allocator under service #ZORV_DREL_LIB_SERVICE_ID.
 *    Arrays handed to the caller are the caller's and are released with
 *    `tracked_free(ZORV_DREL_LIB_SERVICE_ID, p)`. On failure an operation hands nothing over,
 *    except where it says otherwise.
 *  - Tree nodes belong to their tree once inserted; constructors hand a node to the caller, who
 *    inserts it with `tree_insert` or frees it with the tree's free function.
 *  - Text renderers return fixed global buffers that the next call of the same renderer
 *    overwrites; the caller never frees them.
 *  - Integers in TLV values are u32 in host byte order. Names are 256-byte fields, NUL-terminated
 *    unless a received name fills all 256 bytes; every compare stops after 256 bytes.
 *  - Not thread-safe: every call must come from the peer manager's single event thread.
 *  - A value taken from a TLV array is never read past its TLV length.
 *  - Every operation logs to the platform's debug history; logging never fails an operation.
 *
 * @par Error codes
 * Each code with its name, the text `error_to_string` gives, and when it is returned:
 *  - 0x00000000 #ZORV_DREL_OK, "success": success.
 *  - 0x42D90001 #ZORV_DREL_ERR_FAILURE, "failure": a lookup or TLV walk failed, two arrays do
 *    not pair.
 *  - 0x42D90002 #ZORV_DREL_ERR_NO_MEMORY, "no memory": an allocation returned nothing.
 *  - 0x42D90003 #ZORV_DREL_ERR_INVALID_ARG, "invalid argument": a bad or null argument, an
 *    unsupported type, no key.
 *  - 0x42D9002B #ZORV_DREL_ERR_PARAM_MISSING, "parameter missing": a parameter on one side of a
 *    check only.
 *  - 0x42D90038 #ZORV_DREL_ERR_COMPAT_GBL_ENCAP_PROFILE, "type-1 compatibility check failed for
 *    type 1": a check of type 1 failed.
 *  - 0x42D90039 #ZORV_DREL_ERR_COMPAT_GBL_ENCAP_DOT1Q_MAP, "type-1 compatibility check failed for
 *    type 2": a check of type 2 failed.
 *  - 0x42D9003A #ZORV_DREL_ERR_COMPAT_INTF_VSI, "type-1 compatibility check failed for type 5 or
 *    type 9": a check of type 5 or 9 failed.
 *  - 0x42D9003B #ZORV_DREL_ERR_COMPAT_INTF_VSI_ENCAP_PROF, "type-1 compatibility check failed for
 *    type 6": a check of type 6 failed.
 *  - 0x42D9003C #ZORV_DREL_ERR_COMPAT_INTF_VSI_ENCAP_DOT1Q_MAP, "type-1 compatibility check
 *    failed for type 7": a check of type 7 failed.
 *  - 0x42D9003D #ZORV_DREL_ERR_COMPAT_GBL_MEMBER_VNI, "type-1 compatibility check failed for
 *    type 8": a check of type 8 failed.
 *  - 0x41B70016 #ZORV_DREL_ERR_DRELM_NO_RECORD, "peer manager: no record": the peer manager has no
 *    peer-link record of an interface (passed on).
 *  - 0x0E020001..3 `TREE_ERR_*`: passed through from the tree where an operation says so (texts
 *    in docs/porting.md).
 *  - 0x0E030001..3 `TLV_ERR_*`: passed through from the TLV array where an operation says so
 *    (texts in docs/porting.md).
 *  - 1 (legacy): a failed allocation in the operations that say so.
 *  - 0xFFFFFFFF (legacy): zorv_drel_if_cfg_avl_delete() cannot delete.
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

/**
 * @def ZORV_LAYOUT(t, s, offsets)
 * Checks at compile time that record @p t is @p s bytes long and that @p offsets (an expression
 * of ZORV_AT() and ZORV_AT3() terms, or 1) holds: record layouts are ABI, so a change that moves
 * a field fails to compile, in C99 as in C11 and C++. C99 has no static assertion: there the
 * check is an array type, named after the record, whose size is negative when it fails.
 */
#if defined(__cplusplus)
#define ZORV_LAYOUT(t, s, offsets) static_assert(sizeof(t) == (s) && (offsets), "layout of " #t)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define ZORV_LAYOUT(t, s, offsets) _Static_assert(sizeof(t) == (s) && (offsets), "layout of " #t)
#else
#define ZORV_LAYOUT(t, s, offsets)                                                                 \
    typedef char zorv_layout_of_##t[(sizeof(t) == (s) && (offsets)) ? 1 : -1]
#endif
/** True when field @p f of record @p t lies at offset @p o; a term of ZORV_LAYOUT(). */
#define ZORV_AT(t, f, o) (offsetof(t, f) == (o))
/** Three ZORV_AT() terms at once, so that a record's layout takes few lines. */
#define ZORV_AT3(t, f1, o1, f2, o2, f3, o3)                                                        \
    (ZORV_AT(t, f1, o1) && ZORV_AT(t, f2, o2) && ZORV_AT(t, f3, o3))

/**
 * @def ZORV_FLEX_ARRAY(type, name)
 * Declares a record's last field as the flexible array `type name[]`. C++ has no flexible array
 * member; g++ and clang++ lay one out as C does, and take it here without a pedantic warning.
 */
#if defined(__cplusplus)
#define ZORV_FLEX_ARRAY(type, name)                                                                \
    _Pragma("GCC diagnostic push") _Pragma("GCC diagnostic ignored \"-Wpedantic\"") type name[];   \
    _Pragma("GCC diagnostic pop")
#else
#define ZORV_FLEX_ARRAY(type, name) type name[];
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** Marks the library's exported names while it is built; empty for its consumers. */
#if defined(ZORV_DREL_BUILDING)
#define ZORV_DREL_API __attribute__((visibility("default")))
#else
#define ZORV_DREL_API
#endif

/* ------------------------------------------------------------------------------------------ */
/* Frame: service identity, error codes, memory types                                          */
/* ------------------------------------------------------------------------------------------ */

/** Service of every tracked allocation and debug-history event of the library (0x50D). */
#define ZORV_DREL_LIB_SERVICE_ID 1293u

/** Success. */
#define ZORV_DREL_OK 0x00000000u
/** A required lookup or TLV walk failed, or two arrays of a check do not pair. */
#define ZORV_DREL_ERR_FAILURE 0x42D90001u
/** An allocation returned nothing. */
#define ZORV_DREL_ERR_NO_MEMORY 0x42D90002u
/** A bad or null argument, an unsupported type, a value too short, or no key for a value. */
#define ZORV_DREL_ERR_INVALID_ARG 0x42D90003u
/** A check found a parameter on one side only, or on neither. */
#define ZORV_DREL_ERR_PARAM_MISSING 0x42D9002Bu
/** A compatibility check of type 1 (#ZORV_TYPE1_GBL_ENCAP_PROFILE) failed. */
#define ZORV_DREL_ERR_COMPAT_GBL_ENCAP_PROFILE 0x42D90038u
/** A compatibility check of type 2 (#ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP) failed. */
#define ZORV_DREL_ERR_COMPAT_GBL_ENCAP_DOT1Q_MAP 0x42D90039u
/** A compatibility check of type 5 or type 9 failed (the two share the code). */
#define ZORV_DREL_ERR_COMPAT_INTF_VSI 0x42D9003Au
/** A compatibility check of type 6 (#ZORV_TYPE1_INTF_VSI_ENCAP_PROF) failed. */
#define ZORV_DREL_ERR_COMPAT_INTF_VSI_ENCAP_PROF 0x42D9003Bu
/** A compatibility check of type 7 (#ZORV_TYPE1_INTF_VSI_ENCAP_DOT1Q_MAP) failed. */
#define ZORV_DREL_ERR_COMPAT_INTF_VSI_ENCAP_DOT1Q_MAP 0x42D9003Cu
/** A compatibility check of type 8 (#ZORV_TYPE1_GBL_MEMBER_VNI) failed. */
#define ZORV_DREL_ERR_COMPAT_GBL_MEMBER_VNI 0x42D9003Du
/** The peer manager's code for an interface without a peer-link record, passed on. */
#define ZORV_DREL_ERR_DRELM_NO_RECORD 0x41B70016u

/** Memory types of the tracked allocator: every allocation of the library names one. */
enum zorv_drel_lib_mem_type_t {
    ZORV_DREL_LIB_MEM_NONE = 0,                         /**< no type; never allocated */
    ZORV_DREL_LIB_MEM_gbl_cfg_avl_node_t = 1,           /**< global configuration tree nodes */
    ZORV_DREL_LIB_MEM_if_cfg_avl_node_t = 2,            /**< interface tree nodes */
    ZORV_DREL_LIB_MEM_tlv_array_t = 3,                  /**< TLV arrays handed to the caller */
    ZORV_DREL_LIB_MEM_drelm_app_info_t = 4,             /**< printable rows */
    ZORV_DREL_LIB_MEM_drelm_app_cmd_extract_info_t = 5, /**< extraction records */
    ZORV_DREL_LIB_MEM_member_vni_t = 6,                 /**< type-8 values */
    ZORV_DREL_LIB_MEM_encap_name_t = 7,                 /**< type-1 values */
    ZORV_DREL_LIB_MEM_encap_map_t = 8,                  /**< type-2 values */
    ZORV_DREL_LIB_MEM_encap_profile_node = 9,           /**< encap list entries */
    ZORV_DREL_LIB_MEM_vsi_admin_t = 10,                 /**< type-5 values */
    ZORV_DREL_LIB_MEM_vsi_encap_rng_t = 11,             /**< type-6 values */
    ZORV_DREL_LIB_MEM_gbl_cfg_memvni_avl_node_t = 12,   /**< member-VNI tree nodes */
    ZORV_DREL_LIB_MEM_encap_uid_node_t = 13,            /**< identifier tree nodes */
    ZORV_DREL_LIB_MEM_vsi_all_t = 14,                   /**< type-9 values */
    ZORV_DREL_LIB_MEM_MAX = 15                          /**< the number of types; never allocated */
};

/** One row of the memory-type table. */
typedef struct zorv_drel_lib_mem_type_row {
    uint32_t value;   /**< memory type handed to tracked_alloc */
    const char *name; /**< its name in accounting reports; "" ends the table */
} zorv_drel_lib_mem_type_row_t;
ZORV_LAYOUT(zorv_drel_lib_mem_type_row_t, 16, ZORV_AT(zorv_drel_lib_mem_type_row_t, name, 8));

/** The memory-type table: rows 0..15, each named as its enumerator, then a terminating row
 * {0, ""}. Read-only. The object shares its name with the enumeration's tag (C and C++ keep
 * tags and objects apart). */
ZORV_DREL_API extern const zorv_drel_lib_mem_type_row_t zorv_drel_lib_mem_type_t[17];

/* ------------------------------------------------------------------------------------------ */
/* Type-1 parameter types and TLV value records                                                 */
/* ------------------------------------------------------------------------------------------ */

#define ZORV_TYPE1_GBL_ENCAP_PROFILE 1u        /**< type 1: encap_name_t (256 bytes on the wire) */
#define ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP 2u      /**< type 2: encap_map_t */
#define ZORV_TYPE1_INTF_VSI_ADMIN 5u           /**< type 5: vsi_admin_t */
#define ZORV_TYPE1_INTF_VSI_ENCAP_PROF 6u      /**< type 6: vsi_encap_rng_t */
#define ZORV_TYPE1_INTF_VSI_ENCAP_DOT1Q_MAP 7u /**< type 7: vsi_encap_dot1q_map_t */
#define ZORV_TYPE1_GBL_MEMBER_VNI 8u           /**< type 8: member_vni_t */
#define ZORV_TYPE1_INTF_VSI_ATTRIBUTES 9u      /**< type 9: vsi_all_t */

#define ZORV_NAME_LEN 256u     /**< bytes of every name field */
#define ZORV_DOT1Q_COUNT 4096u /**< VLANs of a dot1q map or bitmap (0..4095) */
#define ZORV_VNI_MAX 0xFFFFFFu /**< the largest VNI */

#define ZORV_ENCAP_NAME_WIRE_LEN 256u       /**< length of a type-1 value on the wire */
#define ZORV_ENCAP_MAP_LEN 16640u           /**< length of a type-2 value */
#define ZORV_VSI_ADMIN_LEN 12u              /**< length of a type-5 value */
#define ZORV_VSI_ENCAP_RNG_LEN 780u         /**< length of a type-6 value */
#define ZORV_VSI_ENCAP_DOT1Q_MAP_LEN 16392u /**< length of a type-7 value */
#define ZORV_MEMBER_VNI_LEN 8u              /**< length of a type-8 value */
#define ZORV_VSI_ALL_FIXED_LEN 792u /**< length of a type-9 value without its dyn_map pairs */

#define ZORV_MAP_MODE_STATIC 1u /**< vsi_all_t::map_mode: static mapping */
#define ZORV_MAP_MODE_DFS 2u    /**< vsi_all_t::map_mode: DFS */
#define ZORV_MAP_MODE_VMT 3u    /**< vsi_all_t::map_mode: VMT */
#define ZORV_MAP_MODE_VDP 4u    /**< vsi_all_t::map_mode: VDP */
#define ZORV_MAP_MODE_LLDP 5u   /**< vsi_all_t::map_mode: LLDP */

/** Type 1, local record: the wire value is encap_name only; id stays inside the library. */
typedef struct encap_name {
    char encap_name[256]; /**< profile name, NUL-terminated unless all 256 bytes are used */
    uint32_t id;          /**< the profile's identifier, 0 when not yet assigned */
} encap_name_t;
ZORV_LAYOUT(encap_name_t, 260, ZORV_AT(encap_name_t, id, 256));

/** Type 2: a profile's dot1q-to-VNI map. */
typedef struct encap_map {
    char encap_name[256];     /**< profile name */
    uint32_t dot1q_vni[4096]; /**< VNI per VLAN, 0 = unmapped */
} encap_map_t;
ZORV_LAYOUT(encap_map_t, 16640, ZORV_AT(encap_map_t, dot1q_vni, 256));

/** Type 5: a service instance's admin status. */
typedef struct vsi_admin {
    uint32_t if_index; /**< parent interface */
    uint32_t vsi;      /**< service-instance id */
    uint32_t admin;    /**< 0 = down, else up */
} vsi_admin_t;
ZORV_LAYOUT(vsi_admin_t, 12, ZORV_AT(vsi_admin_t, vsi, 4) && ZORV_AT(vsi_admin_t, admin, 8));

/** Type 6: the encap profile that a service instance uses, with its allowed VLANs. */
typedef struct vsi_encap_rng {
    uint32_t if_index;    /**< parent interface */
    uint32_t vsi;         /**< service-instance id */
    char encap_name[256]; /**< global encap profile name */
    bmp4096_t dot1q_bmp;  /**< VLANs of the profile that the service instance allows */
} vsi_encap_rng_t;
ZORV_LAYOUT(vsi_encap_rng_t, 780, ZORV_AT3(vsi_encap_rng_t, vsi, 4, encap_name, 8, dot1q_bmp, 264));

/** Type 7: a service instance's own dot1q-to-VNI map. */
typedef struct vsi_encap_dot1q_map {
    uint32_t if_index;        /**< parent interface */
    uint32_t vsi;             /**< service-instance id */
    uint32_t dot1q_vni[4096]; /**< VNI per VLAN, 0 = unmapped */
} vsi_encap_dot1q_map_t;
ZORV_LAYOUT(vsi_encap_dot1q_map_t, 16392, ZORV_AT(vsi_encap_dot1q_map_t, dot1q_vni, 8));

/** Type 8: a VNI bound to a bridge domain (wire order: bd first). */
typedef struct member_vni {
    uint32_t bd;  /**< bridge domain */
    uint32_t vni; /**< member VNI */
} member_vni_t;
ZORV_LAYOUT(member_vni_t, 8, ZORV_AT(member_vni_t, vni, 4));

/** One dot1q-to-VNI pair of a type-9 value. */
typedef struct vsi_dyn_map {
    uint32_t vni;   /**< VNI, 1..0xFFFFFF when valid */
    uint32_t dot1q; /**< VLAN, 1..4095 when valid */
} vsi_dyn_map_t;
ZORV_LAYOUT(vsi_dyn_map_t, 8, ZORV_AT(vsi_dyn_map_t, dot1q, 4));

/** Type 9: the attributes of a service instance. Variable length: 792 + 8 * dyn_map_cnt.
 * Behind the dyn_map_cnt pairs follows a vsi_all_tail_t; use ZORV_VSI_ALL_TAIL() to reach it.
 * A peer of protocol version 39 or below may send the head and pairs without the tail. */
typedef struct vsi_all {
    uint32_t if_index;    /**< parent interface ifindex */
    uint32_t vsi;         /**< service-instance id */
    uint32_t admin;       /**< admin status, 0 = down */
    uint32_t map_mode;    /**< ZORV_MAP_MODE_* */
    uint32_t dyn_map_cnt; /**< N, the number of dyn_map pairs (read as signed by checks) */
    ZORV_FLEX_ARRAY(vsi_dyn_map_t, dyn_map) /**< N pairs in ascending VLAN order */
} vsi_all_t;
ZORV_LAYOUT(vsi_all_t, 20,
            ZORV_AT3(vsi_all_t, vsi, 4, admin, 8, map_mode, 12) &&
                ZORV_AT(vsi_all_t, dyn_map_cnt, 16) && ZORV_AT(vsi_all_t, dyn_map, 20));

/** The fixed tail of a type-9 value, behind its pairs. */
typedef struct vsi_all_tail {
    bmp4096_t dot1q_bmp; /**< allowed VLANs (dot1q_bmp_len, then the 512 bit bytes) */
    char prof_name[256]; /**< encap profile name of the service instance */
} vsi_all_tail_t;
ZORV_LAYOUT(vsi_all_tail_t, 772, ZORV_AT(vsi_all_tail_t, prof_name, 516));

/** Address of the tail of the type-9 value @p v whose dyn_map_cnt is @p n (n >= 0). */
#define ZORV_VSI_ALL_TAIL(v, n)                                                                    \
    ((vsi_all_tail_t *)((uint8_t *)(v) + sizeof(vsi_all_t) + 8u * (uint32_t)(n)))

/* ------------------------------------------------------------------------------------------ */
/* Configuration cache records                                                                  */
/* ------------------------------------------------------------------------------------------ */

/** Node of the global configuration tree (#zorv_drel_gbl_cfg_avl), memory type 1. */
typedef struct gbl_cfg_avl_node {
    const char *key;     /**< points at map.encap_name: the tree orders by this text */
    uint32_t map_exists; /**< 1 when map holds a dot1q map */
    encap_map_t map;     /**< profile name and dot1q map */
    uint32_t id;         /**< the profile's identifier, 0 when none */
} gbl_cfg_avl_node_t;
ZORV_LAYOUT(gbl_cfg_avl_node_t, 16656,
            ZORV_AT3(gbl_cfg_avl_node_t, map_exists, 8, map, 12, id, 16652));

/** Search key of the global configuration tree: a node serves as its own key. */
typedef struct gbl_cfg_avl_key {
    const char *key; /**< profile name, compared over at most 256 bytes */
} gbl_cfg_avl_key_t;
ZORV_LAYOUT(gbl_cfg_avl_key_t, 8, 1);

/** Node and key of the member-VNI tree (#zorv_drel_gbl_cfg_memvni_avl), memory type 12. */
typedef struct gbl_cfg_memvni_avl_node {
    uint32_t vni; /**< the key */
    uint32_t bd;  /**< bridge domain the VNI is a member of */
} gbl_cfg_memvni_avl_node_t;
ZORV_LAYOUT(gbl_cfg_memvni_avl_node_t, 8, ZORV_AT(gbl_cfg_memvni_avl_node_t, bd, 4));

/** Entry of an interface node's encap list, memory type 9. */
typedef struct encap_profile_node {
    struct encap_profile_node *next; /**< next entry or null */
    char encap_name[256];            /**< profile name; empty for a map-only entry */
    uint32_t all_allowed;            /**< 1 when all 4096 VLANs are allowed */
    bmp4096_t dot1q_bmp;             /**< allowed VLANs of the profile on this service instance */
    uint32_t dot1q_vni[4096];        /**< VNI per VLAN for a map entry */
} encap_profile_node;
ZORV_LAYOUT(encap_profile_node, 17168,
            ZORV_AT3(encap_profile_node, encap_name, 8, all_allowed, 264, dot1q_bmp, 268) &&
                ZORV_AT(encap_profile_node, dot1q_vni, 784));

/** Search key of the interface tree; vsi_id 0 matches every node of the interface. */
typedef struct if_cfg_avl_key {
    uint32_t if_index; /**< parent interface */
    uint32_t vsi_id;   /**< service-instance id, 0 = any */
} if_cfg_avl_key_t;
ZORV_LAYOUT(if_cfg_avl_key_t, 8, ZORV_AT(if_cfg_avl_key_t, vsi_id, 4));

/** Node of the interface tree (#zorv_drel_if_cfg_avl), memory type 2. */
typedef struct if_cfg_avl_node {
    uint32_t if_index;              /**< parent interface; key part 1 */
    uint32_t vsi_id;                /**< service-instance id; key part 2 */
    uint32_t admin;                 /**< admin status, 0 = down */
    uint32_t dot1q_vni[4096];       /**< VNI per VLAN, 0 = unmapped */
    uint32_t dyn_map_cnt;           /**< pairs in the last type-9 value that carried any */
    uint32_t vdp;                   /**< 1 when map_mode was 4 */
    uint32_t dfs;                   /**< 1 when map_mode was 2 */
    uint32_t vmt;                   /**< 1 when map_mode was 3 */
    uint32_t lldp;                  /**< 1 when map_mode was 5 */
    bmp4096_t dot1q_bmp;            /**< allowed VLANs */
    char prof_name[256];            /**< encap profile name */
    uint32_t encap_count;           /**< entries ever appended to encap_list */
    encap_profile_node *encap_list; /**< first entry, or null; owned by the node */
} if_cfg_avl_node_t;
ZORV_LAYOUT(if_cfg_avl_node_t, 17200,
            ZORV_AT3(if_cfg_avl_node_t, vsi_id, 4, admin, 8, dot1q_vni, 12) &&
                ZORV_AT3(if_cfg_avl_node_t, dyn_map_cnt, 16396, vdp, 16400, dfs, 16404) &&
                ZORV_AT3(if_cfg_avl_node_t, vmt, 16408, lldp, 16412, dot1q_bmp, 16416) &&
                ZORV_AT3(if_cfg_avl_node_t, prof_name, 16932, encap_count, 17188, encap_list,
                         17192));

/** Node of the encapsulation identifier tree, memory type 13; also its search key. */
typedef struct encap_uid_node {
    char encap_name[256]; /**< profile name, the key */
    uint32_t id;          /**< identifier 1..4096, 0 while none is assigned */
} encap_uid_node_t;
ZORV_LAYOUT(encap_uid_node_t, 260, ZORV_AT(encap_uid_node_t, id, 256));

/** Result holder of the interface check, owned by the caller. */
typedef struct type1_compat_result {
    bmp4096_t vlan_bmp; /**< the caller's VLAN bitmap; the library never writes it */
    bitset_t *vni_set;  /**< VNI set created by the check; the caller frees it with bitset_free */
} type1_compat_result_t;
ZORV_LAYOUT(type1_compat_result_t, 528, ZORV_AT(type1_compat_result_t, vni_set, 520));

/* ------------------------------------------------------------------------------------------ */
/* Messages, extraction records, printable rows                                                 */
/* ------------------------------------------------------------------------------------------ */

#define ZORV_DREL_OPC_CLI_CONFIG 0x1DFFu     /**< configuration request: refused */
#define ZORV_DREL_OPC_CLI_TLV_CONFIG 0x1E02u /**< configuration (TLV) request: refused */
#define ZORV_DREL_OPC_TYPE1_UPD 0x1A00Bu     /**< update record at payload offset 0 */
#define ZORV_DREL_OPC_TYPE1_UPD_HDR 0x1A014u /**< 16-byte header, then the update record */
#define ZORV_DREL_UPD_HDR_LEN 16u /**< bytes of the header of #ZORV_DREL_OPC_TYPE1_UPD_HDR */
/** Offset in that header of the u32 resp_present: 0 means no update record follows. */
#define ZORV_DREL_UPD_RESP_PRESENT_OFF 12u

/** Update record carried by the type-1 update messages (a wire record: no function takes it). */
typedef struct zorv_type1_upd {
    uint32_t is_delete;             /**< nonzero: delete the TLVs; 0: add or replace */
    uint32_t if_index;              /**< 0: global parameters; else the interface they belong to */
    uint32_t param_len;             /**< bytes of the TLV array that follows, its header included */
    ZORV_FLEX_ARRAY(uint8_t, param) /**< an aligned TLV array (tlv_array_t) */
} zorv_type1_upd_t;
ZORV_LAYOUT(zorv_type1_upd_t, 12, ZORV_AT3(zorv_type1_upd_t, if_index, 4, param_len, 8, param, 12));

/** What was done with one TLV of an update, memory type 5 (array of them). */
typedef struct drelm_app_cmd_extract_info {
    uint32_t type;   /**< type-1 type of the TLV; 0 when not extracted */
    uint32_t action; /**< 1 = replace, 0 = delete */
    uint32_t idx;    /**< the parameter's index (zorv_drel_lib_get_uid()) */
    uint32_t is_gbl; /**< 1 when the update was global */
    uint32_t if_idx; /**< the update's interface */
} drelm_app_cmd_extract_info_t;
ZORV_LAYOUT(drelm_app_cmd_extract_info_t, 20,
            ZORV_AT3(drelm_app_cmd_extract_info_t, action, 4, idx, 8, is_gbl, 12) &&
                ZORV_AT(drelm_app_cmd_extract_info_t, if_idx, 16));

/** One printable parameter row. */
typedef struct drelm_app_info_entry {
    uint32_t info_tag;      /**< always 160 */
    uint32_t param_type;    /**< type-1 type of the TLV */
    uint32_t reserved;      /**< 0 */
    char feature_name[256]; /**< "ZORV" */
    char param_name[256];   /**< "Gbl BD member vni" or "Service instance vni" */
    char param_value[256];  /**< the value rendered as text */
} drelm_app_info_entry_t;
ZORV_LAYOUT(drelm_app_info_entry_t, 780,
            ZORV_AT3(drelm_app_info_entry_t, param_type, 4, reserved, 8, feature_name, 12) &&
                ZORV_AT(drelm_app_info_entry_t, param_name, 268) &&
                ZORV_AT(drelm_app_info_entry_t, param_value, 524));

/** Printable rows of a TLV array, memory type 4. */
typedef struct drelm_app_info {
    uint32_t count;                                  /**< number of entries */
    ZORV_FLEX_ARRAY(drelm_app_info_entry_t, entries) /**< one per TLV */
} drelm_app_info_t;
ZORV_LAYOUT(drelm_app_info_t, 4, ZORV_AT(drelm_app_info_t, entries, 4));

/** One range of a range list. */
typedef struct zorv_range {
    uint32_t first; /**< first value */
    uint32_t last;  /**< last value; equal to first for a single value */
} zorv_range_t;
ZORV_LAYOUT(zorv_range_t, 8, ZORV_AT(zorv_range_t, last, 4));

/** Range list read by the range utilities. */
typedef struct zorv_mrange {
    uint32_t reserved;                    /**< not read */
    uint32_t count;                       /**< number of ranges */
    ZORV_FLEX_ARRAY(zorv_range_t, ranges) /**< the ranges, in order */
} zorv_mrange_t;
ZORV_LAYOUT(zorv_mrange_t, 8, ZORV_AT(zorv_mrange_t, ranges, 8));

/* ------------------------------------------------------------------------------------------ */
/* Frame and formats                                                                            */
/* ------------------------------------------------------------------------------------------ */

/** The open debug log file: null until the first successful zorv_drel_lib_debug_print(), then
 * kept open for the life of the process (the library never closes it). */
ZORV_DREL_API extern FILE *zorv_drel_lib_debug_file;
/** 1 once the debug-history buffers are open; until then every log event tries to open them. */
ZORV_DREL_API extern uint32_t zorv_drel_lib_logbuf_init_done;

/**
 * Opens the library's debug-history buffers: `debug_history_open(1293, 0x80000)`, then
 * `debug_history_open_instance`, and sets #zorv_drel_lib_logbuf_init_done. When the open fails
 * nothing changes and the next log event tries again. Every log event calls it until it has
 * succeeded once, so a caller never needs to.
 */
ZORV_DREL_API void zorv_drel_lib_logbuf_init(void);
/**
 * Appends one formatted text to the debug log file, the developers' second channel.
 *
 * The file is named by a base and the context number: `<base>.<n>`, n being the low 16 bits of
 * `system_context_id_get()`. The base is the value of the environment variable
 * `ZORV_DREL_DEBUG_FILE` when it is set and not empty, else "/qirra/tmp/zorv_drel_lib_dbg.log".
 * The first successful call opens the file for appending (the directory is not created) and
 * writes the header "ZORV DREL Type-1 cfg debug file KOX:<n> " and a dashed line; the file then
 * stays open (#zorv_drel_lib_debug_file) and the variable is not read again. A name longer than
 * 4095 bytes is not opened.
 * @param unused not read.
 * @param format printf format of the text; null writes nothing but the header of a new file.
 * @param ... the format's arguments.
 * @return the result of fflush: 0, or EOF when the text could not be written; 0 also when the
 *         file cannot be opened, which is silent and retried by the next call.
 */
ZORV_DREL_API int zorv_drel_lib_debug_print(uint32_t unused, const char *format, ...)
    __attribute__((format(printf, 2, 3)));
/**
 * Name of a memory type: the row name of zorv_drel_lib_mem_type_t.
 * @param value memory type, 0..15.
 * @return the name (static, never to be freed), or null for a value without a row.
 */
ZORV_DREL_API const char *__zorv_drel_lib_mem_type_t_find(uint32_t value);
/**
 * Memory type of a name, compared without regard to case.
 * @param name a row name of zorv_drel_lib_mem_type_t; null gives 0.
 * @return its value; 0 also for an unknown name.
 */
ZORV_DREL_API uint32_t __zorv_drel_lib_mem_type_t_str2enum(const char *name);
/**
 * A zero-filled tracked block.
 * @param mem_type memory type of the block (zorv_drel_lib_mem_type_t).
 * @param size bytes; 0 gives a unique block.
 * @return the block, 16-byte aligned and the caller's (`tracked_free(1293, p)`); null when
 *         memory is exhausted.
 */
ZORV_DREL_API void *zorv_drel_lib_calloc(uint32_t mem_type, uint32_t size);
/**
 * Name of a type-1 type: "Gbl Encap Profile", "Gbl Encap Dot1q Map", "Intf Vsi Id, Admin
 * Status", "Intf Vsi Encap Prof", "Intf Vsi Encap Dot1q Map", "Gbl Member Vni" or "Intf Vsi
 * Attributes" for types 1, 2, 5, 6, 7, 8 and 9.
 * @param type any type code.
 * @return the name (static); "" for an unknown type, never null.
 */
ZORV_DREL_API const char *zorv_drel_type1_cfg_type_to_str(uint16_t type);
/**
 * Compatibility error code of a type-1 type.
 * @param type any type code.
 * @return `ZORV_DREL_ERR_COMPAT_*` of the type (types 5 and 9 share
 * #ZORV_DREL_ERR_COMPAT_INTF_VSI); #ZORV_DREL_ERR_FAILURE for an unknown type.
 */
ZORV_DREL_API uint32_t zorv_drel_get_type1_cfg_compat_chk_errcode(uint16_t type);
/**
 * Type of a uid.
 * @param uid any value.
 * @return its top byte.
 */
ZORV_DREL_API uint32_t zorv_drel_lib_get_type_from_uid(uint32_t uid);
/**
 * Whether a parameter is at its default: never.
 * @param type not read.
 * @param len not read.
 * @param value not read; may be null.
 * @return 0.
 */
ZORV_DREL_API uint32_t zorv_drel_type1_cfg_param_is_default(uint16_t type, uint16_t len,
                                                            const void *value);
/**
 * TLVs of an interface's encap list: none, the list contributes no TLVs of its own.
 * @param node not read; may be null.
 * @param array_size not read.
 * @param array not written; may be null.
 * @return 0.
 */
ZORV_DREL_API uint32_t zorv_drel_if_cfg_avl_encaplist_add_tlvs(const if_cfg_avl_node_t *node,
                                                               uint32_t array_size,
                                                               tlv_array_t *array);
/**
 * Does nothing: the remote re-check is zorv_drel_type1_rmt_cfg_cache_rebuild().
 * @param tlv_array not read; may be null.
 * @param is_gbl not read.
 * @param if_index not read.
 * @return 0.
 */
ZORV_DREL_API uint32_t zorv_drel_type1_rem_cfg_cache_rebuild(const tlv_array_t *tlv_array,
                                                             uint32_t is_gbl, uint32_t if_index);
/**
 * Whether a service instance uses an encap profile: reported as never.
 * @param encap_name not read; may be null.
 * @return 0.
 */
ZORV_DREL_API uint32_t zorv_drel_lib_any_vsi_using_encap(const char *encap_name);

/**
 * Builds the TLV value of a cached node in a new tracked block: a member_vni_t {bd, vni} of
 * 8 bytes (memory type 6) from a member-VNI node, or a vsi_all_t (memory type 14) from an
 * interface node, 792 + 8 * dyn_map_cnt bytes: its mapped VLANs in ascending order as pairs, the
 * map mode of its flags, its allowed VLANs and profile name.
 * @param type #ZORV_TYPE1_GBL_MEMBER_VNI or #ZORV_TYPE1_INTF_VSI_ATTRIBUTES.
 * @param out_type receives @p type; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @param out_len receives the value's length; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @param out_value must point at a null pointer, which receives the value; null, or pointing at
 *        a non-null pointer: #ZORV_DREL_ERR_INVALID_ARG.
 * @param node a gbl_cfg_memvni_avl_node_t for type 8, an if_cfg_avl_node_t for type 9; null:
 *        #ZORV_DREL_ERR_INVALID_ARG.
 * @return #ZORV_DREL_OK; #ZORV_DREL_ERR_INVALID_ARG for a null argument, another type (logged
 *         "Unsupported type") or a dyn_map_cnt whose value a 16-bit TLV length cannot carry;
 *         #ZORV_DREL_ERR_NO_MEMORY when the block cannot be had (logged).
 * On success the value is the caller's, released with zorv_drel_lib_free_tlv(); on failure no
 * output is written.
 */
ZORV_DREL_API uint32_t zorv_drel_lib_alloc_tlv(uint16_t type, uint16_t *out_type, uint16_t *out_len,
                                               void **out_value, const void *node);
/**
 * Releases a TLV value of a type that has a record (1, 2, 5, 6, 7, 8, 9).
 * @param type the value's type; another type is logged ("Unsupported type") and nothing is
 *        freed.
 * @param value a tracked block of the library, or null (nothing to free).
 * @return the result of `tracked_free`, passed through: 0, or the platform's
 *         `TRACKED_ERR_BAD_BLOCK` for a block that is not live; #ZORV_DREL_ERR_INVALID_ARG for
 *         another type.
 */
ZORV_DREL_API uint32_t zorv_drel_lib_free_tlv(uint16_t type, void *value);
/**
 * Stores the byte-swapped len of @p src into dst->len (host to network order); nothing else is
 * touched.
 * @param src bitmap whose len is read; null: nothing is done.
 * @param dst bitmap whose len is written; null: nothing is done.
 */
ZORV_DREL_API void zorv_drel_lib_bmp4096_hton(const bmp4096_t *src, bmp4096_t *dst);
/**
 * Stores the byte-swapped len of @p src into dst->len (network to host order); nothing else is
 * touched.
 * @param src bitmap whose len is read; null: nothing is done.
 * @param dst bitmap whose len is written; null: nothing is done.
 */
ZORV_DREL_API void zorv_drel_lib_bmp4096_ntoh(const bmp4096_t *src, bmp4096_t *dst);

/* ------------------------------------------------------------------------------------------ */
/* Text rendering (fixed global buffers, overwritten by the next call)                          */
/* ------------------------------------------------------------------------------------------ */

/** Text of zorv_drel_lib_dot1q_map_to_str(). */
ZORV_DREL_API extern char zorv_vlan_bmp_str_buf[16384];
/** Text of zorv_drel_if_tlv_vsi_all_to_str(). */
ZORV_DREL_API extern char zorv_if_vsi_all_str_buf[256];
/** Text of zorv_drel_gbl_tlv_encap_map_to_str(). */
ZORV_DREL_API extern char zorv_gbl_encap_map_str_buf[256];
/** Text of zorv_drel_gbl_tlv_memvni_to_str(). */
ZORV_DREL_API extern char zorv_gbl_memvni_str_buf[256];
/** Text of zorv_drel_if_tlv_encap_range_to_str(). */
ZORV_DREL_API extern char zorv_if_encap_range_str_buf[256];

/**
 * Renders a type-8 value as "BD:<bd> VNI:<vni>".
 * @param value the value (8 bytes); null renders "".
 * @return #zorv_gbl_memvni_str_buf.
 */
ZORV_DREL_API char *zorv_drel_gbl_tlv_memvni_to_str(const member_vni_t *value);
/**
 * Renders a type-6 value as "<vsi>:<encap_name>", cut to 255 characters.
 * @param value the value (780 bytes); null renders "".
 * @return #zorv_if_encap_range_str_buf.
 */
ZORV_DREL_API char *zorv_drel_if_tlv_encap_range_to_str(const vsi_encap_rng_t *value);
/**
 * Renders the set VLANs of a bitmap as ranges, e.g. "1-3,7,100-200".
 * @param bitmap the bitmap (its bits; len is not read); null renders "".
 * @return #zorv_vlan_bmp_str_buf.
 */
ZORV_DREL_API char *zorv_drel_lib_dot1q_map_to_str(const bmp4096_t *bitmap);
/**
 * Renders dot1q-to-VNI pairs as "<dot1q>,<vni> " pieces, stopping before the text would pass
 * 254 characters: those of a profile map after "<name>:", else those of a type-9 value.
 * @param dot1q_map a type-2 value; null: the pairs of @p vsi_all are rendered.
 * @param vsi_all a type-9 value that holds its dyn_map_cnt pairs (the caller has checked its
 *        length); read only when @p dot1q_map is null; null, or a count below 1, renders "".
 * @return #zorv_gbl_encap_map_str_buf.
 */
ZORV_DREL_API char *zorv_drel_gbl_tlv_encap_map_to_str(const encap_map_t *dot1q_map,
                                                       const vsi_all_t *vsi_all);
/**
 * Renders a type-9 value: "Vsi:%d Admin:%s Map:%s VDP:%s DFS:%s" for a peer of protocol version
 * 39 or below, else "Vsi:%d Admin:%s Map:%s VDP:%s VMT:%s DFS:%s LLDP:%s AllwdDot1q: %s ProfName:
 * %s" (the tail's allowed VLANs and profile name); cut to 255 characters. The pairs are rendered
 * by zorv_drel_gbl_tlv_encap_map_to_str() and the VLANs by zorv_drel_lib_dot1q_map_to_str(),
 * whose buffers change too.
 * @param value a type-9 value that holds its pairs, and from version 40 on its tail (the
 *        caller has checked its length); null renders "".
 * @return #zorv_if_vsi_all_str_buf.
 */
ZORV_DREL_API char *zorv_drel_if_tlv_vsi_all_to_str(const vsi_all_t *value);
/**
 * Logs a bitmap to the debug history: the caption, one "0" or "1" event per VLAN 0..4095 and
 * "End <caption>".
 * @param bitmap the bitmap; null logs the caption lines only.
 * @param tag the caption; null is "".
 * @return the result of the last `debug_history_log`, passed through (0 when logged).
 */
ZORV_DREL_API int zorv_drel_lib_print_vlan_bmp(const bmp4096_t *bitmap, const char *tag);
/**
 * Decimal digits of a number, for the range utilities.
 * @param n the number.
 * @return 1 for n up to 9 (negative numbers included), else its digits, at most 9.
 */
ZORV_DREL_API int32_t zorv_int_strlen(int32_t n);
/**
 * Characters that zorv_int_mrange_snprintf() writes for a list.
 * @param list the ranges; null gives 0.
 * @return the length of "a, b-c, ..." (two per separator); 0 for an empty list.
 */
ZORV_DREL_API uint32_t zorv_int_mrange_strlen(const zorv_mrange_t *list);
/**
 * Appends the ranges as "a, b-c" to the text in @p dst.
 * @param dst a buffer holding a NUL-terminated text (usually ""); null: -1 for a non-empty
 *        list.
 * @param size bytes of @p dst.
 * @param list the ranges; null or empty: nothing is written.
 * @return the characters appended; 0 for a null or empty list; -1 when the text does not fit
 *         (the ranges appended before stay).
 */
ZORV_DREL_API int32_t zorv_int_mrange_snprintf(char *dst, uint32_t size, const zorv_mrange_t *list);
/**
 * As zorv_int_mrange_snprintf(), with "," between the ranges (bridge-domain lists).
 * @param dst a buffer holding a NUL-terminated text; null: -1 for a non-empty list.
 * @param size bytes of @p dst.
 * @param list the ranges; null or empty: nothing is written.
 * @return the characters appended; 0 for a null or empty list; -1 when the text does not fit.
 */
ZORV_DREL_API int32_t zorv_int_bd_mrange_snprintf(char *dst, uint32_t size,
                                                  const zorv_mrange_t *list);
/**
 * The native VLAN of a port.
 * @return always 1.
 */
ZORV_DREL_API uint32_t zorv_get_native_vlan_for_port(void);
/**
 * Whether an interface can carry service instances: its type (`ifindex_type_get`) is 22, 26, 29
 * or 31 and its layer mode (`ifmgr_layer_mode_list_get`) is 2.
 * @param if_index the interface.
 * @return 1 when it can, else 0 (also when the layer mode cannot be had).
 */
ZORV_DREL_API uint32_t zorv_valid_if_index(uint32_t if_index);

/* ------------------------------------------------------------------------------------------ */
/* Global configuration tree                                                                    */
/* ------------------------------------------------------------------------------------------ */

/** The global configuration tree of gbl_cfg_avl_node_t, ordered by profile name. Created at
 * load and destroyed at unload (with its nodes); null when tree_create failed at load. */
ZORV_DREL_API extern tree_t *zorv_drel_gbl_cfg_avl;

/**
 * Compare function of #zorv_drel_gbl_cfg_avl: the names, over at most 256 bytes.
 * @param a a gbl_cfg_avl_key_t or node; null, or a null name, compares equal (logged
 *        "ASSERT:Invalid arg"), a tolerance callers rely on.
 * @param b a node; null, or a null name, as for @p a.
 * @return -1, 0 or 1.
 */
ZORV_DREL_API int zorv_drel_gbl_cfg_avl_cmp_func(const void *a, const void *b);
/**
 * Builds the search key of a type-1 or type-2 value: it points at the value's name (both records
 * begin with it), so the key is valid as long as the value is.
 * @param key receives the key; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @param type #ZORV_TYPE1_GBL_ENCAP_PROFILE or #ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP.
 * @param len not read: the callers in the library pass only values that hold the 256-byte name.
 * @param value the value; null gives a key with a null name.
 * @return #ZORV_DREL_OK; #ZORV_DREL_ERR_INVALID_ARG for a null key or another type (the key's
 *         name is then null).
 */
ZORV_DREL_API uint32_t zorv_drel_set_gbl_key(gbl_cfg_avl_key_t *key, uint16_t type, uint32_t len,
                                             const void *value);
/**
 * A new global node (memory type 1) for a value.
 *
 * Type 1: @p value is a local encap_name_t {name, id}. The node takes at most 255 characters of
 * the name and no map. A nonzero id is restored (zorv_drel_restore_encap_uid(), its result not
 * examined); id 0 is settled: the identifier the name has already (zorv_drel_get_encap_uid(),
 * asked with the caller's record), else a new one (zorv_drel_set_encap_uid()), and written back
 * into value->id. Type 2: @p value is an encap_map_t (16640 bytes), copied whole, all 256 name
 * bytes included, and the node has a map.
 * @param unused not read.
 * @param type #ZORV_TYPE1_GBL_ENCAP_PROFILE or #ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP; another type is
 *        logged ("Error: Unknown type") and gives null.
 * @param len not read: @p value must hold its record.
 * @param value the record; null gives null.
 * @return the node, the caller's: insert it into #zorv_drel_gbl_cfg_avl or release it with
 *         zorv_drel_gbl_cfg_avl_free(); null also when memory is exhausted (logged "Failed
 *         malloc").
 */
ZORV_DREL_API gbl_cfg_avl_node_t *zorv_drel_create_gbl_node(const void *unused, uint16_t type,
                                                            uint32_t len, void *value);
/**
 * Applies a type-2 value to a global node. A delete clears every VLAN 1..4095 whose VNI equals
 * the value's nonzero VNI and keeps map_exists while any VNI is left; an add to a node with a map
 * fills only its unmapped VLANs 1..4095; an add to a node without one copies the whole map.
 * @param node the node; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @param type #ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP; type 1 has nothing to update (0); another type is
 *        logged ("Error: Unknown type") and gives #ZORV_DREL_ERR_INVALID_ARG.
 * @param len not read: @p value must hold 16640 bytes.
 * @param value the encap_map_t; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @param is_delete nonzero: delete the value's mappings; 0: add them.
 * @return #ZORV_DREL_OK or #ZORV_DREL_ERR_INVALID_ARG.
 */
ZORV_DREL_API uint32_t zorv_drel_gbl_cfg_avl_update(gbl_cfg_avl_node_t *node, uint16_t type,
                                                    uint32_t len, const void *value,
                                                    uint32_t is_delete);
/**
 * Takes a node out of #zorv_drel_gbl_cfg_avl and releases it (also when it was not in the tree).
 * @param node the node; null: nothing is done.
 */
ZORV_DREL_API void zorv_drel_gbl_cfg_delete_cache_node(gbl_cfg_avl_node_t *node);
/**
 * Deletes, as zorv_drel_gbl_cfg_delete_cache_node(), the node that a key finds, if any.
 * @param key the key; null: nothing is done.
 */
ZORV_DREL_API void zorv_drel_gbl_cfg_delete_cache_key(const gbl_cfg_avl_key_t *key);
/**
 * Releases a global node (the tree's free function); it must not be in a tree.
 * @param node the node; null: nothing is done.
 */
ZORV_DREL_API void zorv_drel_gbl_cfg_avl_free(void *node);
/**
 * Bytes that a node's TLVs take in an aligned array.
 * @param node the node; null gives 0.
 * @return 260 for the type-1 TLV, plus 16644 for the type-2 TLV when the node has a map.
 */
ZORV_DREL_API uint32_t zorv_drel_gbl_cfg_avl_tlvs_size_get(const gbl_cfg_avl_node_t *node);
/**
 * Adds a node's type-1 TLV (its 256-byte name) and, when it has a map, its type-2 TLV to an
 * aligned array.
 * @param node the node; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @param array_size bytes of the whole array, its header included.
 * @param array the array, handed to `tlv_array_add` as it is.
 * @return 0, or the code of `tlv_array_add` passed through (`TLV_ERR_NO_SPACE` when a TLV does
 *         not fit; the TLVs added before stay).
 */
ZORV_DREL_API uint32_t zorv_drel_gbl_cfg_avl_tlvs_add(const gbl_cfg_avl_node_t *node,
                                                      uint32_t array_size, tlv_array_t *array);
/**
 * Identifier of a cached profile.
 * @param name the profile name; null compares equal to every node, so it gives the identifier of
 *        whichever node the tree meets first.
 * @return the node's id; 0 when no node has the name (logged) or the profile has none.
 */
ZORV_DREL_API uint32_t zorv_drel_get_gbl_cfg_node_id(const char *name);

/* ------------------------------------------------------------------------------------------ */
/* Member-VNI tree                                                                              */
/* ------------------------------------------------------------------------------------------ */

/** The member-VNI tree of gbl_cfg_memvni_avl_node_t, ordered by VNI. Created at load and
 * destroyed at unload (with its nodes); null when tree_create failed at load. */
ZORV_DREL_API extern tree_t *zorv_drel_gbl_cfg_memvni_avl;

/**
 * Compare function of #zorv_drel_gbl_cfg_memvni_avl: the VNIs.
 * @param a a key or node; must not be null.
 * @param b a node; must not be null.
 * @return -1, 0 or 1.
 */
ZORV_DREL_API int zorv_drel_gbl_cfg_memvni_avl_cmp_func(const void *a, const void *b);
/**
 * Builds the search key of a type-8 value: its VNI.
 * @param key receives the key; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @param type #ZORV_TYPE1_GBL_MEMBER_VNI; another: #ZORV_DREL_ERR_INVALID_ARG.
 * @param len not read: the callers in the library pass only values of 8 bytes or more.
 * @param value the value; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @return #ZORV_DREL_OK or #ZORV_DREL_ERR_INVALID_ARG (the key unchanged).
 */
ZORV_DREL_API uint32_t zorv_drel_set_gbl_memvni_key(gbl_cfg_memvni_avl_node_t *key, uint16_t type,
                                                    uint32_t len, const member_vni_t *value);
/**
 * A new member-VNI node (memory type 12) with the value's VNI and bridge domain.
 * @param unused not read.
 * @param type #ZORV_TYPE1_GBL_MEMBER_VNI; another is logged ("Error: Unknown type") and gives
 *        null.
 * @param len not read: @p value must hold 8 bytes.
 * @param value the value; null gives null.
 * @return the node, the caller's: insert it into #zorv_drel_gbl_cfg_memvni_avl or release it
 *         with zorv_drel_gbl_cfg_memvni_avl_free(); null also when memory is exhausted (logged
 *         "Failed malloc").
 */
ZORV_DREL_API gbl_cfg_memvni_avl_node_t *
zorv_drel_create_gbl_memvni_node(const void *unused, uint16_t type, uint32_t len,
                                 const member_vni_t *value);
/**
 * Overwrites a node's VNI and bridge domain with the value's (the library calls it only for a
 * value of the node's own VNI).
 * @param node the node; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @param type #ZORV_TYPE1_GBL_MEMBER_VNI; another is logged ("Error: Unknown type") and gives
 *        #ZORV_DREL_ERR_INVALID_ARG.
 * @param len not read: @p value must hold 8 bytes.
 * @param value the value; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @return #ZORV_DREL_OK or #ZORV_DREL_ERR_INVALID_ARG (the node unchanged).
 */
ZORV_DREL_API uint32_t zorv_drel_gbl_cfg_memvni_avl_update(gbl_cfg_memvni_avl_node_t *node,
                                                           uint16_t type, uint32_t len,
                                                           const member_vni_t *value);
/**
 * Takes a node out of #zorv_drel_gbl_cfg_memvni_avl and releases it (also when it was not in the
 * tree).
 * @param node the node; null: nothing is done.
 */
ZORV_DREL_API void zorv_drel_gbl_cfg_memvni_delete_cache_node(gbl_cfg_memvni_avl_node_t *node);
/**
 * Deletes, as zorv_drel_gbl_cfg_memvni_delete_cache_node(), the node of a key's VNI, if any.
 * @param key the key; null: nothing is done.
 */
ZORV_DREL_API void zorv_drel_gbl_cfg_memvni_delete_cache_key(const gbl_cfg_memvni_avl_node_t *key);
/**
 * Releases a member-VNI node (the tree's free function); it must not be in a tree.
 * @param node the node; null: nothing is done.
 */
ZORV_DREL_API void zorv_drel_gbl_cfg_memvni_avl_free(void *node);
/**
 * Bytes that a member-VNI node's TLV takes in an aligned array.
 * @param node not read; may be null.
 * @return 12.
 */
ZORV_DREL_API uint32_t
zorv_drel_gbl_cfg_memvni_avl_tlvs_size_get(const gbl_cfg_memvni_avl_node_t *node);
/**
 * Adds a type-8 TLV of 8 bytes to an aligned array.
 * @param value the value ({bd, vni}), handed to `tlv_array_add` as it is.
 * @param array_size bytes of the whole array, its header included.
 * @param array the array, handed to `tlv_array_add` as it is.
 * @return 0, or the code of `tlv_array_add` passed through (`TLV_ERR_NO_SPACE`).
 */
ZORV_DREL_API uint32_t zorv_drel_gbl_cfg_memvni_avl_tlvs_add(const member_vni_t *value,
                                                             uint32_t array_size,
                                                             tlv_array_t *array);

/* ------------------------------------------------------------------------------------------ */
/* Interface tree                                                                               */
/* ------------------------------------------------------------------------------------------ */

/** The interface tree of if_cfg_avl_node_t, ordered by interface and service instance. Created
 * at load and destroyed at unload (with its nodes and their encap lists); null when tree_create
 * failed at load. */
ZORV_DREL_API extern tree_t *zorv_drel_if_cfg_avl;

/**
 * Compare function of #zorv_drel_if_cfg_avl: the interfaces, then the service instances; a
 * service-instance id of 0 on either side matches every instance of the interface.
 * @param a an if_cfg_avl_key_t or node; must not be null.
 * @param b a node; must not be null.
 * @return -1, 0 or 1.
 */
ZORV_DREL_API int zorv_drel_if_cfg_avl_cmp_func(const void *a, const void *b);
/**
 * Builds the search key of an interface value: (@p if_index, the value's second word, its
 * service-instance id). The interface's peer-link id is looked up for the log line only.
 * @param key receives the key; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @param type 5, 6, 7 or 9; another: #ZORV_DREL_ERR_INVALID_ARG, the key (@p if_index, 0).
 * @param len not read: the callers in the library pass only values of 8 bytes or more.
 * @param value the value; null: #ZORV_DREL_ERR_INVALID_ARG, the key (@p if_index, 0).
 * @param if_index the parent interface.
 * @return #ZORV_DREL_OK or #ZORV_DREL_ERR_INVALID_ARG.
 */
ZORV_DREL_API uint32_t zorv_drel_set_if_key(if_cfg_avl_key_t *key, uint16_t type, uint32_t len,
                                            const void *value, uint32_t if_index);
/**
 * A new interface node (memory type 2) of a key, filled from a value by
 * zorv_drel_if_cfg_avl_update().
 * @param key the node's interface and service instance; null gives null.
 * @param type the value's type; a type the update does not support gives an empty node.
 * @param len bytes of @p value.
 * @param value the value; null gives an empty node.
 * @return the node, the caller's: insert it into #zorv_drel_if_cfg_avl or release it with
 *         zorv_drel_if_cfg_avl_free(); null when memory is exhausted (logged "Failed malloc") or
 *         the update fails (a refused value included; logged "Failed create encap node").
 */
ZORV_DREL_API if_cfg_avl_node_t *zorv_drel_create_if_node(const if_cfg_avl_key_t *key,
                                                          uint16_t type, uint16_t len,
                                                          const void *value);
/**
 * Applies a type 5, 6 or 9 value to an interface node. A value is read only within @p len.
 * Type 5 sets admin. Type 6 goes to zorv_drel_if_cfg_avl_update_encap() (no append). Type 9 sets
 * admin and the map-mode flags, replaces dyn_map_cnt and the VLAN-to-VNI table when it carries
 * pairs (a pair outside VLAN 1..4095 or VNI 1..0xFFFFFF is logged and skipped; a value without
 * pairs keeps the table), and replaces the allowed VLANs and the profile name.
 * @param node the node; null: nothing is done, 0.
 * @param type the value's type; another type is logged ("Unsupported type") and gives 0.
 * @param len bytes of @p value. A type-5 or type-6 value shorter than its fixed length, and a
 *        type-9 value shorter than 792 bytes, with a negative dyn_map_cnt or with more pairs than
 *        @p len holds, is refused: #ZORV_DREL_ERR_INVALID_ARG, logged "Error: Refused type", the
 *        node unchanged (pairs are never cut).
 * @param value the value; null: nothing is done, 0.
 * @return 0, #ZORV_DREL_ERR_INVALID_ARG for a refused value, or what
 *         zorv_drel_if_cfg_avl_update_encap() returns for type 6 (the bare 1 included).
 */
ZORV_DREL_API uint32_t zorv_drel_if_cfg_avl_update(if_cfg_avl_node_t *node, uint16_t type,
                                                   uint16_t len, const void *value);
/**
 * Applies a type-6 value to a node's encap list: without @p append, the entry whose name equals
 * the value's encap_name (compared over at most 256 bytes, the name taken as it stands) gets the
 * value's VLAN bitmap and is no longer "all allowed"; otherwise, or when no entry has the name,
 * an entry is appended (zorv_drel_if_cfg_avl_append_encap()).
 * @param node the node; null: #ZORV_DREL_ERR_INVALID_ARG for type 6.
 * @param type #ZORV_TYPE1_INTF_VSI_ENCAP_PROF; type 7 is logged ("Not yet supported") and any
 *        other ("Unkn type"): both give 0 and change nothing.
 * @param len bytes of @p value; a type-6 value shorter than 780 bytes is refused
 *        (#ZORV_DREL_ERR_INVALID_ARG, logged).
 * @param value the vsi_encap_rng_t; null: #ZORV_DREL_ERR_INVALID_ARG for type 6.
 * @param append nonzero: always append.
 * @return 0; #ZORV_DREL_ERR_INVALID_ARG; the bare 1 when an entry cannot be allocated.
 */
ZORV_DREL_API uint32_t zorv_drel_if_cfg_avl_update_encap(if_cfg_avl_node_t *node, uint16_t type,
                                                         uint32_t len, const void *value,
                                                         uint32_t append);
/**
 * Appends an entry (memory type 9) to the end of a node's encap list and counts it in
 * encap_count. The entry belongs to the node (released with its list).
 * @param node the node; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @param name the profile name, at most 255 characters taken; null leaves it empty (a map-only
 *        entry).
 * @param bitmap the allowed VLANs (its bits), all_allowed telling whether all 4096 are set; null
 *        allows all VLANs.
 * @param map 4096 VNIs, one per VLAN; null leaves them 0.
 * @return 0; #ZORV_DREL_ERR_INVALID_ARG; the bare 1 (not a library code) when the entry cannot be
 *         allocated, as its callers expect.
 */
ZORV_DREL_API uint32_t zorv_drel_if_cfg_avl_append_encap(if_cfg_avl_node_t *node, const char *name,
                                                         const bmp4096_t *bitmap,
                                                         const uint32_t *map);
/**
 * Finds an entry of a node's encap list by name (compared over at most 256 bytes).
 * @param node the node; null gives null.
 * @param name the profile name; null or "" finds the first map-only (unnamed) entry.
 * @return the matching entry's encap_name field, inside the node's list (not to be freed), or
 *         null.
 */
ZORV_DREL_API char *zorv_drel_if_cfg_avl_get_encap(const if_cfg_avl_node_t *node, const char *name);
/**
 * Removes and releases the first entry of a node's encap list whose name matches (over at most
 * 256 bytes); encap_count, which counts appends, is left as it is.
 * @param node the node; null: nothing is done.
 * @param name the profile name; null: nothing is done.
 * @return 0, also when nothing matched.
 */
ZORV_DREL_API uint32_t zorv_drel_if_cfg_avl_del_encap(if_cfg_avl_node_t *node, const char *name);
/**
 * Deletes what a value names from an interface node: for type 6, the encap entry of the value's
 * encap_name (taken as it stands, compared over at most 256 bytes).
 * @param node the node; null gives 0xFFFFFFFF.
 * @param type #ZORV_TYPE1_INTF_VSI_ENCAP_PROF; type 7 is logged ("not yet supported") and gives
 *        0; another type is logged ("Unk type") and gives 0xFFFFFFFF.
 * @param len not read: a type-6 value must hold its 264 leading bytes.
 * @param value the value; null gives 0xFFFFFFFF.
 * @return 0, or 0xFFFFFFFF (all bits set, not a library code) for what cannot be deleted: its
 *         callers test for it.
 */
ZORV_DREL_API uint32_t zorv_drel_if_cfg_avl_delete(if_cfg_avl_node_t *node, uint16_t type,
                                                   uint32_t len, const void *value);
/**
 * Takes a node out of #zorv_drel_if_cfg_avl and releases it with its encap list (also when it
 * was not in the tree).
 * @param node the node; null: nothing is done.
 */
ZORV_DREL_API void zorv_drel_if_cfg_delete_cache_node(if_cfg_avl_node_t *node);
/**
 * Deletes, as zorv_drel_if_cfg_delete_cache_node(), the node that a key finds, if any; with
 * service-instance id 0, one node of the interface.
 * @param key the key; null: nothing is done.
 */
ZORV_DREL_API void zorv_drel_if_cfg_delete_cache_key(const if_cfg_avl_key_t *key);
/**
 * Releases an interface node and its encap list (the tree's free function); it must not be in a
 * tree.
 * @param node the node; null: nothing is done.
 */
ZORV_DREL_API void zorv_drel_if_cfg_avl_free(void *node);
/**
 * Releases a node's encap list and sets encap_list to null and encap_count to 0.
 * @param node the node; null: nothing is done.
 */
ZORV_DREL_API void zorv_drel_if_cfg_avl_free_encaplist(if_cfg_avl_node_t *node);
/**
 * Bytes that TLVs of a node's encap list would take: 784 per named entry and 16396 per map-only
 * entry (no TLVs are written from the list).
 * @param node the node; null gives 0.
 * @return the sum; 0 for an empty list.
 */
ZORV_DREL_API uint32_t zorv_drel_if_cfg_avl_encaplist_tlv_size(const if_cfg_avl_node_t *node);
/**
 * The peer-link id of an interface, from the peer manager's database.
 * @param if_index the interface.
 * @param drel_id receives the id on success; null: not written.
 * @return #ZORV_DREL_OK; #ZORV_DREL_ERR_DRELM_NO_RECORD when the database holds no record of the
 *         interface or the interface is not a peer-link member (@p drel_id untouched).
 */
ZORV_DREL_API uint32_t zorv_drel_lib_get_drel_id(uint32_t if_index, uint32_t *drel_id);
/**
 * The local interface of a peer link: `drelm_api_get_local_drel_if_index(drel_id, arg, 1)`.
 * @param drel_id the peer-link id.
 * @param arg passed on.
 * @return the interface, 0 for none.
 */
ZORV_DREL_API uint32_t zorv_drel_lib_get_ifindex_from_drel_id(uint32_t drel_id, uint32_t arg);
/**
 * Whether the peer manager's trunk record (id 1) exists.
 * @return 1 when it does, else 0.
 */
ZORV_DREL_API uint32_t zorv_drel_lib_mct_exists(void);

/* ------------------------------------------------------------------------------------------ */
/* Encapsulation identifier allocator                                                           */
/* ------------------------------------------------------------------------------------------ */

/** The identifier tree of encap_uid_node_t, ordered by name: null until the first
 * zorv_drel_set_encap_uid() or zorv_drel_restore_encap_uid() creates it; destroyed at unload. */
ZORV_DREL_API extern tree_t *zorv_drel_encap_uid_avl;
/** The free-identifier bitmap: identifier i is free while bit i - 1 is set. Null until first
 * needed, then a plain malloc block of 516 bytes with all bits set; freed only at unload. */
ZORV_DREL_API extern bmp4096_t *free_encap_bmp_p;

/**
 * Compare function of #zorv_drel_encap_uid_avl: the names, with strcmp.
 * @param a a name or node; null gives -1.
 * @param b a node; null gives -1.
 * @return -1, 0 or 1.
 */
ZORV_DREL_API int zorv_drel_encap_uid_avl_cmp(const void *a, const void *b);
/**
 * Takes a zero-filled node (memory type 13) with the name and id 0, and inserts it into
 * #zorv_drel_encap_uid_avl, which it does not create.
 * @param name the profile name, at most 255 characters taken; null leaves it empty.
 * @return the node; it is handed back also when the tree refuses it (an equal name, no tree, no
 *         memory): a node in the tree is the tree's (zorv_drel_encap_uid_avl_delete()), a refused
 *         one the caller's (zorv_drel_encap_uid_avl_free()). Null only when memory is exhausted.
 */
ZORV_DREL_API encap_uid_node_t *zorv_drel_encap_uid_avl_insert(const char *name);
/**
 * Finds the identifier node of a name (its first 256 bytes).
 * @param name the profile name; null looks up "".
 * @return the node, the tree's; null when none has the name (logged "Error: Failed to find
 *         profile").
 */
ZORV_DREL_API encap_uid_node_t *zorv_drel_encap_uid_avl_find(const char *name);
/**
 * Takes a node out of #zorv_drel_encap_uid_avl and releases it; its identifier is not given back.
 * @param node the node; null: nothing is done.
 */
ZORV_DREL_API void zorv_drel_encap_uid_avl_delete(encap_uid_node_t *node);
/**
 * Releases an identifier node (the tree's free function); it must not be in a tree.
 * @param node the node; null: nothing is done.
 */
ZORV_DREL_API void zorv_drel_encap_uid_avl_free(void *node);
/**
 * Assigns a new identifier to a name: the lowest free one of 1..4096. Creates the tree and the
 * free bitmap on first need.
 * @param name the profile name; null gives 0.
 * @return the identifier; 0 when the name has one already (logged "exists already"), the tree,
 *         the bitmap or the node cannot be had, or all 4096 are taken (the name's node then stays
 *         without an identifier until zorv_drel_free_encap_uid()).
 */
ZORV_DREL_API uint32_t zorv_drel_set_encap_uid(const char *name);
/**
 * Gives a name a known identifier (a restart restoring its profiles), marking it used whether it
 * was free or not.
 * @param name the profile name; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @param id the identifier, 1..4096; another value is refused (logged "invalid id").
 * @return #ZORV_DREL_OK; #ZORV_DREL_ERR_INVALID_ARG for a null name, an id out of range or a name
 *         that has an identifier already; #ZORV_DREL_ERR_NO_MEMORY when the tree, the bitmap or
 *         the node cannot be had. Nothing changes on failure.
 */
ZORV_DREL_API uint32_t zorv_drel_restore_encap_uid(const char *name, uint32_t id);
/**
 * The identifier of a profile.
 * @param record the local type-1 record; only its name is read; null gives 0.
 * @return the identifier; 0 when there is no identifier tree yet, or the name has no node (logged
 *         twice).
 */
ZORV_DREL_API uint32_t zorv_drel_get_encap_uid(const encap_name_t *record);
/**
 * Withdraws a name's identifier: its node is deleted and the identifier is free again.
 * @param name the profile name; null looks up "".
 * @return the identifier given back; 0 when the name has no node (logged twice) or never had an
 *         identifier.
 */
ZORV_DREL_API uint32_t zorv_drel_free_encap_uid(const char *name);
/**
 * The unique index of a parameter: the VNI of a type-8 value, the service-instance id of a
 * type-9 value, the type itself for any other type (logged "Unsupported type").
 * @param type the value's type.
 * @param len not read: a type-8 or type-9 value must hold 8 bytes.
 * @param value the value; null gives 0 for types 8 and 9.
 * @return the index.
 */
ZORV_DREL_API uint32_t zorv_drel_lib_get_uid(uint16_t type, uint32_t len, const void *value);

/* ------------------------------------------------------------------------------------------ */
/* Parameter extraction, cache update, rebuild, export                                          */
/* ------------------------------------------------------------------------------------------ */

/**
 * Applies a configuration message to the cache: the peer manager's one entry. Opcodes
 * #ZORV_DREL_OPC_TYPE1_UPD and #ZORV_DREL_OPC_TYPE1_UPD_HDR go to
 * zorv_drel_param_extractor_from_zorv_type1_upd(), whose outputs and results this one hands on.
 * @param msg the message; null has no opcode and gives #ZORV_DREL_ERR_INVALID_ARG.
 * @param tlv_array_out as zorv_drel_param_extractor_from_zorv_type1_upd().
 * @param num_tlvs_out as zorv_drel_param_extractor_from_zorv_type1_upd().
 * @param reserved_out as zorv_drel_param_extractor_from_zorv_type1_upd().
 * @param info_out as zorv_drel_param_extractor_from_zorv_type1_upd().
 * @return what the update extraction returns; #ZORV_DREL_ERR_INVALID_ARG for the configuration
 *         requests #ZORV_DREL_OPC_CLI_CONFIG and #ZORV_DREL_OPC_CLI_TLV_CONFIG (not supported,
 *         not answered, no output written) and for any other opcode.
 */
ZORV_DREL_API uint32_t zorv_drel_type1_cfg_param_extractor(const msg_t *msg,
                                                           tlv_array_t **tlv_array_out,
                                                           uint32_t *num_tlvs_out,
                                                           uint32_t *reserved_out,
                                                           drelm_app_cmd_extract_info_t **info_out);
/**
 * Applies the TLVs of an update message to the cache and reports what was done with each.
 *
 * The update record (zorv_type1_upd_t) is the payload itself for #ZORV_DREL_OPC_TYPE1_UPD and
 * follows a 16-byte header otherwise. Each TLV goes, with the record's is_delete, to
 * zorv_drel_extract_if_params() when the record's if_index is nonzero, else a type-8 TLV to
 * zorv_drel_extract_memvni_param(); a global TLV of another type is logged ("Unkown type") and
 * skipped. A TLV's own failure is logged and does not change the result.
 * @param msg the message; null, one without a payload, a header whose resp_present is 0 and a
 *        record whose param_len is 0 all log ("Null payload" or "Invalid param len") and return 0
 *        with no output written. A payload too short for its header or record, or a param_len
 *        that runs past the payload, is refused: #ZORV_DREL_ERR_INVALID_ARG.
 * @param tlv_array_out receives the library's copy of the TLV array (memory type 3, param_len
 *        bytes) on success.
 * @param num_tlvs_out receives the number of TLVs.
 * @param reserved_out receives 0.
 * @param info_out receives the array of num_tlvs_out extraction records (memory type 5) as soon
 *        as it exists, and null again when it is dropped. A record of a TLV that could not be
 *        extracted keeps type, action and idx 0.
 * The four output pointers are needed only by a message that carries TLVs: they are checked
 * before they are first written, and a null one then gives #ZORV_DREL_ERR_INVALID_ARG ("Error:
 * Invalid arg") with nothing allocated.
 * @return 0; #ZORV_DREL_ERR_INVALID_ARG (refused payload, no TLV in the array, a null output);
 *         the bare 1 (not a library code) when either array cannot be allocated, nothing then
 *         handed over; the TLV array's code (`TLV_ERR_MALFORMED`) passed through when the walk
 *         fails: both arrays are then released, *info_out is null and *tlv_array_out untouched,
 *         while the cache changes of the TLVs before stay.
 * On success both arrays are the caller's, released with `tracked_free(1293, p)`.
 */
ZORV_DREL_API uint32_t zorv_drel_param_extractor_from_zorv_type1_upd(
    const msg_t *msg, tlv_array_t **tlv_array_out, uint32_t *num_tlvs_out, uint32_t *reserved_out,
    drelm_app_cmd_extract_info_t **info_out);
/**
 * Applies one interface TLV to #zorv_drel_if_cfg_avl and fills the extraction record.
 *
 * The key is built as soon as the value holds its 8 key bytes. A found node is updated
 * (zorv_drel_if_cfg_avl_update(), which refuses a value too short for its record, its result
 * ignored), or on delete removed when the type is 9 and kept (logged "Unk type") otherwise; a
 * missing node is created and inserted on add (a failure is logged, "Error: Failed create node",
 * and is no error). A delete reads nothing behind the key: an 8-byte type-9 delete removes the
 * node; a key-only type-7 value creates the service instance's empty node.
 * @param is_delete nonzero: delete; 0: add or replace.
 * @param type the TLV's type: 5, 6, 7 or 9; another is a key failure.
 * @param len the value's length; below 8 is a key failure.
 * @param value the value; null is a key failure.
 * @param if_index the interface; one that is not a peer-link member gives its code at once.
 * @param info receives type, action (1 replace, 0 delete) and idx (zorv_drel_lib_get_uid());
 *        checked only where it is written: null then gives #ZORV_DREL_ERR_INVALID_ARG.
 * @return 0; #ZORV_DREL_ERR_DRELM_NO_RECORD from zorv_drel_lib_get_drel_id() passed on for an
 *         interface that is not a peer-link member (logged "is not pelk", nothing changed or
 *         written); the key builder's code (#ZORV_DREL_ERR_INVALID_ARG) on a key failure (logged
 *         "to set key", @p info untouched); #ZORV_DREL_ERR_INVALID_ARG for a null @p info.
 */
ZORV_DREL_API uint32_t zorv_drel_extract_if_params(uint32_t is_delete, uint16_t type, uint16_t len,
                                                   const void *value, uint32_t if_index,
                                                   drelm_app_cmd_extract_info_t *info);
/**
 * Applies one member-VNI TLV to #zorv_drel_gbl_cfg_memvni_avl and fills the extraction record: a
 * found node is deleted or overwritten, a missing one created and inserted on add.
 * @param is_delete nonzero: delete; 0: add or replace.
 * @param type #ZORV_TYPE1_GBL_MEMBER_VNI; another is a key failure.
 * @param len the value's length; below 8 is a key failure.
 * @param value the {bd, vni} value; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @param info receives type, action and idx (the VNI); checked only where it is written: null
 *        then gives #ZORV_DREL_ERR_INVALID_ARG.
 * @return 0; #ZORV_DREL_ERR_INVALID_ARG for a null value, a key failure (logged "to set key") or
 *         a null @p info; #ZORV_DREL_ERR_NO_MEMORY when a new node cannot be made (logged "Failed
 *         create", @p info untouched and not needed).
 */
ZORV_DREL_API uint32_t zorv_drel_extract_memvni_param(uint32_t is_delete, uint16_t type,
                                                      uint16_t len, const void *value,
                                                      drelm_app_cmd_extract_info_t *info);
/**
 * Answers a configuration request: logs "CLI extractor" and calls
 * `cli_response_send_ok(request_handle)`, whose result is ignored. Nothing in the library calls
 * it.
 * @param cookie not read.
 * @param request_handle handed to the platform as it is (null included).
 * @return 0.
 */
ZORV_DREL_API uint32_t zorv_drel_param_extractor_from_cli(void *cookie, const void *request_handle);
/**
 * Placeholder for global type 2; logs "Error zorv_drel_extract_encap_map_param:  Not supported".
 * @return #ZORV_DREL_ERR_INVALID_ARG.
 */
ZORV_DREL_API uint32_t zorv_drel_extract_encap_map_param(void);
/**
 * Placeholder for global type 1; logs "Error zorv_drel_extract_encap_profile_param:  Not
 * supported".
 * @return #ZORV_DREL_ERR_INVALID_ARG.
 */
ZORV_DREL_API uint32_t zorv_drel_extract_encap_profile_param(void);

/**
 * Applies the TLVs of an update message, or the removal of an interface, to the cache.
 *
 * Global scope takes only type-8 TLVs (member-VNI tree); interface scope any interface type
 * (interface tree, where a delete removes the whole node whatever the type). Each TLV's key is
 * built as soon as the value holds its 8 key bytes; after the key a value is refused only by the
 * step that copies its record (logged, and the walk goes on). The batch is not atomic: what was
 * applied before a failure stays.
 * @param is_delete nonzero: delete; 0: add or replace (the record's own is_delete is not read).
 * @param is_gbl nonzero: global scope; 0: the interface @p if_index.
 * @param if_index the interface (the record's own if_index is not read).
 * @param msg the message, laid out as #ZORV_DREL_OPC_TYPE1_UPD_HDR. Null: with @p is_delete,
 *        every cached service instance of @p if_index is removed (@p if_index 0 logs "Error: No
 *        ifindex to delete"); without, nothing is done. A payload that is absent or whose
 *        resp_present is 0 ("No Resp"), or a param_len of 0, does nothing; a payload too short
 *        for its header or record, or a param_len that runs past it, is refused.
 * @return 0; #ZORV_DREL_ERR_INVALID_ARG for a refused payload or a global TLV of another type than
 *         8 (at once); the key builder's code for a value without its key (at once);
 *         #ZORV_DREL_ERR_NO_MEMORY when an interface node cannot be made (at once); the TLV
 *         array's code (`TLV_ERR_MALFORMED`) passed through when the walk fails.
 */
ZORV_DREL_API uint32_t zorv_drel_type1_cfg_cache_update(uint32_t is_delete, uint32_t is_gbl,
                                                        uint32_t if_index, const msg_t *msg);
/**
 * Fills the cache in bulk from a TLV array (a restart): global scope puts type 8 into the
 * member-VNI tree and types 1 and 2 into the global tree (a profile is made from a local record
 * {name, id 0}, so it gets the identifier its name has or a new one); interface scope puts every
 * interface type into the interface tree, where a found node takes only a type-6 value. A found
 * node is updated, a missing one created and inserted; a node that cannot be made is logged
 * ("Error: failed to  add") and the walk goes on. A key-only type-5 value of a cached instance
 * changes nothing.
 * @param tlv_array the TLVs; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @param is_gbl nonzero: global scope; 0: the interface @p if_index.
 * @param if_index the interface of every TLV in interface scope.
 * @return 0 (also with entries missing); the key builder's code (#ZORV_DREL_ERR_INVALID_ARG) for
 *         a value shorter than its key (256 bytes for types 1 and 2, 8 for the others) or a type
 *         the scope's tree does not take (an interface type in global scope): the rebuild stops
 *         there, the entries made before stay; the TLV array's code passed through when the walk
 *         fails.
 */
ZORV_DREL_API uint32_t zorv_drel_type1_cfg_cache_rebuild(const tlv_array_t *tlv_array,
                                                         uint32_t is_gbl, uint32_t if_index);

/**
 * Exports the cache of one scope for the peer: zorv_drel_gbl_cfg_avl_get_params() or
 * zorv_drel_if_cfg_avl_get_params().
 * @param is_gbl nonzero: the global parameters; 0: those of @p if_index.
 * @param if_index the interface.
 * @param tlv_array_out receives the array or null; set to null first; null:
 *        #ZORV_DREL_ERR_INVALID_ARG.
 * @return what the export of the scope returns (the bare 1 included).
 */
ZORV_DREL_API uint32_t zorv_drel_type1_cfg_get_params(uint32_t is_gbl, uint32_t if_index,
                                                      tlv_array_t **tlv_array_out);
/**
 * Exports the global parameters: one aligned TLV array (memory type 3) of every profile's type-1
 * TLV (and type-2 TLV when it has a map) in tree order, then every member VNI's type-8 TLV.
 * @param tlv_array_out receives the array, the caller's (`tracked_free(1293, p)`); set to null
 *        first and left null on every failure and for an empty cache; null:
 *        #ZORV_DREL_ERR_INVALID_ARG.
 * @return 0, also for an empty cache (logged "Error: No configured entries found");
 *         #ZORV_DREL_ERR_INVALID_ARG when either global tree does not exist or a TLV cannot be
 *         added; the bare 1 (not a library code) when the array cannot be allocated.
 */
ZORV_DREL_API uint32_t zorv_drel_gbl_cfg_avl_get_params(tlv_array_t **tlv_array_out);
/**
 * Exports the member VNIs alone: one aligned TLV array (memory type 3) of their type-8 TLVs.
 * @param tlv_array_out receives the array, the caller's; set to null first and left null on
 *        every failure and for an empty tree; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @return 0, also for an empty tree; #ZORV_DREL_ERR_INVALID_ARG when the tree does not exist or a
 *         TLV cannot be added; #ZORV_DREL_ERR_NO_MEMORY (a code here, unlike the other exports)
 *         when the array cannot be allocated.
 */
ZORV_DREL_API uint32_t zorv_drel_gbl_cfg_memvni_avl_get_params(tlv_array_t **tlv_array_out);
/**
 * Exports one interface: one aligned TLV array (memory type 3) holding the type-9 TLV of each of
 * its cached service instances, in tree order.
 * @param if_index the interface.
 * @param tlv_array_out receives the array, the caller's; set to null first and left null on
 *        every failure and when nothing is cached; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @return 0, also when nothing is cached (logged "Error: No config entries found");
 *         #ZORV_DREL_ERR_INVALID_ARG when the tree does not exist or a TLV cannot be added; the
 *         bare 1 when the array cannot be allocated; #ZORV_DREL_ERR_NO_MEMORY when a value cannot.
 */
ZORV_DREL_API uint32_t zorv_drel_if_cfg_avl_get_params(uint32_t if_index,
                                                       tlv_array_t **tlv_array_out);
/**
 * Printable rows of a TLV array, one per TLV: "Gbl BD member vni" rows for type 8 and "Service
 * instance vni" rows for type 9 (zorv_drel_gbl_tlv_memvni_to_str(),
 * zorv_drel_if_tlv_vsi_all_to_str()).
 * @param tlv_array the TLVs; null: 0, nothing written.
 * @param info_out receives the rows (memory type 4, count = the number of TLVs) as soon as they
 *        exist: they are the caller's (`tracked_free(1293, p)`) from then on, also when a later
 *        TLV ends the walk; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @return 0; #ZORV_DREL_ERR_INVALID_ARG for an array without TLVs, a TLV of another type (logged
 *         "Invalid param type") or a value that does not hold its record (8 bytes for type 8; for
 *         type 9 its head and pairs, and from peer protocol version 40 on also its bitmap and
 *         name); the bare 1 (not a library code) when the rows cannot be allocated (*info_out
 *         null); the TLV array's code passed through when the walk fails.
 */
ZORV_DREL_API uint32_t zorv_drel_type1_cfg_get_param_info(const tlv_array_t *tlv_array,
                                                          drelm_app_info_t **info_out);

/* ------------------------------------------------------------------------------------------ */
/* Compatibility checks                                                                         */
/* ------------------------------------------------------------------------------------------ */

/**
 * The graceful per-VNI check of a local against a remote TLV array: the i-th local TLV is paired
 * with the i-th remote one and judged by zorv_drel_type1_cfg_compat_check_tlv(); the holders
 * gather the passed and failed VNIs of every pair.
 * @param app_param logged only.
 * @param lcl_tlvs the local array; null: only the first remote TLV is judged, as a parameter
 *        missing locally.
 * @param rmt_tlvs the remote array; null: each local TLV is judged without a remote value.
 * @param flags logged only.
 * @param reserved not read.
 * @param pass_res receives a fresh, empty VNI set in vni_set (the set it held before is not
 *        freed); null: passed VNIs are not recorded.
 * @param fail_res as @p pass_res, for the failed VNIs.
 * The sets are the caller's from the moment they are made, whatever the result: release them
 * with `bitset_free`. The library makes them with malloc and aborts the process when it cannot.
 * @return the last pair's result: 0, #ZORV_DREL_ERR_PARAM_MISSING, a `ZORV_DREL_ERR_COMPAT_*`
 *         code, #ZORV_DREL_ERR_FAILURE (no cached node for a service instance) or a key builder's
 *         code; #ZORV_DREL_ERR_INVALID_ARG when both arrays are null (no set made) or the counts
 *         differ other than as 1 against 0; #ZORV_DREL_ERR_FAILURE when the remote array ends
 *         early or cannot be read or a pair's types differ (the walk ends there); the TLV
 *         array's code passed through when the local array cannot be read.
 */
ZORV_DREL_API uint32_t zorv_drel_type1_cfg_compat_check(
    uint32_t app_param, const tlv_array_t *lcl_tlvs, const tlv_array_t *rmt_tlvs, uint32_t flags,
    uint32_t reserved, type1_compat_result_t *pass_res, type1_compat_result_t *fail_res);
/**
 * One pair of the graceful check. Only types 8 and 9 are judged, and their local values are read
 * within their lengths. Type 8: the VNIs must match and so must the bridge domains, unless the
 * local one is a fabric bridge domain; the VNI goes to the pass or the fail set. Type 9: the
 * cached node of the local service instance is needed; a missing or unreadable remote value, or
 * another admin status, fails every VNI of the instance (zorv_drel_lib_fail_all_vlans_vsi());
 * else zorv_drel_lib_check_failed_bds_vsi() judges VLAN by VLAN. A type-9 value from a peer up to
 * protocol version 39 needs only its head and pairs; from 40 on also the bitmap and name behind
 * them. A local dyn_map_cnt of 0 or less means no pairs; a remote one below 0 fails the pair.
 * @param lcl_type the local TLV's type.
 * @param lcl_len the local value's length.
 * @param lcl_val the local value; null: the parameter is missing locally: a type-8 remote value
 *        fails its VNI (#ZORV_DREL_ERR_COMPAT_GBL_MEMBER_VNI), anything else gives
 *        #ZORV_DREL_ERR_PARAM_MISSING ("Local Null", or "Local and Remote NULL").
 * @param rmt_type the remote TLV's type; read only when @p lcl_val is null (a pair's types are
 *        equal).
 * @param rmt_len the remote value's length; a remote value of a known type too short for its
 *        record fails the pair.
 * @param rmt_val the remote value; null: missing remotely, which fails the local parameter.
 * @param aux_ctx passed on, not read.
 * @param pass_res holder of the passed VNIs; null, or a null vni_set: none recorded.
 * @param fail_res holder of the failed VNIs; null, or a null vni_set: none recorded.
 * @return 0 for a pass or a type not judged; the type's `ZORV_DREL_ERR_COMPAT_*` code for a
 *         failure; #ZORV_DREL_ERR_PARAM_MISSING as above; for type 9 the key builder's code, or
 *         #ZORV_DREL_ERR_FAILURE when no node is cached for the instance.
 */
ZORV_DREL_API uint32_t zorv_drel_type1_cfg_compat_check_tlv(uint16_t lcl_type, uint16_t lcl_len,
                                                            const void *lcl_val, uint16_t rmt_type,
                                                            uint32_t rmt_len, const void *rmt_val,
                                                            uint32_t aux_ctx,
                                                            type1_compat_result_t *pass_res,
                                                            type1_compat_result_t *fail_res);
/**
 * The strict check of the type-9 attributes as a whole, pair by pair as the graceful check
 * (zorv_drel_type1_cfg_gbl_compat_check_tlv()), without VNI sets.
 * @param app_param not read.
 * @param lcl_tlvs the local array; null with a remote array: a type-9 first remote TLV gives
 *        #ZORV_DREL_ERR_PARAM_MISSING, another 0.
 * @param rmt_tlvs the remote array; null with a local array: as for @p lcl_tlvs, on the first
 *        local TLV. Both null: logged, 0.
 * @return the last pair's result; #ZORV_DREL_ERR_PARAM_MISSING as above;
 *         #ZORV_DREL_ERR_INVALID_ARG when the counts differ other than as 1 against 0;
 *         #ZORV_DREL_ERR_FAILURE when the remote array ends early or a pair's types differ; the
 *         TLV array's code passed through when a TLV cannot be read.
 */
ZORV_DREL_API uint32_t zorv_drel_type1_cfg_gbl_compat_check(uint32_t app_param,
                                                            const tlv_array_t *lcl_tlvs,
                                                            const tlv_array_t *rmt_tlvs);
/**
 * One pair of the strict check: only type 9 is judged, under the value rules of the graceful
 * check's pair. The map modes must be equal; from peer protocol version 40 on also the profile
 * names (over 256 bytes) and, for VDP, the allowed-VLAN bitmaps (a VDP pair then passes); for
 * DFS, VMT and LLDP the pair counts must be equal and every valid remote pair must map its VLAN to
 * the local VNI. Static mapping passes.
 * @param lcl_type the local TLV's type; another than 9 is not judged (0), unless the remote value
 *        of a known type is too short for its record (the type's code).
 * @param lcl_len the local value's length.
 * @param lcl_val the local value; null: #ZORV_DREL_ERR_PARAM_MISSING.
 * @param rmt_type not read (a pair's types are equal).
 * @param rmt_len the remote value's length.
 * @param rmt_val the remote value; null: #ZORV_DREL_ERR_PARAM_MISSING.
 * @return 0; #ZORV_DREL_ERR_COMPAT_INTF_VSI for a mismatch or an unreadable value;
 *         #ZORV_DREL_ERR_PARAM_MISSING; the key builder's code, or #ZORV_DREL_ERR_FAILURE when no
 *         node is cached for the local service instance.
 */
ZORV_DREL_API uint32_t zorv_drel_type1_cfg_gbl_compat_check_tlv(uint16_t lcl_type, uint16_t lcl_len,
                                                                const void *lcl_val,
                                                                uint16_t rmt_type, uint32_t rmt_len,
                                                                const void *rmt_val);
/**
 * Re-checks each remote TLV against the cache entry with the same key: a local TLV is made from
 * the entry (types 8 and 9 only; another is logged and skipped) and the pair is judged by
 * zorv_drel_type1_cfg_compat_check_tlv() with fresh, empty holders that are discarded after it.
 * The verdicts are not returned. A TLV too short for the bytes its key is built from is logged
 * and skipped.
 * @param rmt_tlvs the remote TLVs; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @param is_gbl nonzero: member VNIs and profiles; 0: the service instances of @p if_index.
 * @param if_index the interface in interface scope.
 * @return 0, also when the walk ends at the first TLV the cache lacks (logged "lcl value is
 *         Null"); a key builder's code (#ZORV_DREL_ERR_INVALID_ARG) for a type the scope's tree
 *         does not take; the TLV array's code passed through when the walk fails.
 */
ZORV_DREL_API uint32_t zorv_drel_type1_rmt_cfg_cache_rebuild(const tlv_array_t *rmt_tlvs,
                                                             uint32_t is_gbl, uint32_t if_index);

/* ------------------------------------------------------------------------------------------ */
/* Lookups and failed sets                                                                      */
/* ------------------------------------------------------------------------------------------ */

/**
 * The bridge domain of a member VNI.
 * @param vni the VNI.
 * @return its bridge domain; 0 when it is not cached (logged) or the tree does not exist.
 */
ZORV_DREL_API uint32_t zorv_drel_lib_get_bd_for_vni(uint32_t vni);
/**
 * The bridge domains of a service instance: for each mapped VLAN 1..4095, the bridge domain of
 * its VNI (zorv_drel_lib_get_bd_for_vni(); 0 is skipped, one above 4095 logged and not marked).
 * @param if_node the instance's cached node; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @param bd_bmp receives the bridge domains (cleared first, len 512); null:
 *        #ZORV_DREL_ERR_INVALID_ARG, nothing written.
 * @param vni_set receives every mapped VNI; null: not recorded.
 * @return #ZORV_DREL_OK or #ZORV_DREL_ERR_INVALID_ARG.
 */
ZORV_DREL_API uint32_t zorv_drel_lib_get_bd_bmp_for_vsi(const if_cfg_avl_node_t *if_node,
                                                        bmp4096_t *bd_bmp, bitset_t *vni_set);
/**
 * The dot1q map of a cached profile (its first 255 characters compared).
 * @param encap_name the profile name; null: #ZORV_DREL_ERR_INVALID_ARG.
 * @param map_out receives a pointer to the profile's 4096 VNIs, inside the cache: do not free it
 *        or keep it across an update. Checked only where it is written: a null one gives
 *        #ZORV_DREL_ERR_INVALID_ARG for a profile with a map; an unknown profile needs none.
 * @return #ZORV_DREL_OK; #ZORV_DREL_ERR_FAILURE when the tree does not exist, no profile has the
 *         name or the profile has no map (each logged); #ZORV_DREL_ERR_INVALID_ARG as above.
 */
ZORV_DREL_API uint32_t zorv_drel_lib_get_gbl_dot1qmap_for_encap(const char *encap_name,
                                                                uint32_t **map_out);
/**
 * Failed VLANs of two dot1q-to-VNI maps, as bridge domains: for each VLAN 0..4095 whose local
 * VNI is nonzero and differs from the remote one, the VNI's bridge domain (0 included) is marked
 * failed.
 * @param type the type whose code a failure returns.
 * @param lcl_map the local map, 4096 VNIs; null: the type's code at once (outputs initialised).
 * @param rmt_map the remote map; null: every locally mapped VLAN fails.
 * @param pelk_bmp the peer-link VLANs, counted for the log only; null counts 0.
 * @param pass_bmp receives the passing bridge domains: all set, the failed ones cleared; null:
 *        #ZORV_DREL_ERR_INVALID_ARG, nothing written.
 * @param failed_bmp receives the failed bridge domains; null: #ZORV_DREL_ERR_INVALID_ARG, nothing
 *        written.
 * @return 0 when no bridge domain failed, else the type's `ZORV_DREL_ERR_COMPAT_*` code
 *         (zorv_drel_get_type1_cfg_compat_chk_errcode()); #ZORV_DREL_ERR_INVALID_ARG as above.
 */
ZORV_DREL_API uint32_t zorv_drel_lib_check_failed_vlans_vni(uint16_t type, const uint32_t *lcl_map,
                                                            const uint32_t *rmt_map,
                                                            const bmp4096_t *pelk_bmp,
                                                            bmp4096_t *pass_bmp,
                                                            bmp4096_t *failed_bmp);
/**
 * Failed VLANs of two allowed-VLAN bitmaps, as bridge domains: a peer-link VLAN whose local and
 * remote bits differ fails, and the bridge domain of its VNI in @p dot1q_map is marked failed
 * (a VLAN without a VNI or a bridge domain leaves no trace).
 * @param type the type whose code a failure returns.
 * @param dot1q_map the VNI of each VLAN; null: no bridge domain is marked.
 * @param lcl_bmp the local bitmap; null: the type's code at once (outputs initialised).
 * @param rmt_bmp the remote bitmap; null: every local VLAN fails.
 * @param pelk_bmp the VLANs to judge; null: none.
 * @param pass_bmp receives the passing bridge domains: all set, the failed ones cleared; null:
 *        #ZORV_DREL_ERR_INVALID_ARG, nothing written.
 * @param failed_bmp receives the failed bridge domains; null: #ZORV_DREL_ERR_INVALID_ARG, nothing
 *        written.
 * @return 0 when no bridge domain failed, else the type's code; #ZORV_DREL_ERR_INVALID_ARG as
 *         above.
 */
ZORV_DREL_API uint32_t zorv_drel_lib_check_failed_vlans_bmp(
    uint16_t type, const uint32_t *dot1q_map, const bmp4096_t *lcl_bmp, const bmp4096_t *rmt_bmp,
    const bmp4096_t *pelk_bmp, bmp4096_t *pass_bmp, bmp4096_t *failed_bmp);
/**
 * Failed VNIs of a service instance, VLAN by VLAN: every valid local pair's VNI moves to the fail
 * set, then every valid remote pair whose VNI equals the local one of its VLAN moves to the pass
 * set (an invalid pair is logged and skipped; a count of 0 or less means no pairs).
 * @param type the type whose code a failure returns.
 * @param lcl_val the local type-9 value, holding its pairs (the caller has checked its length);
 *        null: the type's code at once.
 * @param rmt_val the remote type-9 value, holding its pairs; null: no remote pairs.
 * @param aux_ctx not read.
 * @param pass_res holder of the passed VNIs; null, or a null vni_set: none recorded.
 * @param fail_res holder of the failed VNIs; its set decides the result: null, or a null vni_set,
 *        counts as failed.
 * @return 0 when the fail set is empty afterwards, else the type's `ZORV_DREL_ERR_COMPAT_*` code.
 */
ZORV_DREL_API uint32_t zorv_drel_lib_check_failed_bds_vsi(uint16_t type, const vsi_all_t *lcl_val,
                                                          const vsi_all_t *rmt_val,
                                                          uint32_t aux_ctx,
                                                          type1_compat_result_t *pass_res,
                                                          type1_compat_result_t *fail_res);
/**
 * Fails every VNI mapped on a service instance (its VLANs 1..4095): each moves from the pass set
 * to the fail set. The library's working set for it is made with malloc; the process aborts when
 * it cannot be.
 * @param if_node the instance's cached node; null: nothing is done.
 * @param type not read.
 * @param aux_ctx not read.
 * @param pass_res holder of the passed VNIs; null, or a null vni_set: untouched.
 * @param fail_res holder of the failed VNIs; null, or a null vni_set: none recorded.
 * @return 0.
 */
ZORV_DREL_API uint32_t zorv_drel_lib_fail_all_vlans_vsi(const if_cfg_avl_node_t *if_node,
                                                        uint16_t type, uint32_t aux_ctx,
                                                        type1_compat_result_t *pass_res,
                                                        type1_compat_result_t *fail_res);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* ZORV_DREL_H */
