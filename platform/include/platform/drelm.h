/* SPDX-License-Identifier: Apache-2.0 */
/* drelm.h - the peer manager's database and queries. */
#ifndef PLATFORM_DRELM_H
#define PLATFORM_DRELM_H

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct drelm_sdb_key {
    uint32_t table; /* which table of the database */
    uint32_t id;    /* record id within the table */
} drelm_sdb_key_t;

/* Interface record: is_drel nonzero when the interface is a peer-link member. */
typedef struct drelm_sdb_if_info {
    uint32_t is_drel; /* member of a peer link */
    uint32_t drel_id; /* the peer-link id */
} drelm_sdb_if_info_t;

/* Contract with libzorvdrel: the library zeroes a key, fills it with a generate call (whose
 * result it ignores) and passes it to info_get. An interface record is drelm_sdb_if_info_t; the
 * library reads it at once and keeps no pointer to it. The trunk key is generated with mct_id 1;
 * the trunk exists exactly when info_get gives a non-null record for it (its contents are not
 * read). get_local_drel_if_index(drel_id, arg, 1) gives the local interface of a peer link, 0 for
 * none. get_pelk_oper_ver(&ver, 1) writes the peer protocol's operational version; the library
 * starts from 0 and ignores the result, and compares profile names only above version 39. */
int drelm_sdb_generate_if_key(uint32_t if_index, drelm_sdb_key_t *key);
int drelm_sdb_generate_mct_key(uint32_t mct_id, drelm_sdb_key_t *key);
const void *drelm_sdb_info_get(const drelm_sdb_key_t *key); /* record or null */
uint32_t drelm_api_get_local_drel_if_index(uint32_t drel_id, uint32_t arg, uint32_t flags);
int drelm_api_get_pelk_oper_ver(uint32_t *ver, uint32_t arg);

/* Host controls. */
void drelm_host_set_interface(uint32_t if_index, uint32_t is_drel, uint32_t drel_id);
void drelm_host_remove_interface(uint32_t if_index);
void drelm_host_set_mct(int present);
void drelm_host_set_pelk_oper_ver(uint32_t ver); /* default 40 */
void drelm_host_set_local_drel_if_index(uint32_t drel_id, uint32_t if_index);

#ifdef __cplusplus
}
#endif

#endif
