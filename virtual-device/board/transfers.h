/* SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem */
/* SPDX-License-Identifier: GPL-2.0-only */
/* The log of the bus, in which a test counts the software's requests to the gauge. */
#ifndef VANTOREL_TRANSFERS_H
#define VANTOREL_TRANSFERS_H

#include <linux/fs.h>
#include <linux/ktime.h>
#include <linux/types.h>

#define TRANSFER_DATA_MAX 16

struct transfer {
	ktime_t time;
	int result;
	u16 address;
	bool read;
	u8 reg;
	u16 size;
	u8 data[TRANSFER_DATA_MAX];
};

extern const struct file_operations transfers_fops;

int transfers_init(void);
void transfers_free(void *unused);
void transfers_add(const struct transfer *transfer);
unsigned int transfers_count(void);

#endif
