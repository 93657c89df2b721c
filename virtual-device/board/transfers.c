// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: GPL-2.0-only
/*
 * A ring of the last transfers, large enough for a complete reprogramming of the gauge. A
 * line is "NUMBER SECONDS ADDRESS R|W REGISTER SIZE RESULT DATA..."; the numbers keep
 * counting when old lines are overwritten, and long data is truncated.
 */
#include <linux/mm.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/seq_file.h>

#include "transfers.h"

#define RING_SIZE 4096

static DEFINE_MUTEX(lock);
static struct transfer *ring;
static unsigned int count;

int transfers_init(void)
{
	ring = kvcalloc(RING_SIZE, sizeof(*ring), GFP_KERNEL);
	return ring ? 0 : -ENOMEM;
}

void transfers_free(void *unused)
{
	kvfree(ring);
}

void transfers_add(const struct transfer *transfer)
{
	mutex_lock(&lock);
	ring[count++ % RING_SIZE] = *transfer;
	mutex_unlock(&lock);
}

unsigned int transfers_count(void)
{
	return READ_ONCE(count);
}

static int transfers_show(struct seq_file *log, void *unused)
{
	const struct transfer *entry;
	unsigned int number;
	u64 microseconds;
	u32 fraction;
	int shown;

	mutex_lock(&lock);
	for (number = count > RING_SIZE ? count - RING_SIZE : 0; number < count; number++) {
		entry = &ring[number % RING_SIZE];
		microseconds = ktime_to_us(entry->time);
		fraction = do_div(microseconds, 1000000);
		shown = min_t(int, entry->size, TRANSFER_DATA_MAX);
		seq_printf(log, "%u %llu.%06u 0x%02x %c 0x%02x %u %d", number + 1, microseconds,
			   fraction, entry->address, entry->read ? 'R' : 'W', entry->reg,
			   entry->size, entry->result);
		if (shown && !entry->result)
			seq_printf(log, " %*ph", shown, entry->data);
		seq_putc(log, '\n');
	}
	mutex_unlock(&lock);
	return 0;
}

static int transfers_open(struct inode *inode, struct file *file)
{
	return single_open(file, transfers_show, NULL);
}

const struct file_operations transfers_fops = {
	.owner = THIS_MODULE,
	.open = transfers_open,
	.read = seq_read,
	.llseek = seq_lseek,
	.release = single_release,
};
