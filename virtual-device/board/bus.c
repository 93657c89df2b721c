// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: GPL-2.0-only
/* The I2C adapter with the fuel gauge on it, and the faults of both. */
#include <linux/delay.h>
#include <linux/fs.h>
#include <linux/ktime.h>
#include <linux/module.h>

#include "board.h"
#include "bus.h"
#include "transfers.h"

#define ADAPTER_TIMEOUT_MS 1000

static int busnr = 7;
module_param(busnr, int, 0444);
MODULE_PARM_DESC(busnr, "number of the I2C bus, as in /dev/i2c-N");

struct bus bus;

u64 gauge_clock_ms(void)
{
	return ktime_to_ms(ktime_get());
}

static bool take_fault(struct bus_fault *fault)
{
	if (!fault->count)
		return false;
	if (fault->skip) {
		fault->skip--;
		return false;
	}
	fault->count--;
	return true;
}

/* A held clock delays the transfer; the transfer fails when the adapter times out. */
static int wait_for_clock(void)
{
	u64 now = gauge_clock_ms();

	if (now >= bus.held_until)
		return 0;
	if (bus.held_until - now > ADAPTER_TIMEOUT_MS) {
		msleep(ADAPTER_TIMEOUT_MS);
		return -ETIMEDOUT;
	}
	msleep(bus.held_until - now);
	return 0;
}

static int carry_message(struct gauge *gauge, struct i2c_msg *message)
{
	int error;

	if (message->flags & I2C_M_TEN)
		return -ENXIO;
	if (!(message->flags & I2C_M_RD))
		return gauge_write(gauge, message->addr, message->buf, message->len);
	error = gauge_read(gauge, message->addr, message->buf, message->len);
	if (!error && message->len && take_fault(&bus.corruption))
		message->buf[message->len / 2] ^= 0x10;
	return error;
}

static int carry_messages(struct i2c_msg *messages, int count)
{
	int error = wait_for_clock();
	int i;

	if (!error && take_fault(&bus.failure))
		error = -bus.failure.error;
	for (i = 0; i < count && !error; i++)
		error = carry_message(&bus.gauge, &messages[i]);
	if (!(messages[count - 1].flags & I2C_M_RD))
		bus_save_gauge();
	return error;
}

/* Handles the two forms that drivers use: one message, or a write and a read. */
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

/*
 * A file that does not contain a complete gauge, such as an empty one, is overwritten with this
 * gauge. The buffer is needed because a file system of the host cannot transfer data from a
 * module's variables.
 */
int bus_open_store(const char *path)
{
	struct gauge_memory *memory = bus.store_buffer;
	struct file *file = filp_open(path, O_RDWR | O_CREAT | O_LARGEFILE, 0600);
	loff_t position = 0;
	ssize_t size;

	if (IS_ERR(file))
		return PTR_ERR(file);
	if (bus.store)
		filp_close(bus.store, NULL);
	bus.store = file;
	size = kernel_read(file, memory, sizeof(*memory), &position);
	if (size != sizeof(*memory) || !gauge_restore(&bus.gauge, memory))
		bus_save_gauge();
	return 0;
}

void bus_save_gauge(void)
{
	struct gauge_memory *memory = bus.store_buffer;
	loff_t position = 0;
	ssize_t size;

	if (!bus.store)
		return;
	*memory = bus.gauge.memory;
	size = kernel_write(bus.store, memory, sizeof(*memory), &position);
	if (size != sizeof(*memory))
		pr_err_ratelimited(BOARD_NAME ": cannot keep the gauge: %zd\n", size);
}

static void bus_remove(void *adapter)
{
	i2c_del_adapter(adapter);
	if (bus.store)
		filp_close(bus.store, NULL);
}

static int bus_add(struct device *board)
{
	int error = transfers_init();

	if (!error)
		error = devm_add_action_or_reset(board, transfers_free, NULL);
	if (error)
		return error;
	bus.store_buffer = devm_kmalloc(board, sizeof(*bus.store_buffer), GFP_KERNEL);
	if (!bus.store_buffer)
		return -ENOMEM;
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

static void bus_show(struct seq_file *state)
{
	const struct gauge *gauge = &bus.gauge;
	const struct gauge_memory *memory = &gauge->memory;
	u64 now = gauge_clock_ms();

	mutex_lock(&bus.lock);
	seq_printf(state, "battery %d\n", gauge_battery(gauge));
	seq_printf(state, "level %u\n", gauge_word(gauge, GAUGE_STATE_OF_CHARGE));
	seq_printf(state, "current %d\n", (s16)gauge_word(gauge, GAUGE_CURRENT));
	seq_printf(state, "voltage %u\n", gauge_word(gauge, GAUGE_VOLTAGE));
	seq_printf(state, "gauge-temperature %u\n", gauge_word(gauge, GAUGE_TEMPERATURE));
	seq_printf(state, "gauge-type %u\n", memory->type);
	seq_printf(state, "nack %d\n", gauge->nack);
	seq_printf(state, "stay-in-rom %d\n", gauge->stays_in_rom);
	seq_printf(state, "reset-time %u\n", gauge->reset_ms);
	seq_printf(state, "hang %llu\n", bus.held_until > now ? bus.held_until - now : 0);
	seq_printf(state, "i2c-error %d %d %d\n", bus.failure.error, bus.failure.count,
		   bus.failure.skip);
	seq_printf(state, "corrupt %d %d\n", bus.corruption.count, bus.corruption.skip);
	seq_printf(state, "gauge-address 0x%02X\n", gauge_address(gauge));
	seq_printf(state, "gauge-sealed %d\n", memory->access == GAUGE_SEALED);
	seq_printf(state, "gauge-full-access %d\n", memory->access == GAUGE_FULL_ACCESS);
	seq_printf(state, "resets %u\n", gauge->resets);
	seq_printf(state, "transfers %u\n", transfers_count());
	mutex_unlock(&bus.lock);
}

const struct board_part bus_part = {
	.add = bus_add,
	.commands = bus_commands,
	.show = bus_show,
};

static ssize_t flash_read(struct file *file, char __user *to, size_t size, loff_t *position)
{
	ssize_t copied;

	mutex_lock(&bus.lock);
	copied = simple_read_from_buffer(to, size, position, gauge_flash(&bus.gauge),
					 sizeof(struct gauge_content));
	mutex_unlock(&bus.lock);
	return copied;
}

const struct file_operations gauge_flash_fops = {
	.owner = THIS_MODULE,
	.open = simple_open,
	.read = flash_read,
	.llseek = default_llseek,
};
