/* SPDX-License-Identifier: Apache-2.0 */
/* msg.h - messages of the peer manager's message service. */
#ifndef PLATFORM_MSG_H
#define PLATFORM_MSG_H

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Contract with libzorvdrel: a message handle is a msg_t *. The library reads the opcode, prints
 * msg_opcode_name_get's text with %s (so it is never null, also for unknown opcodes), and reads
 * the update record and its TLV array in place inside the payload: the payload is at least
 * 4-byte aligned (8 here) and stays valid and unchanged during the call. The library never reads
 * past the reported length. */
typedef struct msg msg_t;
uint32_t msg_opcode_get(const msg_t *msg);
const char *msg_opcode_name_get(uint32_t opcode);                      /* never null */
void *msg_payload_get(const msg_t *msg, uint32_t *len);                /* null: no payload */
msg_t *msg_create(uint32_t opcode, const void *payload, uint32_t len); /* copies; 8-aligned */
void msg_destroy(msg_t *msg);

/* Host control: a configuration-request message, with or without a request handle. */
msg_t *msg_create_request(uint32_t opcode, int with_handle);

#ifdef __cplusplus
}
#endif

#endif
