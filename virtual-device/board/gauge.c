// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: GPL-2.0-only
/* Model of the fuel gauge: its two modes and its measurements. */
#include "flash.h"
#include "gauge.h"

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

static void be_silent_for(struct gauge *gauge, unsigned int milliseconds)
{
	gauge->silent_until = gauge_clock_ms() + milliseconds;
}

static void enter_rom(struct gauge *gauge)
{
	gauge->memory.mode = GAUGE_ROM;
	gauge->pointer = 0;
	memset(gauge->memory.rom, 0, sizeof(gauge->memory.rom));
}

/*
 * The firmware starts sealed, and does not acknowledge while it starts. Without complete firmware
 * the boot loader keeps running, so a gauge with an interrupted update always answers at one of
 * the two addresses.
 */
static void start_firmware(struct gauge *gauge)
{
	struct gauge_memory *memory = &gauge->memory;

	if (!flash_is_whole(&memory->content)) {
		if (memory->mode != GAUGE_ROM)
			enter_rom(gauge);
		return;
	}
	memory->mode = GAUGE_NORMAL;
	memory->access = GAUGE_SEALED;
	memory->previous_control = 0;
	memset(memory->block, 0, sizeof(memory->block));
	gauge->pointer = 0;
	gauge_set_word(gauge, GAUGE_CONTROL, 0);
	be_silent_for(gauge, gauge->reset_ms);
}

static u16 control_status(const struct gauge *gauge)
{
	u16 status = 0;

	if (gauge->memory.access != GAUGE_FULL_ACCESS)
		status |= STATUS_FULL_ACCESS_SEALED;
	if (gauge->memory.access == GAUGE_SEALED)
		status |= STATUS_SEALED;
	return status;
}

/* A key must be two consecutive words of Control, and the keys must come in order. */
static void try_keys(struct gauge *gauge, u16 first, u16 second)
{
	struct gauge_memory *memory = &gauge->memory;

	if (memory->access == GAUGE_SEALED && first == CONTROL_UNSEAL_1 &&
	    second == CONTROL_UNSEAL_2)
		memory->access = GAUGE_UNSEALED;
	else if (memory->access == GAUGE_UNSEALED && first == CONTROL_FULL_ACCESS &&
		 second == CONTROL_FULL_ACCESS)
		memory->access = GAUGE_FULL_ACCESS;
}

static void execute_control(struct gauge *gauge)
{
	u16 control = gauge_word(gauge, GAUGE_CONTROL);
	u16 answer = 0;

	try_keys(gauge, gauge->memory.previous_control, control);
	gauge->memory.previous_control = control;
	switch (control) {
	case CONTROL_STATUS:
		answer = control_status(gauge);
		break;
	case CONTROL_DEVICE_TYPE:
		answer = gauge->memory.type;
		break;
	case CONTROL_FIRMWARE_VERSION:
		answer = FIRMWARE_VERSION;
		break;
	case CONTROL_SEAL:
		gauge->memory.access = GAUGE_SEALED;
		break;
	case CONTROL_RESET:
		/* A sealed gauge ignores commands that could disturb it. */
		if (gauge->memory.access != GAUGE_SEALED) {
			gauge->resets++;
			start_firmware(gauge);
		}
		break;
	case CONTROL_ENTER_ROM:
		if (gauge->memory.access == GAUGE_FULL_ACCESS)
			enter_rom(gauge);
		break;
	}
	gauge_set_word(gauge, GAUGE_CONTROL, answer);
}

static bool is_block_register(u8 reg)
{
	return reg >= GAUGE_BLOCK_CLASS && reg <= GAUGE_BLOCK_CONTROL;
}

static u8 *register_at(struct gauge *gauge, u8 reg)
{
	if (gauge->memory.mode == GAUGE_ROM)
		return &gauge->memory.rom[reg];
	if (is_block_register(reg))
		return &gauge->memory.block[reg - GAUGE_BLOCK_CLASS];
	return &gauge->normal[reg];
}

static bool is_writable(const struct gauge *gauge, u8 reg)
{
	if (gauge->memory.mode == GAUGE_ROM || reg < GAUGE_TEMPERATURE)
		return true;
	return gauge->memory.access != GAUGE_SEALED && is_block_register(reg);
}

/* The gauge acts on the byte that completes a command, never on an incomplete one. */
static void act_on(struct gauge *gauge, u8 reg)
{
	unsigned int busy = 0;

	if (gauge->memory.mode == GAUGE_NORMAL && reg == GAUGE_CONTROL + 1)
		execute_control(gauge);
	else if (gauge->memory.mode == GAUGE_NORMAL && is_block_register(reg))
		busy = flash_act_on_block(&gauge->memory, reg);
	else if (gauge->memory.mode == GAUGE_ROM && flash_completes_command(reg)) {
		busy = flash_execute(&gauge->memory);
		if (flash_wants_to_leave(&gauge->memory) && !gauge->stays_in_rom)
			start_firmware(gauge);
	}
	if (busy)
		be_silent_for(gauge, busy);
}

u8 gauge_address(const struct gauge *gauge)
{
	return gauge->memory.mode == GAUGE_ROM ? GAUGE_ROM_ADDRESS : GAUGE_ADDRESS;
}

static bool acknowledges(struct gauge *gauge, u8 address)
{
	if (gauge->nack || address != gauge_address(gauge) ||
	    gauge_clock_ms() < gauge->silent_until)
		return false;
	flash_finish(&gauge->memory);
	return true;
}

int gauge_write(struct gauge *gauge, u8 address, const u8 *data, size_t size)
{
	size_t i;

	if (!acknowledges(gauge, address))
		return -ENXIO;
	if (!size)
		return 0;
	gauge->pointer = data[0];
	for (i = 1; i < size; i++) {
		u8 reg = gauge->pointer;

		/* A byte for a read-only register, or while the gauge is busy, is not acknowledged. */
		if (!acknowledges(gauge, address) || !is_writable(gauge, reg))
			return -ENXIO;
		*register_at(gauge, reg) = data[i];
		gauge->pointer++;
		act_on(gauge, reg);
	}
	return 0;
}

int gauge_read(struct gauge *gauge, u8 address, u8 *data, size_t size)
{
	size_t i;

	if (!acknowledges(gauge, address))
		return -ENXIO;
	for (i = 0; i < size; i++)
		data[i] = *register_at(gauge, gauge->pointer++);
	return 0;
}

void gauge_power_cycle(struct gauge *gauge)
{
	if (gauge_clock_ms() < gauge->silent_until)
		flash_tear(&gauge->memory);
	flash_finish(&gauge->memory);
	gauge->silent_until = 0;
	enter_rom(gauge); /* the boot loader runs first */
	start_firmware(gauge);
}

const struct gauge_content *gauge_flash(struct gauge *gauge)
{
	if (gauge_clock_ms() >= gauge->silent_until)
		flash_finish(&gauge->memory);
	return &gauge->memory.content;
}

u16 gauge_word(const struct gauge *gauge, enum gauge_register reg)
{
	return gauge->normal[reg] | gauge->normal[reg + 1] << 8;
}

void gauge_set_word(struct gauge *gauge, enum gauge_register reg, u16 value)
{
	gauge->normal[reg] = value & 0xff;
	gauge->normal[reg + 1] = value >> 8;
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
	flash_fill(&gauge->memory.content);
	gauge->memory.type = GAUGE_DEVICE_TYPE;
	start_firmware(gauge);
	gauge->reset_ms = 200;
	gauge_set_word(gauge, GAUGE_FULL_CAPACITY, FULL_CAPACITY_MAH);
	gauge_set_battery(gauge, true);
	gauge_set_level(gauge, 80);
	gauge_set_current(gauge, -250);
	gauge_set_word(gauge, GAUGE_VOLTAGE, 3850);
	gauge_set_word(gauge, GAUGE_TEMPERATURE, 2981);
}

bool gauge_restore(struct gauge *gauge, const struct gauge_memory *memory)
{
	/* A row may be the target of an earlier operation, but never of a block's. */
	u16 targets = memory->operation == GAUGE_PROGRAMS_BLOCK ?
			      GAUGE_CLASSES * GAUGE_BLOCKS_PER_CLASS :
			      GAUGE_ROWS;

	if (memory->mode > GAUGE_ROM || memory->access > GAUGE_FULL_ACCESS ||
	    memory->operation > GAUGE_PROGRAMS_BLOCK || memory->target >= targets)
		return false;
	gauge->memory = *memory;
	/* The machine was off for longer than any change of the flash takes. */
	flash_finish(&gauge->memory);
	return true;
}
