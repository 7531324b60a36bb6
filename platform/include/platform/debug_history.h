/* SPDX-License-Identifier: Apache-2.0 */
/* debug_history.h - per-service ring of formatted debug events. */
#ifndef PLATFORM_DEBUG_HISTORY_H
#define PLATFORM_DEBUG_HISTORY_H

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Contract with libzorvdrel: the library opens its ring lazily, before its first event: open
 * (0 on success, also when the ring exists already), then open_instance(svc, 0, 0, size, 0, 0).
 * While open fails the library tries again before its next event. */
int debug_history_open(uint32_t service_id, uint32_t size);
int debug_history_open_instance(uint32_t service_id, uint32_t instance, uint32_t flags,
                                uint32_t size, uint32_t arg4, uint32_t arg5);
/* Appends one event (the text as the format renders it); nonzero when no ring is open.
 * The library logs on every path, with instance 0 and level 0, and never checks the result:
 * logging must never fail, block or abort the caller, must not allocate heap per event, and must
 * accept events that are not whole lines (a format may render "%d)%d,%d "). Every %s argument
 * the library passes is a valid string.
 * On the host an event is kept unformatted and its text made when it is read; it reads back as
 * vsnprintf renders the call, cut to the ring's size less 25 bytes. It costs the ring 24 bytes
 * (sequence number, time stamp, format) and its arguments: 4 bytes for an int or anything
 * smaller, 8 for a long, size_t, pointer or double, a string's bytes as far as the conversion
 * reads them and a NUL; padded to a multiple of 8. A call the history does not defer (a
 * conversion such as %m, %Lf or %1$d, a null string, more than 16 arguments) costs 24 bytes and
 * its text and a NUL, padded likewise. A format with %n is refused. */
int debug_history_log(uint32_t service_id, uint32_t instance, uint32_t level, const char *format,
                      ...) __attribute__((format(printf, 4, 5)));
/* Never null, also for codes it does not know (the library prints the result with %s): it knows
 * the platform's codes and the library's (0x42D9xxxx, 0x41B70016), and renders any other as a
 * hexadecimal "unknown error" text. The text stays valid at least until the next call. */
const char *error_to_string(uint32_t code);

/* Host controls. */
void debug_history_fail_open(uint32_t service_id, uint32_t times); /* next `times` opens fail */
uint32_t debug_history_open_calls(uint32_t service_id);
uint32_t debug_history_count(uint32_t service_id);                /* events held */
const char *debug_history_event(uint32_t service_id, uint32_t i); /* i-th oldest held, or null */
void debug_history_clear(uint32_t service_id);
int debug_history_dump(uint32_t service_id, FILE *out); /* one event a line, with time */

#ifdef __cplusplus
}
#endif

#endif
