// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: GPL-2.0-only
/*
 * The board's flash: two banks of NOR, which the kernel's own CFI driver operates. This module
 * passes it their addresses and partitions, and injects a test's flash faults. Erases and programs
 * are counted over all partitions, and the one numbered fault_at has a fault:
 *   cut     a power cut. The medium keeps the incomplete result and refuses every later
 *           operation until power is set again.
 *   before  a power cut before the operation
 *   end     a cut that also ends the machine
 *   fail    an operation that fails once and changes nothing
 *   bad     the same, and so does each later operation on the block
 *   flip    an operation that gets one bit wrong
 *   trace   no fault; reports the place of each operation
 */
#include <linux/io.h>
#include <linux/mm.h>
#include <linux/module.h>
#include <linux/mtd/map.h>
#include <linux/mtd/mtd.h>
#include <linux/mtd/partitions.h>
#include <linux/mutex.h>
#include <linux/pm.h>
#include <linux/prandom.h>

#define BANK_SIZE 0x4000000

static unsigned int operations;
module_param(operations, uint, 0644);
static unsigned int fault_at;
module_param(fault_at, uint, 0644);
static char fault[8] = "cut";
module_param_string(fault, fault, sizeof(fault), 0644);
static unsigned int seed; /* decides where and how an operation is interrupted */
module_param(seed, uint, 0644);
static bool power = true;
module_param(power, bool, 0644);

/* ../boot/boot.env and ../console/flash.py have the same offsets. */
static const struct mtd_partition slots_and_environment[] = {
	{ .name = "FIT_0", .offset = 0x100000, .size = 0x800000 },
	{ .name = "rootfs_0", .offset = 0x900000, .size = 0x1780000 },
	{ .name = "FIT_1", .offset = 0x2080000, .size = 0x800000 },
	{ .name = "rootfs_1", .offset = 0x2880000, .size = 0x1780000 },
	{ .name = "env", .offset = 0, .size = 0x80000 },
	{ .name = "starts", .offset = 0x80000, .size = 0x40000 },
};

static const struct mtd_partition loader_and_data[] = {
	{ .name = "loader", .offset = 0, .size = 0x100000 },
	{ .name = "data", .offset = 0x100000, .size = 0x1000000 },
};

struct nor_bank {
	struct map_info map;
	const struct mtd_partition *partitions;
	int count;
	struct mtd_info *mtd;
	int (*erase)(struct mtd_info *mtd, struct erase_info *instruction);
	int (*write)(struct mtd_info *mtd, loff_t to, size_t size, size_t *done, const u_char *data);
};

/* The slots come first: /etc/fw_env.config contains their devices' numbers. */
static struct nor_bank banks[] = {
	{
		.map = { .name = "nor1", .phys = BANK_SIZE, .size = BANK_SIZE, .bankwidth = 4 },
		.partitions = slots_and_environment,
		.count = ARRAY_SIZE(slots_and_environment),
	},
	{
		.map = { .name = "nor0", .phys = 0, .size = BANK_SIZE, .bankwidth = 4 },
		.partitions = loader_and_data,
		.count = ARRAY_SIZE(loader_and_data),
	},
};

static DEFINE_MUTEX(nor_lock);

static struct nor_bank *bank_of(const struct mtd_info *mtd)
{
	return &banks[banks[0].mtd == mtd ? 0 : 1];
}

static void report(const struct nor_bank *bank, loff_t at, const char *operation)
{
	int i;

	for (i = 0; i < bank->count; i++) {
		const struct mtd_partition *partition = &bank->partitions[i];

		if (at >= partition->offset && at < partition->offset + partition->size)
			pr_info("vantorel-nor: %s %s 0x%llx\n", operation, partition->name,
				at - partition->offset);
	}
}

/* The latest block that met a fault. */
static const struct nor_bank *faulty_bank;
static loff_t faulty_block;

static bool meets_fault(const struct nor_bank *bank, loff_t at, const char *operation)
{
	loff_t block = round_down(at, (loff_t)bank->mtd->erasesize);

	if (sysfs_streq(fault, "trace"))
		report(bank, at, operation);
	if (++operations == fault_at) {
		report(bank, at, operation);
		faulty_bank = bank;
		faulty_block = block;
		return true;
	}
	return sysfs_streq(fault, "bad") && bank == faulty_bank && block == faulty_block;
}

/* Whether an operation with the fault fails and the machine continues. */
static bool only_fails(void)
{
	return sysfs_streq(fault, "fail") || sysfs_streq(fault, "bad");
}

/* Cuts the power. The fault "end" also stops the machine at once, without a shutdown. */
static int cut_power(void)
{
	power = only_fails();
	if (sysfs_streq(fault, "end")) {
		pr_emerg("vantorel-nor: the power is cut\n");
		local_irq_disable();
		if (pm_power_off)
			pm_power_off();
	}
	return -EIO;
}

static bool leaves_nothing(void)
{
	return only_fails() || sysfs_streq(fault, "before");
}

/* A program at the cut writes some bytes, some bits of the next one, nothing after it. */
static void tear_program(struct rnd_state *random, u_char *data, size_t size)
{
	size_t at = prandom_u32_state(random) % size;

	data[at] |= prandom_u32_state(random);
	memset(data + at + 1, 0xff, size - at - 1);
}

/* An erase at the cut stops in the block, while it clears all bits, or leaves all bits weak. */
static void tear_erase(struct rnd_state *random, u_char *cells, size_t size)
{
	size_t at = prandom_u32_state(random) % size;

	switch (prandom_u32_state(random) % 3) {
	case 0:
		memset(cells, 0xff, at);
		break;
	case 1:
		memset(cells, 0, at);
		break;
	default:
		for (at = 0; at < size; at++)
			cells[at] |= prandom_u32_state(random);
	}
}

/*
 * Programs as real flash does: a program only clears bits. The emulated chips store whole
 * words unchanged, and the driver fills partly written words, which would set the byte
 * beside a written one.
 */
static int program(struct nor_bank *bank, loff_t to, size_t size, const u_char *data)
{
	loff_t begin = round_down(to, bank->map.bankwidth);
	size_t length = round_up(to + size, bank->map.bankwidth) - begin;
	u_char *cells = kvmalloc(length, GFP_KERNEL);
	size_t done, at;
	int error;

	if (!cells)
		return -ENOMEM;
	error = bank->mtd->_read(bank->mtd, begin, length, &done, cells);
	for (at = 0; at < size; at++)
		cells[to - begin + at] &= data[at];
	if (!error)
		error = bank->write(bank->mtd, begin, length, &done, cells);
	kvfree(cells);
	return error;
}

static int faulty_program(struct nor_bank *bank, loff_t to, size_t size, const u_char *data)
{
	struct rnd_state random;
	u_char *torn;
	int error;

	if (leaves_nothing())
		return cut_power();
	torn = kvmalloc(size, GFP_KERNEL);
	if (!torn)
		return -ENOMEM;
	memcpy(torn, data, size);
	prandom_seed_state(&random, seed);
	if (sysfs_streq(fault, "flip"))
		torn[prandom_u32_state(&random) % size] ^= 1 << (seed % 8);
	else
		tear_program(&random, torn, size);
	error = program(bank, to, size, torn);
	kvfree(torn);
	return sysfs_streq(fault, "flip") ? error : cut_power();
}

static int nor_write(struct mtd_info *mtd, loff_t to, size_t size, size_t *done, const u_char *data)
{
	struct nor_bank *bank = bank_of(mtd);
	int error = -EIO;

	mutex_lock(&nor_lock);
	if (power && size) {
		if (meets_fault(bank, to, "program"))
			error = faulty_program(bank, to, size, data);
		else
			error = program(bank, to, size, data);
	}
	if (!error)
		*done = size;
	mutex_unlock(&nor_lock);
	return error;
}

static int faulty_erase(struct nor_bank *bank, struct erase_info *block)
{
	size_t size = block->len;
	struct rnd_state random;
	size_t done, at;
	u_char *cells;
	int error;

	if (leaves_nothing())
		return cut_power();
	cells = kvmalloc(size, GFP_KERNEL);
	if (!cells)
		return -ENOMEM;
	prandom_seed_state(&random, seed);
	error = bank->mtd->_read(bank->mtd, block->addr, size, &done, cells);
	if (!error)
		error = bank->erase(bank->mtd, block);
	if (!error && sysfs_streq(fault, "flip")) {
		at = prandom_u32_state(&random) % size;
		cells[at] = ~(1 << (seed % 8));
		error = bank->write(bank->mtd, block->addr + at, 1, &done, cells + at);
	} else if (!error) {
		tear_erase(&random, cells, size);
		bank->write(bank->mtd, block->addr, size, &done, cells);
		error = cut_power();
	}
	kvfree(cells);
	return error;
}

static int nor_erase(struct mtd_info *mtd, struct erase_info *instruction)
{
	struct nor_bank *bank = bank_of(mtd);
	struct erase_info block = { .addr = instruction->addr, .len = mtd->erasesize };
	u64 end = instruction->addr + instruction->len;
	int error = 0;

	for (; !error && block.addr < end; block.addr += mtd->erasesize) {
		mutex_lock(&nor_lock);
		if (!power)
			error = -EIO;
		else if (meets_fault(bank, block.addr, "erase"))
			error = faulty_erase(bank, &block);
		else
			error = bank->erase(mtd, &block);
		mutex_unlock(&nor_lock);
		if (error)
			instruction->fail_addr = block.addr;
	}
	return error;
}

static void remove_bank(struct nor_bank *bank)
{
	if (bank->mtd) {
		mtd_device_unregister(bank->mtd);
		map_destroy(bank->mtd);
	}
	if (bank->map.virt)
		iounmap(bank->map.virt);
}

static int add_bank(struct nor_bank *bank)
{
	bank->map.virt = ioremap(bank->map.phys, bank->map.size);
	if (!bank->map.virt)
		return -ENOMEM;
	simple_map_init(&bank->map);
	bank->mtd = do_map_probe("cfi_probe", &bank->map);
	if (!bank->mtd)
		return -ENXIO;
	bank->mtd->owner = THIS_MODULE;
	bank->erase = bank->mtd->_erase;
	bank->write = bank->mtd->_write;
	bank->mtd->_erase = nor_erase;
	bank->mtd->_write = nor_write;
	bank->mtd->_writev = NULL; /* so that every program goes through nor_write() */
	return mtd_device_register(bank->mtd, bank->partitions, bank->count);
}

static void remove_banks(void)
{
	size_t i;

	for (i = 0; i < ARRAY_SIZE(banks); i++)
		remove_bank(&banks[i]);
}

static int __init nor_init(void)
{
	int error = 0;
	size_t i;

	for (i = 0; !error && i < ARRAY_SIZE(banks); i++)
		error = add_bank(&banks[i]);
	if (error)
		remove_banks();
	return error;
}

module_init(nor_init);
module_exit(remove_banks);
MODULE_DESCRIPTION("Virtual flash of the camera");
MODULE_LICENSE("GPL");
