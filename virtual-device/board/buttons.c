// SPDX-License-Identifier: GPL-2.0
/* The camera's buttons; the control file presses and releases them. */
#include <linux/input.h>

#include "board.h"

static const unsigned int codes[] = { KEY_POWER, KEY_LIGHTS_TOGGLE, KEY_RESTART };
static struct input_dev *buttons;

static int buttons_add(struct device *board)
{
	size_t i;

	buttons = devm_input_allocate_device(board);
	if (!buttons)
		return -ENOMEM;
	buttons->name = "vantorel-buttons";
	buttons->phys = BOARD_NAME "/buttons";
	buttons->id.bustype = BUS_HOST;
	for (i = 0; i < ARRAY_SIZE(codes); i++)
		input_set_capability(buttons, EV_KEY, codes[i]);
	return input_register_device(buttons);
}

/* A value of 2 is a repeat, as for every key of the input subsystem. */
static int run_key(int argc, char **argv)
{
	int code;
	int value;

	if (board_parse(argv[0], 0, KEY_MAX, &code) || board_parse(argv[1], 0, 2, &value) ||
	    !test_bit(code, buttons->keybit))
		return -EINVAL;
	input_event(buttons, EV_KEY, code, value);
	input_sync(buttons);
	return 0;
}

static const struct board_command buttons_commands[] = {
	{ "key", 2, 2, run_key },
	{}
};

static void buttons_show(struct seq_file *state)
{
	size_t i;

	for (i = 0; i < ARRAY_SIZE(codes); i++)
		seq_printf(state, "key %u %d\n", codes[i], test_bit(codes[i], buttons->key));
}

const struct board_part buttons_part = {
	.add = buttons_add,
	.commands = buttons_commands,
	.show = buttons_show,
};
