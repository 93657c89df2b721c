/* SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem */
/* SPDX-License-Identifier: GPL-2.0-only */
/*
 * The gauge's flash. It has rows with the firmware, which the boot loader writes in
 * ROM mode, and blocks with data, which the firmware writes in normal mode.
 */
#ifndef VANTOREL_FLASH_H
#define VANTOREL_FLASH_H

#include "gauge.h"

/* Fills in the content of a new gauge. */
void flash_fill(struct gauge_content *content);
/* Whether the rows contain a firmware that can start. */
bool flash_is_whole(const struct gauge_content *content);

/* Completes the operation in progress, or aborts it halfway. */
void flash_finish(struct gauge_memory *memory);
void flash_tear(struct gauge_memory *memory);

/*
 * Call them after a byte was written to a register of the block interface, and after a
 * command of the boot loader is complete. Both return the milliseconds that the gauge is
 * busy.
 */
unsigned int flash_act_on_block(struct gauge_memory *memory, u8 reg);
bool flash_completes_command(u8 reg);
unsigned int flash_execute(struct gauge_memory *memory);
/* Whether the last command leaves ROM mode. */
bool flash_wants_to_leave(const struct gauge_memory *memory);

#endif
