// SPDX-License-Identifier: GPL-2.0
/* The I2C adapter with the fuel gauge on it, and the faults of both. */
#include <linux/i2c.h>
#include <linux/module.h>
#include <linux/mutex.h>

#include "board.h"
#include "gauge.h"
#include "transfers.h"

#define ERRNO_MAX 133
#define SKIP_MAX 1000000
#define RESET_MS_MAX 60000

static int busnr = 7;
module_param(busnr, int, 0444);
MODULE_PARM_DESC(busnr, "number of the I2C bus, as in /dev/i2c-N");

/* The bus fails with error for count transfers, after skip good ones. */
struct bus_fault {
	int error;
	int count;
	int skip;
};

static struct {
	struct mutex lock; /* guards the gauge and the fault */
	struct gauge gauge;
	struct bus_fault fault;
	struct i2c_adapter adapter;
} bus;

static int take_fault(struct bus_fault *fault)
{
	if (!fault->count)
		return 0;
	if (fault->skip) {
		fault->skip--;
		return 0;
	}
	fault->count--;
	return -fault->error;
}

static int carry_message(struct gauge *gauge, struct i2c_msg *message)
{
	if (message->flags & I2C_M_TEN)
		return -ENXIO;
	if (message->flags & I2C_M_RD)
		return gauge_read(gauge, message->addr, message->buf, message->len);
	return gauge_write(gauge, message->addr, message->buf, message->len);
}

static int carry_messages(struct i2c_msg *messages, int count)
{
	int error = take_fault(&bus.fault);
	int i;

	for (i = 0; i < count && !error; i++)
		error = carry_message(&bus.gauge, &messages[i]);
	return error;
}

/* Made for the two forms that drivers use: one message, or a write and a read. */
static void log_transfer(const struct i2c_msg *messages, int count, u8 pointer, int result)
{
	const struct i2c_msg *last = &messages[count - 1];
	struct transfer entry = {
		.time = ktime_get(),
		.result = result,
		.address = last->addr,
		.read = last->flags & I2C_M_RD,
		.reg = pointer,
		.size = last->len,
	};
	const u8 *data = last->buf;

	if (!(messages->flags & I2C_M_RD) && messages->len)
		entry.reg = messages->buf[0];
	if (!entry.read && entry.size) {
		data++;
		entry.size--;
	}
	memcpy(entry.data, data, min_t(size_t, entry.size, sizeof(entry.data)));
	transfers_add(&entry);
}

static int bus_transfer(struct i2c_adapter *adapter, struct i2c_msg *messages, int count)
{
	u8 pointer;
	int error;

	if (count < 1)
		return -EINVAL;
	mutex_lock(&bus.lock);
	pointer = bus.gauge.pointer;
	error = carry_messages(messages, count);
	log_transfer(messages, count, pointer, error);
	mutex_unlock(&bus.lock);
	return error ? error : count;
}

static u32 bus_functionality(struct i2c_adapter *adapter)
{
	return I2C_FUNC_I2C | I2C_FUNC_SMBUS_EMUL;
}

static const struct i2c_algorithm bus_algorithm = {
	.master_xfer = bus_transfer,
	.functionality = bus_functionality,
};

static void bus_remove(void *adapter)
{
	i2c_del_adapter(adapter);
}

static int bus_add(struct device *board)
{
	int error = transfers_init();

	if (!error)
		error = devm_add_action_or_reset(board, transfers_free, NULL);
	if (error)
		return error;
	mutex_init(&bus.lock);
	gauge_init(&bus.gauge);
	bus.adapter.owner = THIS_MODULE;
	bus.adapter.algo = &bus_algorithm;
	bus.adapter.nr = busnr;
	bus.adapter.dev.parent = board;
	strscpy(bus.adapter.name, BOARD_NAME, sizeof(bus.adapter.name));
	error = i2c_add_numbered_adapter(&bus.adapter);
	return error ? error : devm_add_action_or_reset(board, bus_remove, &bus.adapter);
}

static void lock_and_set_word(enum gauge_register reg, u16 value)
{
	mutex_lock(&bus.lock);
	gauge_set_word(&bus.gauge, reg, value);
	mutex_unlock(&bus.lock);
}

static int run_battery(int argc, char **argv)
{
	int present;

	if (board_parse(argv[0], 0, 1, &present))
		return -EINVAL;
	mutex_lock(&bus.lock);
	gauge_set_battery(&bus.gauge, present);
	mutex_unlock(&bus.lock);
	return 0;
}

static int run_level(int argc, char **argv)
{
	int percent;

	if (board_parse(argv[0], 0, 100, &percent))
		return -EINVAL;
	mutex_lock(&bus.lock);
	gauge_set_level(&bus.gauge, percent);
	mutex_unlock(&bus.lock);
	return 0;
}

static int run_current(int argc, char **argv)
{
	int milliamperes;

	if (board_parse(argv[0], S16_MIN, S16_MAX, &milliamperes))
		return -EINVAL;
	mutex_lock(&bus.lock);
	gauge_set_current(&bus.gauge, milliamperes);
	mutex_unlock(&bus.lock);
	return 0;
}

static int run_voltage(int argc, char **argv)
{
	int millivolts;

	if (board_parse(argv[0], 0, U16_MAX, &millivolts))
		return -EINVAL;
	lock_and_set_word(GAUGE_VOLTAGE, millivolts);
	return 0;
}

static int run_temperature(int argc, char **argv)
{
	int decikelvin;

	if (board_parse(argv[0], 0, U16_MAX, &decikelvin))
		return -EINVAL;
	lock_and_set_word(GAUGE_TEMPERATURE, decikelvin);
	return 0;
}

static int run_nack(int argc, char **argv)
{
	int nack;

	if (board_parse(argv[0], 0, 1, &nack))
		return -EINVAL;
	mutex_lock(&bus.lock);
	bus.gauge.nack = nack;
	mutex_unlock(&bus.lock);
	return 0;
}

static int run_reset_time(int argc, char **argv)
{
	int milliseconds;

	if (board_parse(argv[0], 0, RESET_MS_MAX, &milliseconds))
		return -EINVAL;
	mutex_lock(&bus.lock);
	bus.gauge.reset_ms = milliseconds;
	mutex_unlock(&bus.lock);
	return 0;
}

static int run_i2c_error(int argc, char **argv)
{
	struct bus_fault fault = { 0 };

	if (board_parse(argv[0], 0, ERRNO_MAX, &fault.error) ||
	    board_parse(argv[1], 0, SKIP_MAX, &fault.count) ||
	    (argc == 3 && board_parse(argv[2], 0, SKIP_MAX, &fault.skip)) ||
	    (fault.count && !fault.error))
		return -EINVAL;
	mutex_lock(&bus.lock);
	bus.fault = fault;
	mutex_unlock(&bus.lock);
	return 0;
}

static const struct board_command bus_commands[] = {
	{ "battery", 1, 1, run_battery },
	{ "level", 1, 1, run_level },
	{ "current", 1, 1, run_current },
	{ "voltage", 1, 1, run_voltage },
	{ "gauge-temperature", 1, 1, run_temperature },
	{ "nack", 1, 1, run_nack },
	{ "reset-time", 1, 1, run_reset_time },
	{ "i2c-error", 2, 3, run_i2c_error },
	{}
};

static void bus_show(struct seq_file *state)
{
	const struct gauge *gauge = &bus.gauge;
	const struct bus_fault *fault = &bus.fault;

	mutex_lock(&bus.lock);
	seq_printf(state, "battery %d\n", gauge_battery(gauge));
	seq_printf(state, "level %u\n", gauge_word(gauge, GAUGE_STATE_OF_CHARGE));
	seq_printf(state, "current %d\n", (s16)gauge_word(gauge, GAUGE_CURRENT));
	seq_printf(state, "voltage %u\n", gauge_word(gauge, GAUGE_VOLTAGE));
	seq_printf(state, "gauge-temperature %u\n", gauge_word(gauge, GAUGE_TEMPERATURE));
	seq_printf(state, "nack %d\n", gauge->nack);
	seq_printf(state, "reset-time %u\n", gauge->reset_ms);
	seq_printf(state, "i2c-error %d %d %d\n", fault->error, fault->count, fault->skip);
	seq_printf(state, "gauge-address 0x%02X\n", gauge->mode->address);
	seq_printf(state, "gauge-sealed %d\n", gauge->access == GAUGE_SEALED);
	seq_printf(state, "gauge-full-access %d\n", gauge->access == GAUGE_FULL_ACCESS);
	seq_printf(state, "resets %u\n", gauge->resets);
	seq_printf(state, "transfers %u\n", transfers_count());
	mutex_unlock(&bus.lock);
}

const struct board_part bus_part = {
	.add = bus_add,
	.commands = bus_commands,
	.show = bus_show,
};
