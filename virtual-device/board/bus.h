/* SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem */
/* SPDX-License-Identifier: GPL-2.0-only */
/* The I2C bus with the gauge on it, shared by the adapter and its commands. */
#ifndef VANTOREL_BUS_H
#define VANTOREL_BUS_H

#include <linux/i2c.h>
#include <linux/mutex.h>

#include "board.h"
#include "gauge.h"

/* A fault of `count` transfers, which follows `skip` good ones. */
struct bus_fault {
	int error;
	int count;
	int skip;
};

struct bus {
	struct mutex lock; /* guards everything here */
	struct gauge gauge;
	struct file *store; /* preserves the gauge's memory while the machine is off */
	struct gauge_memory *store_buffer;
	struct bus_fault failure; /* the transfer fails with the error */
	struct bus_fault corruption; /* a read returns a wrong bit */
	u64 held_until; /* end of a held clock line, by gauge_clock_ms() */
	struct i2c_adapter adapter;
};

extern struct bus bus;
extern const struct board_command bus_commands[];

/* Reads the content of the gauge's flash. */
extern const struct file_operations gauge_flash_fops;

/* Call with the lock held. */
int bus_open_store(const char *path);
void bus_save_gauge(void);

#endif
