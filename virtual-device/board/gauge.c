// SPDX-License-Identifier: GPL-2.0
/* Model of the fuel gauge. */
#include <linux/errno.h>
#include <linux/string.h>
#include <asm/unaligned.h>

#include "gauge.h"

#define DEVICE_TYPE 0x0520
#define FIRMWARE_VERSION 0x0329
#define FULL_CAPACITY_MAH 2600

#define STATUS_FULL_ACCESS_SEALED 0x4000
#define STATUS_SEALED 0x2000
#define FLAG_BATTERY_DETECTED 0x0008
#define FLAG_DISCHARGING 0x0001

enum control {
	CONTROL_STATUS = 0x0000,
	CONTROL_DEVICE_TYPE = 0x0001,
	CONTROL_FIRMWARE_VERSION = 0x0002,
	CONTROL_SEAL = 0x0020,
	CONTROL_RESET = 0x0041,
	CONTROL_ENTER_ROM = 0x0F00,
	CONTROL_UNSEAL_1 = 0x5C21,
	CONTROL_UNSEAL_2 = 0x1E47,
	CONTROL_FULL_ACCESS = 0xB4B4,
};

enum rom_register { ROM_COMMAND = 0x00, ROM_CHECKSUM = 0x64 };
enum rom_command { ROM_EXIT = 0x0F };

static const struct gauge_mode normal_mode;
static const struct gauge_mode rom_mode;

static u8 *mode_registers(struct gauge *gauge)
{
	return gauge->mode == &rom_mode ? gauge->rom : gauge->normal;
}

/* The firmware starts: sealed, and deaf on the bus for as long as that takes. */
static void start_firmware(struct gauge *gauge)
{
	gauge->mode = &normal_mode;
	gauge->access = GAUGE_SEALED;
	gauge->previous_control = 0;
	gauge->pointer = 0;
	gauge_set_word(gauge, GAUGE_CONTROL, 0);
	gauge->silent_until = ktime_add_ms(ktime_get(), gauge->reset_ms);
}

static void enter_rom(struct gauge *gauge)
{
	gauge->mode = &rom_mode;
	gauge->pointer = 0;
	memset(gauge->rom, 0, sizeof(gauge->rom));
}

static u16 control_status(const struct gauge *gauge)
{
	u16 status = 0;

	if (gauge->access != GAUGE_FULL_ACCESS)
		status |= STATUS_FULL_ACCESS_SEALED;
	if (gauge->access == GAUGE_SEALED)
		status |= STATUS_SEALED;
	return status;
}

/* A key opens only as two consecutive words of Control, and only in its turn. */
static void try_keys(struct gauge *gauge, u16 first, u16 second)
{
	if (gauge->access == GAUGE_SEALED && first == CONTROL_UNSEAL_1 &&
	    second == CONTROL_UNSEAL_2)
		gauge->access = GAUGE_UNSEALED;
	else if (gauge->access == GAUGE_UNSEALED && first == CONTROL_FULL_ACCESS &&
		 second == CONTROL_FULL_ACCESS)
		gauge->access = GAUGE_FULL_ACCESS;
}

static void execute_control(struct gauge *gauge)
{
	u16 control = gauge_word(gauge, GAUGE_CONTROL);
	u16 answer = 0;

	try_keys(gauge, gauge->previous_control, control);
	gauge->previous_control = control;
	switch (control) {
	case CONTROL_STATUS:
		answer = control_status(gauge);
		break;
	case CONTROL_DEVICE_TYPE:
		answer = DEVICE_TYPE;
		break;
	case CONTROL_FIRMWARE_VERSION:
		answer = FIRMWARE_VERSION;
		break;
	case CONTROL_SEAL:
		gauge->access = GAUGE_SEALED;
		break;
	case CONTROL_RESET:
		/* A sealed gauge takes no command that could disturb it. */
		if (gauge->access != GAUGE_SEALED) {
			gauge->resets++;
			start_firmware(gauge);
		}
		break;
	case CONTROL_ENTER_ROM:
		if (gauge->access == GAUGE_FULL_ACCESS)
			enter_rom(gauge);
		break;
	}
	gauge_set_word(gauge, GAUGE_CONTROL, answer);
}

static bool normal_writable(const struct gauge *gauge, u8 reg)
{
	if (reg < GAUGE_TEMPERATURE)
		return true;
	return gauge->access != GAUGE_SEALED && reg >= GAUGE_BLOCK_CLASS &&
	       reg <= GAUGE_BLOCK_CONTROL;
}

static bool rom_writable(const struct gauge *gauge, u8 reg)
{
	return true;
}

/* The boot loader executes a command when its checksum is complete and right. */
static void execute_rom(struct gauge *gauge)
{
	u16 checksum = get_unaligned_le16(&gauge->rom[ROM_CHECKSUM]);

	switch (gauge->rom[ROM_COMMAND]) {
	case ROM_EXIT:
		if (checksum == ROM_EXIT)
			start_firmware(gauge);
		break;
	}
}

static const struct gauge_mode normal_mode = {
	.address = GAUGE_ADDRESS,
	.trigger = GAUGE_CONTROL + 1,
	.writable = normal_writable,
	.execute = execute_control,
};

static const struct gauge_mode rom_mode = {
	.address = GAUGE_ROM_ADDRESS,
	.trigger = ROM_CHECKSUM + 1,
	.writable = rom_writable,
	.execute = execute_rom,
};

static bool acknowledges(const struct gauge *gauge, u8 address)
{
	return !gauge->nack && address == gauge->mode->address &&
	       ktime_compare(ktime_get(), gauge->silent_until) >= 0;
}

int gauge_write(struct gauge *gauge, u8 address, const u8 *data, size_t size)
{
	u8 *registers = mode_registers(gauge);
	bool complete = false;
	size_t i;

	if (!acknowledges(gauge, address))
		return -ENXIO;
	if (!size)
		return 0;
	gauge->pointer = data[0];
	for (i = 1; i < size; i++) {
		/* The gauge does not acknowledge a byte for a read-only register. */
		if (!gauge->mode->writable(gauge, gauge->pointer))
			return -ENXIO;
		if (gauge->pointer == gauge->mode->trigger)
			complete = true;
		registers[gauge->pointer++] = data[i];
	}
	if (complete)
		gauge->mode->execute(gauge);
	return 0;
}

int gauge_read(struct gauge *gauge, u8 address, u8 *data, size_t size)
{
	const u8 *registers = mode_registers(gauge);
	size_t i;

	if (!acknowledges(gauge, address))
		return -ENXIO;
	for (i = 0; i < size; i++)
		data[i] = registers[gauge->pointer++];
	return 0;
}

u16 gauge_word(const struct gauge *gauge, enum gauge_register reg)
{
	return get_unaligned_le16(&gauge->normal[reg]);
}

void gauge_set_word(struct gauge *gauge, enum gauge_register reg, u16 value)
{
	put_unaligned_le16(value, &gauge->normal[reg]);
}

static void set_flag(struct gauge *gauge, u16 flag, bool on)
{
	u16 flags = gauge_word(gauge, GAUGE_FLAGS) & ~flag;

	gauge_set_word(gauge, GAUGE_FLAGS, on ? flags | flag : flags);
}

void gauge_set_battery(struct gauge *gauge, bool present)
{
	set_flag(gauge, FLAG_BATTERY_DETECTED, present);
}

bool gauge_battery(const struct gauge *gauge)
{
	return gauge_word(gauge, GAUGE_FLAGS) & FLAG_BATTERY_DETECTED;
}

void gauge_set_level(struct gauge *gauge, u8 percent)
{
	gauge_set_word(gauge, GAUGE_STATE_OF_CHARGE, percent);
	gauge_set_word(gauge, GAUGE_REMAINING_CAPACITY, FULL_CAPACITY_MAH * percent / 100);
}

void gauge_set_current(struct gauge *gauge, s16 milliamperes)
{
	gauge_set_word(gauge, GAUGE_CURRENT, milliamperes);
	gauge_set_word(gauge, GAUGE_AVERAGE_CURRENT, milliamperes);
	set_flag(gauge, FLAG_DISCHARGING, milliamperes < 0);
}

void gauge_init(struct gauge *gauge)
{
	memset(gauge, 0, sizeof(*gauge));
	start_firmware(gauge);
	gauge_set_word(gauge, GAUGE_FULL_CAPACITY, FULL_CAPACITY_MAH);
	gauge_set_battery(gauge, true);
	gauge_set_level(gauge, 80);
	gauge_set_current(gauge, -250);
	gauge_set_word(gauge, GAUGE_VOLTAGE, 3850);
	gauge_set_word(gauge, GAUGE_TEMPERATURE, 2981);
}
