/* SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem */
/* SPDX-License-Identifier: GPL-2.0-only */
/*
 * The board's parts. Each part registers itself with the kernel and adds its
 * commands and its state to the control file.
 */
#ifndef VANTOREL_BOARD_H
#define VANTOREL_BOARD_H

#include <linux/device.h>
#include <linux/seq_file.h>

#define BOARD_NAME "vantorel-board"
#define BOARD_MAX_ARGS 4

/*
 * A command of the control file. It parses all of its arguments before it
 * changes anything, so that a refused command does not change the board.
 */
struct board_command {
	const char *name;
	int min_args;
	int max_args;
	int (*run)(int argc, char **argv);
};

/* A part of the board; commands end with an entry without a name. */
struct board_part {
	int (*add)(struct device *board);
	const struct board_command *commands;
	void (*show)(struct seq_file *state);
};

extern const struct board_part bus_part;
extern const struct board_part buttons_part;
extern const struct board_part charger_part;
extern const struct board_part gpio_part;
extern const struct board_part sensors_part;
extern const struct board_part torch_part;

int board_parse(const char *text, int min, int max, int *value);

#endif
