// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: GPL-2.0-only
/* The torch: a LED that is on or off. */
#include <linux/atomic.h>
#include <linux/ktime.h>
#include <linux/leds.h>

#include "board.h"

static enum led_brightness lit;
static atomic64_t led_time; /* of the latest change, by the monotonic clock */

static void torch_set(struct led_classdev *led, enum led_brightness brightness)
{
	if (xchg(&lit, brightness) != brightness)
		atomic64_set(&led_time, ktime_get_ns());
}

static struct led_classdev torch = {
	.name = "vantorel-torch",
	.max_brightness = 1,
	.brightness_set = torch_set,
};

static int torch_add(struct device *board)
{
	return devm_led_classdev_register(board, &torch);
}

static void torch_show(struct seq_file *state)
{
	seq_printf(state, "led %d\n", READ_ONCE(lit));
	seq_printf(state, "led-time %lld\n", (long long)atomic64_read(&led_time));
}

const struct board_part torch_part = {
	.add = torch_add,
	.show = torch_show,
};
