// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: GPL-2.0-only
/*
 * The camera's hardware for a virtual machine, as the camera's software accesses it: one
 * platform device with all the parts. A control file in debugfs lets a test change the
 * camera's environment. ../README.md lists its commands.
 */
#include <linux/debugfs.h>
#include <linux/kernel.h>
#include <linux/module.h>
#include <linux/platform_device.h>
#include <linux/string.h>
#include <linux/uaccess.h>

#include "board.h"
#include "bus.h"
#include "transfers.h"

static const struct board_part *const parts[] = {
	&bus_part, &charger_part, &gpio_part, &sensors_part, &torch_part, &buttons_part,
};

static struct platform_device *board;

int board_parse(const char *text, int min, int max, int *value)
{
	int parsed;

	if (kstrtoint(text, 0, &parsed) || parsed < min || parsed > max)
		return -EINVAL;
	*value = parsed;
	return 0;
}

static const struct board_command *find_command(const char *name)
{
	const struct board_command *command;
	size_t i;

	for (i = 0; i < ARRAY_SIZE(parts); i++)
		for (command = parts[i]->commands; command && command->name; command++)
			if (!strcmp(command->name, name))
				return command;
	return NULL;
}

static int run_command(char *line)
{
	const struct board_command *command;
	char *argv[BOARD_MAX_ARGS];
	int argc = 0;
	char *name;
	char *word;

	line = strim(line);
	name = strsep(&line, " ");
	command = find_command(name);
	if (!command)
		return -EINVAL;
	while ((word = strsep(&line, " "))) {
		if (!*word)
			continue;
		if (argc == BOARD_MAX_ARGS)
			return -EINVAL;
		argv[argc++] = word;
	}
	if (argc < command->min_args || argc > command->max_args)
		return -EINVAL;
	return command->run(argc, argv);
}

static ssize_t ctl_write(struct file *file, const char __user *from, size_t size, loff_t *position)
{
	char line[80];
	int error;

	if (size >= sizeof(line))
		return -EINVAL;
	if (copy_from_user(line, from, size))
		return -EFAULT;
	line[size] = '\0';
	/* A zero byte would hide the rest of the line from the parser. */
	if (strlen(line) != size)
		return -EINVAL;
	error = run_command(line);
	return error ? error : size;
}

static int ctl_show(struct seq_file *state, void *unused)
{
	size_t i;

	for (i = 0; i < ARRAY_SIZE(parts); i++)
		parts[i]->show(state);
	return 0;
}

static int ctl_open(struct inode *inode, struct file *file)
{
	return single_open(file, ctl_show, NULL);
}

static const struct file_operations ctl_operations = {
	.owner = THIS_MODULE,
	.open = ctl_open,
	.read = seq_read,
	.write = ctl_write,
	.llseek = seq_lseek,
	.release = single_release,
};

static void remove_debugfs(void *directory)
{
	debugfs_remove_recursive(directory);
}

static int board_probe(struct platform_device *device)
{
	struct dentry *directory;
	int error;
	size_t i;

	for (i = 0; i < ARRAY_SIZE(parts); i++) {
		error = parts[i]->add(&device->dev);
		if (error)
			return error;
	}
	/* Created last, so that no command reaches a part that does not exist yet. */
	directory = debugfs_create_dir(BOARD_NAME, NULL);
	debugfs_create_file("ctl", 0600, directory, NULL, &ctl_operations);
	debugfs_create_file("gauge-flash", 0400, directory, NULL, &gauge_flash_fops);
	debugfs_create_file("transfers", 0400, directory, NULL, &transfers_fops);
	return devm_add_action_or_reset(&device->dev, remove_debugfs, directory);
}

static struct platform_driver board_driver = {
	.driver = {
		.name = BOARD_NAME,
		/* The parts get their initial values only once per load. */
		.suppress_bind_attrs = true,
	},
};

static int __init board_init(void)
{
	board = platform_create_bundle(&board_driver, board_probe, NULL, 0, NULL, 0);
	return PTR_ERR_OR_ZERO(board);
}

static void __exit board_exit(void)
{
	platform_device_unregister(board);
	platform_driver_unregister(&board_driver);
}

module_init(board_init);
module_exit(board_exit);
MODULE_DESCRIPTION("Virtual board of the camera");
MODULE_LICENSE("GPL");
