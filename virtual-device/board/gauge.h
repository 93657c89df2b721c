/* SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem */
/* SPDX-License-Identifier: GPL-2.0-only */
/*
 * Model of a bq27-series fuel gauge: two modes, each with an address and a file of 256 byte
 * registers, and a flash behind them that commands write. docs/gauge-streams.md describes its
 * rules. The model does not depend on a bus; the caller transfers the data and holds the lock.
 */
#ifndef VANTOREL_GAUGE_H
#define VANTOREL_GAUGE_H

#include "portable.h"

#define GAUGE_ADDRESS 0x55
#define GAUGE_ROM_ADDRESS 0x0B
#define GAUGE_DEVICE_TYPE 0x0520

#define GAUGE_ROWS 256
#define GAUGE_ROW_SIZE 96
#define GAUGE_CLASSES 16
#define GAUGE_BLOCKS_PER_CLASS 4
#define GAUGE_BLOCK_SIZE 32

/* Standard commands, each the low byte of a little-endian word. */
enum gauge_register {
	GAUGE_CONTROL = 0x00,
	GAUGE_TEMPERATURE = 0x06,
	GAUGE_VOLTAGE = 0x08,
	GAUGE_FLAGS = 0x0A,
	GAUGE_REMAINING_CAPACITY = 0x10,
	GAUGE_FULL_CAPACITY = 0x12,
	GAUGE_AVERAGE_CURRENT = 0x14,
	GAUGE_STATE_OF_CHARGE = 0x20,
	GAUGE_CURRENT = 0x22,
	GAUGE_BLOCK_CLASS = 0x3E,
	GAUGE_BLOCK = 0x3F,
	GAUGE_BLOCK_DATA = 0x40,
	GAUGE_BLOCK_CHECKSUM = 0x60,
	GAUGE_BLOCK_CONTROL = 0x61,
};

enum gauge_access { GAUGE_SEALED, GAUGE_UNSEALED, GAUGE_FULL_ACCESS };
enum gauge_mode { GAUGE_NORMAL, GAUGE_ROM };

/* The change of the flash in progress; the gauge acknowledges nothing until it ends. */
enum gauge_operation { GAUGE_IDLE, GAUGE_ERASES, GAUGE_PROGRAMS_ROW, GAUGE_PROGRAMS_BLOCK };

struct gauge_content {
	u8 rows[GAUGE_ROWS][GAUGE_ROW_SIZE];
	u8 blocks[GAUGE_CLASSES * GAUGE_BLOCKS_PER_CLASS][GAUGE_BLOCK_SIZE];
};

/* The state that the gauge's battery preserves while the device is off. */
struct gauge_memory {
	struct gauge_content content;
	u8 rom[256];
	u8 block[GAUGE_BLOCK_CONTROL + 1 - GAUGE_BLOCK_CLASS];
	u8 mode;
	u8 access;
	u8 operation;
	u16 target; /* row or block of the operation */
	u16 type;
	u16 previous_control;
};

struct gauge {
	struct gauge_memory memory;
	u8 normal[256];
	u8 pointer;
	u64 silent_until; /* by gauge_clock_ms() */
	unsigned int resets;
	unsigned int reset_ms; /* time that its firmware takes to start */
	/* Faults: the gauge acknowledges nothing; it does not leave ROM mode. */
	bool nack;
	bool stays_in_rom;
};

/* The time in milliseconds; the user of the model defines it. */
u64 gauge_clock_ms(void);

void gauge_init(struct gauge *gauge);
/* Restores a saved state; returns false when `memory` is not the state of a gauge. */
bool gauge_restore(struct gauge *gauge, const struct gauge_memory *memory);
/* Removes the battery, also during an operation, and inserts it again. */
void gauge_power_cycle(struct gauge *gauge);
/* The current content of its flash. */
const struct gauge_content *gauge_flash(struct gauge *gauge);
u8 gauge_address(const struct gauge *gauge);

/* Each transfers one message; returns -ENXIO for a missing acknowledge. */
int gauge_write(struct gauge *gauge, u8 address, const u8 *data, size_t size);
int gauge_read(struct gauge *gauge, u8 address, u8 *data, size_t size);

u16 gauge_word(const struct gauge *gauge, enum gauge_register reg);
void gauge_set_word(struct gauge *gauge, enum gauge_register reg, u16 value);
void gauge_set_battery(struct gauge *gauge, bool present);
bool gauge_battery(const struct gauge *gauge);
void gauge_set_level(struct gauge *gauge, u8 percent);
void gauge_set_current(struct gauge *gauge, s16 milliamperes);

#endif
