/* SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem */
/* SPDX-License-Identifier: GPL-2.0-only */
/*
 * Definitions that the gauge's model needs outside the kernel. The same source is compiled into
 * the kernel module and into a native test of the library. The test cuts the power at every line
 * of a stream, which takes thousands of starts, without booting a machine.
 */
#ifndef VANTOREL_PORTABLE_H
#define VANTOREL_PORTABLE_H

#ifdef __KERNEL__
#include <linux/errno.h>
#include <linux/string.h>
#include <linux/types.h>
#else
#include <errno.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

typedef uint8_t u8;
typedef uint16_t u16;
typedef int16_t s16;
typedef uint64_t u64;
#endif

#endif
