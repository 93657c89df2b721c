/* SPDX-License-Identifier: GPL-2.0 */
/*
 * Model of a bq27-series fuel gauge: two modes, each with an address and a file
 * of 256 byte registers. It knows nothing of buses and locks; the caller holds
 * the one and carries the other.
 */
#ifndef VANTOREL_GAUGE_H
#define VANTOREL_GAUGE_H

#include <linux/ktime.h>
#include <linux/types.h>

#define GAUGE_ADDRESS 0x55
#define GAUGE_ROM_ADDRESS 0x0B

/* Standard commands, each the low byte of a little-endian word. */
enum gauge_register {
	GAUGE_CONTROL = 0x00,
	GAUGE_AT_RATE = 0x02,
	GAUGE_TEMPERATURE = 0x06,
	GAUGE_VOLTAGE = 0x08,
	GAUGE_FLAGS = 0x0A,
	GAUGE_REMAINING_CAPACITY = 0x10,
	GAUGE_FULL_CAPACITY = 0x12,
	GAUGE_AVERAGE_CURRENT = 0x14,
	GAUGE_STATE_OF_CHARGE = 0x20,
	GAUGE_CURRENT = 0x22,
	GAUGE_BLOCK_CLASS = 0x3E,
	GAUGE_BLOCK_CONTROL = 0x61,
};

enum gauge_access { GAUGE_SEALED, GAUGE_UNSEALED, GAUGE_FULL_ACCESS };

struct gauge;

/*
 * What makes one mode differ from the other. A message is stored first and then,
 * when it touched the trigger register, executed: the gauge acts on the byte
 * that completes a command, never on half of one.
 */
struct gauge_mode {
	u8 address;
	u8 trigger;
	bool (*writable)(const struct gauge *gauge, u8 reg);
	void (*execute)(struct gauge *gauge);
};

struct gauge {
	const struct gauge_mode *mode;
	enum gauge_access access;
	u16 previous_control;
	u8 pointer;
	u8 normal[256];
	u8 rom[256];
	unsigned int resets;
	unsigned int reset_ms;
	ktime_t silent_until;
	bool nack;
};

void gauge_init(struct gauge *gauge);
/* One message each; a missing acknowledge is -ENXIO. */
int gauge_write(struct gauge *gauge, u8 address, const u8 *data, size_t size);
int gauge_read(struct gauge *gauge, u8 address, u8 *data, size_t size);

u16 gauge_word(const struct gauge *gauge, enum gauge_register reg);
void gauge_set_word(struct gauge *gauge, enum gauge_register reg, u16 value);
void gauge_set_battery(struct gauge *gauge, bool present);
bool gauge_battery(const struct gauge *gauge);
void gauge_set_level(struct gauge *gauge, u8 percent);
void gauge_set_current(struct gauge *gauge, s16 milliamperes);

#endif
