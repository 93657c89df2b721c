// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: GPL-2.0-only
/*
 * The GPIO chip: three inputs from the test fixture's connector, which pulls an
 * active line low and otherwise leaves it to the pull-up, and the output to the
 * fuel gauge.
 */
#include <linux/bitops.h>
#include <linux/gpio/driver.h>
#include <linux/module.h>

#include "board.h"

#define FIXTURES 3
#define GAUGE_OUTPUT 3

static const char *const line_names[] = { "fixture-0", "fixture-1", "fixture-2", "gauge-output" };
static unsigned long high = BIT(0) | BIT(1) | BIT(2);

static int gpio_get_direction(struct gpio_chip *chip, unsigned int line)
{
	return line == GAUGE_OUTPUT ? GPIO_LINE_DIRECTION_OUT : GPIO_LINE_DIRECTION_IN;
}

static int gpio_direction_input(struct gpio_chip *chip, unsigned int line)
{
	return line == GAUGE_OUTPUT ? -EINVAL : 0;
}

static int gpio_get(struct gpio_chip *chip, unsigned int line)
{
	return test_bit(line, &high);
}

static void gpio_set(struct gpio_chip *chip, unsigned int line, int value)
{
	if (line == GAUGE_OUTPUT)
		assign_bit(line, &high, value);
}

static int gpio_direction_output(struct gpio_chip *chip, unsigned int line, int value)
{
	if (line != GAUGE_OUTPUT)
		return -EINVAL;
	gpio_set(chip, line, value);
	return 0;
}

static struct gpio_chip gpio = {
	.label = BOARD_NAME,
	.owner = THIS_MODULE,
	.base = -1,
	.ngpio = ARRAY_SIZE(line_names),
	.names = line_names,
	.get_direction = gpio_get_direction,
	.direction_input = gpio_direction_input,
	.direction_output = gpio_direction_output,
	.get = gpio_get,
	.set = gpio_set,
};

static int gpio_add(struct device *board)
{
	gpio.parent = board;
	return devm_gpiochip_add_data(board, &gpio, NULL);
}

static int run_fixture(int argc, char **argv)
{
	int line;
	int active;

	if (board_parse(argv[0], 0, FIXTURES - 1, &line) || board_parse(argv[1], 0, 1, &active))
		return -EINVAL;
	assign_bit(line, &high, !active);
	return 0;
}

static const struct board_command gpio_commands[] = {
	{ "fixture", 2, 2, run_fixture },
	{}
};

static void gpio_show(struct seq_file *state)
{
	int line;

	for (line = 0; line < FIXTURES; line++)
		seq_printf(state, "fixture %d %d\n", line, !test_bit(line, &high));
	seq_printf(state, "gauge-output %d\n", test_bit(GAUGE_OUTPUT, &high));
}

const struct board_part gpio_part = {
	.add = gpio_add,
	.commands = gpio_commands,
	.show = gpio_show,
};
