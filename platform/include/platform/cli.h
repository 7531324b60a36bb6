/* SPDX-License-Identifier: Apache-2.0 */
/* cli.h - configuration requests carried by messages. */
#ifndef PLATFORM_CLI_H
#define PLATFORM_CLI_H

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

#include <platform/msg.h>

/* Contract with libzorvdrel: for a configuration request the library asks the handle's size and,
 * when it is 1..1024 bytes, has the handle written into its own 16-byte-aligned buffer. It answers
 * a request handed to it with cli_response_send_ok(handle) and ignores the result. */
uint32_t cli_request_handle_get(const msg_t *msg); /* handle size, 0: not a request */
uint32_t cli_request_handle_get_ext(const msg_t *msg, void *buf); /* nonzero: handle written */
int cli_response_send_ok(const void *handle);

/* Host control: how many requests were answered. */
uint32_t cli_host_ok_count(void);

#ifdef __cplusplus
}
#endif

#endif
