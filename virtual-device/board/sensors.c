// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: GPL-2.0-only
/* The two temperature sensors, in millidegrees; a broken one fails its reads. */
#include <linux/compiler.h>
#include <linux/err.h>
#include <linux/hwmon.h>
#include <linux/string.h>

#include "board.h"

#define ABSOLUTE_ZERO (-273150)
#define HOTTEST 1000000
#define ERRNO_MAX 133

static struct sensor {
	const char *label;
	int millidegrees;
	int error;
} sensors[] = {
	{ "board", 35000, 0 },
	{ "cpu", 45000, 0 },
};

static umode_t sensors_visible(const void *data, enum hwmon_sensor_types type, u32 attribute,
			       int channel)
{
	return 0444;
}

static int sensors_read(struct device *device, enum hwmon_sensor_types type, u32 attribute,
			int channel, long *value)
{
	int error = READ_ONCE(sensors[channel].error);

	*value = READ_ONCE(sensors[channel].millidegrees);
	return -error;
}

static int sensors_read_string(struct device *device, enum hwmon_sensor_types type, u32 attribute,
			       int channel, const char **text)
{
	*text = sensors[channel].label;
	return 0;
}

static const struct hwmon_ops sensors_operations = {
	.is_visible = sensors_visible,
	.read = sensors_read,
	.read_string = sensors_read_string,
};

static const struct hwmon_channel_info *sensors_channels[] = {
	HWMON_CHANNEL_INFO(temp, HWMON_T_INPUT | HWMON_T_LABEL, HWMON_T_INPUT | HWMON_T_LABEL),
	NULL
};

static const struct hwmon_chip_info sensors_chip = {
	.ops = &sensors_operations,
	.info = sensors_channels,
};

static int sensors_add(struct device *board)
{
	/* The kernel accepts no dash in the name of a sensor chip. */
	return PTR_ERR_OR_ZERO(devm_hwmon_device_register_with_info(board, "vantorel_board", NULL,
								    &sensors_chip, NULL));
}

static struct sensor *find_sensor(const char *label)
{
	size_t i;

	for (i = 0; i < ARRAY_SIZE(sensors); i++)
		if (!strcmp(sensors[i].label, label))
			return &sensors[i];
	return NULL;
}

static int run_temperature(int argc, char **argv)
{
	struct sensor *sensor = find_sensor(argv[0]);
	int millidegrees;

	if (!sensor || board_parse(argv[1], ABSOLUTE_ZERO, HOTTEST, &millidegrees))
		return -EINVAL;
	WRITE_ONCE(sensor->millidegrees, millidegrees);
	return 0;
}

static int run_temperature_error(int argc, char **argv)
{
	struct sensor *sensor = find_sensor(argv[0]);
	int error;

	if (!sensor || board_parse(argv[1], 0, ERRNO_MAX, &error))
		return -EINVAL;
	WRITE_ONCE(sensor->error, error);
	return 0;
}

static const struct board_command sensors_commands[] = {
	{ "temperature", 2, 2, run_temperature },
	{ "temperature-error", 2, 2, run_temperature_error },
	{}
};

static void sensors_show(struct seq_file *state)
{
	const struct sensor *sensor;

	for (sensor = sensors; sensor < sensors + ARRAY_SIZE(sensors); sensor++) {
		seq_printf(state, "temperature %s %d\n", sensor->label, sensor->millidegrees);
		seq_printf(state, "temperature-error %s %d\n", sensor->label, sensor->error);
	}
}

const struct board_part sensors_part = {
	.add = sensors_add,
	.commands = sensors_commands,
	.show = sensors_show,
};
