/* SPDX-License-Identifier: Apache-2.0 */
/* altplat_internal.h - state the second platform's sources share. */
#ifndef ALTPLAT_INTERNAL_H
#define ALTPLAT_INTERNAL_H

#include "altplat.h"

/* Counters of the calls the library made. */
extern altplat_calls_t altplat_g_calls;
/* The service tracked_mem_uninit was called for (0: not yet). */
extern uint32_t altplat_g_uninit_service;

#endif
