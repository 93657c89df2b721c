/* SPDX-License-Identifier: GPL-2.0 */
/*
 * The gauge's flash: the rows of its firmware, which the boot loader writes in ROM
 * mode, and the blocks of its data, which the firmware writes in normal mode.
 */
#ifndef VANTOREL_FLASH_H
#define VANTOREL_FLASH_H

#include "gauge.h"

/* The content of a new gauge. */
void flash_fill(struct gauge_content *content);
/* Whether the rows are a firmware that can start. */
bool flash_is_whole(const struct gauge_content *content);

/* Ends what is under way, or breaks it off half-way. */
void flash_finish(struct gauge_memory *memory);
void flash_tear(struct gauge_memory *memory);

/*
 * A byte has been written to a register of the block interface, or a command of the
 * boot loader is complete; both answer how many milliseconds it keeps the gauge busy.
 */
unsigned int flash_act_on_block(struct gauge_memory *memory, u8 reg);
bool flash_completes_command(u8 reg);
unsigned int flash_execute(struct gauge_memory *memory);
/* Whether the command just executed was the one that leaves ROM mode. */
bool flash_wants_to_leave(const struct gauge_memory *memory);

#endif
