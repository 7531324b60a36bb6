/* SPDX-License-Identifier: Apache-2.0 */
/* bmp4096.h - the 4096-bit bitmap shared by the library's records and the bridge-domain manager. */
#ifndef PLATFORM_BMP4096_H
#define PLATFORM_BMP4096_H

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Bit n lies in bits[n / 8] under mask 0x80 >> (n % 8). */
typedef struct bmp4096 {
    uint32_t len;      /* number of bit bytes that follow: 512 when set */
    uint8_t bits[512]; /* the bits, most significant first */
} bmp4096_t;

#ifdef __cplusplus
}
#endif

#endif
