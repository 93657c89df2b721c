// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: GPL-2.0-only
/* The control file's commands for the gauge and its bus. */
#include <linux/errno.h>
#include <linux/limits.h>

#include "board.h"
#include "bus.h"

#define ERRNO_MAX 133
#define COUNT_MAX 1000000
#define TIME_MS_MAX 60000

/* A command with one number within limits. */
#define COMMAND_OF_ONE(function, min, max, action)                                                 \
	static int function(int argc, char **argv)                                                 \
	{                                                                                          \
		int value;                                                                         \
                                                                                                   \
		if (board_parse(argv[0], min, max, &value))                                        \
			return -EINVAL;                                                            \
		mutex_lock(&bus.lock);                                                             \
		action;                                                                            \
		mutex_unlock(&bus.lock);                                                           \
		return 0;                                                                          \
	}

static void set_type(u16 type)
{
	bus.gauge.memory.type = type;
	bus_save_gauge();
}

COMMAND_OF_ONE(run_battery, 0, 1, gauge_set_battery(&bus.gauge, value))
COMMAND_OF_ONE(run_level, 0, 100, gauge_set_level(&bus.gauge, value))
COMMAND_OF_ONE(run_current, S16_MIN, S16_MAX, gauge_set_current(&bus.gauge, value))
COMMAND_OF_ONE(run_voltage, 0, U16_MAX, gauge_set_word(&bus.gauge, GAUGE_VOLTAGE, value))
COMMAND_OF_ONE(run_temperature, 0, U16_MAX, gauge_set_word(&bus.gauge, GAUGE_TEMPERATURE, value))
COMMAND_OF_ONE(run_type, 0, U16_MAX, set_type(value))
COMMAND_OF_ONE(run_nack, 0, 1, bus.gauge.nack = value)
COMMAND_OF_ONE(run_stay_in_rom, 0, 1, bus.gauge.stays_in_rom = value)
COMMAND_OF_ONE(run_reset_time, 0, TIME_MS_MAX, bus.gauge.reset_ms = value)
COMMAND_OF_ONE(run_hang, 0, TIME_MS_MAX, bus.held_until = gauge_clock_ms() + value)

static int set_fault(struct bus_fault *target, int error, int argc, char **argv)
{
	struct bus_fault fault = { .error = error };

	if (board_parse(argv[0], 0, COUNT_MAX, &fault.count) ||
	    (argc == 2 && board_parse(argv[1], 0, COUNT_MAX, &fault.skip)))
		return -EINVAL;
	mutex_lock(&bus.lock);
	*target = fault;
	mutex_unlock(&bus.lock);
	return 0;
}

static int run_i2c_error(int argc, char **argv)
{
	int error;
	int count;

	if (board_parse(argv[0], 0, ERRNO_MAX, &error) ||
	    board_parse(argv[1], 0, error ? COUNT_MAX : 0, &count))
		return -EINVAL;
	return set_fault(&bus.failure, error, argc - 1, argv + 1);
}

static int run_corrupt(int argc, char **argv)
{
	return set_fault(&bus.corruption, 0, argc, argv);
}

static int run_new(int argc, char **argv)
{
	mutex_lock(&bus.lock);
	gauge_init(&bus.gauge);
	bus_save_gauge();
	mutex_unlock(&bus.lock);
	return 0;
}

static int run_power_cycle(int argc, char **argv)
{
	mutex_lock(&bus.lock);
	gauge_power_cycle(&bus.gauge);
	bus_save_gauge();
	mutex_unlock(&bus.lock);
	return 0;
}

static int run_store(int argc, char **argv)
{
	int error;

	mutex_lock(&bus.lock);
	error = bus_open_store(argv[0]);
	mutex_unlock(&bus.lock);
	return error;
}

const struct board_command bus_commands[] = {
	{ "battery", 1, 1, run_battery },
	{ "level", 1, 1, run_level },
	{ "current", 1, 1, run_current },
	{ "voltage", 1, 1, run_voltage },
	{ "gauge-temperature", 1, 1, run_temperature },
	{ "gauge-type", 1, 1, run_type },
	{ "nack", 1, 1, run_nack },
	{ "stay-in-rom", 1, 1, run_stay_in_rom },
	{ "reset-time", 1, 1, run_reset_time },
	{ "hang", 1, 1, run_hang },
	{ "i2c-error", 2, 3, run_i2c_error },
	{ "corrupt", 1, 2, run_corrupt },
	{ "gauge-new", 0, 0, run_new },
	{ "gauge-power-cycle", 0, 0, run_power_cycle },
	{ "gauge-store", 1, 1, run_store },
	{}
};
