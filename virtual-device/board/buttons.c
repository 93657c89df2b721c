// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: GPL-2.0-only
/*
 * The camera's buttons. The control file presses and releases them ("key CODE VALUE") and removes
 * and restores the whole device ("buttons 0|1"), as a loose connector would.
 */
#include <linux/atomic.h>
#include <linux/input.h>
#include <linux/ktime.h>
#include <linux/mutex.h>

#include "board.h"

static const unsigned int codes[] = { KEY_POWER, KEY_LIGHTS_TOGGLE, KEY_RESTART };
static DEFINE_MUTEX(buttons_mutex);
static struct input_dev *buttons; /* none while unplugged */
static struct device *parent;
static atomic64_t key_time; /* just before the latest key event, by the monotonic clock */

static int plug(void)
{
	struct input_dev *device = input_allocate_device();
	size_t i;
	int error;

	if (!device)
		return -ENOMEM;
	device->name = "vantorel-buttons";
	device->phys = BOARD_NAME "/buttons";
	device->id.bustype = BUS_HOST;
	device->dev.parent = parent;
	for (i = 0; i < ARRAY_SIZE(codes); i++)
		input_set_capability(device, EV_KEY, codes[i]);
	error = input_register_device(device);
	if (error) {
		input_free_device(device);
		return error;
	}
	buttons = device;
	return 0;
}

static void unplug(void)
{
	if (buttons)
		input_unregister_device(buttons);
	buttons = NULL;
}

static void buttons_remove(void *unused)
{
	unplug();
}

static int buttons_add(struct device *board)
{
	int error;

	parent = board;
	error = plug();
	return error ? error : devm_add_action_or_reset(board, buttons_remove, NULL);
}

static int run_buttons(int argc, char **argv)
{
	int there;
	int error = 0;

	if (board_parse(argv[0], 0, 1, &there))
		return -EINVAL;
	mutex_lock(&buttons_mutex);
	if (there && !buttons)
		error = plug();
	else if (!there)
		unplug();
	mutex_unlock(&buttons_mutex);
	return error;
}

static bool is_button(int code)
{
	size_t i;

	for (i = 0; i < ARRAY_SIZE(codes); i++)
		if (codes[i] == code)
			return true;
	return false;
}

/* A value of 2 is a repeat, as for every key of the input subsystem. */
static int run_key(int argc, char **argv)
{
	int code;
	int value;
	int error = 0;

	if (board_parse(argv[0], 0, KEY_MAX, &code) || board_parse(argv[1], 0, 2, &value) ||
	    !is_button(code))
		return -EINVAL;
	mutex_lock(&buttons_mutex);
	if (buttons) {
		atomic64_set(&key_time, ktime_get_ns());
		input_event(buttons, EV_KEY, code, value);
		input_sync(buttons);
	} else {
		error = -ENODEV;
	}
	mutex_unlock(&buttons_mutex);
	return error;
}

static const struct board_command buttons_commands[] = {
	{ "buttons", 1, 1, run_buttons },
	{ "key", 2, 2, run_key },
	{}
};

/* Omits the keys of a removed device. The output can be replayed as commands. */
static void buttons_show(struct seq_file *state)
{
	size_t i;

	mutex_lock(&buttons_mutex);
	seq_printf(state, "buttons %d\n", buttons != NULL);
	for (i = 0; buttons && i < ARRAY_SIZE(codes); i++)
		seq_printf(state, "key %u %d\n", codes[i], test_bit(codes[i], buttons->key));
	mutex_unlock(&buttons_mutex);
	seq_printf(state, "key-time %lld\n", (long long)atomic64_read(&key_time));
}

const struct board_part buttons_part = {
	.add = buttons_add,
	.commands = buttons_commands,
	.show = buttons_show,
};
