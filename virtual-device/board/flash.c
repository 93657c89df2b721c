// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: GPL-2.0-only
/* The gauge's flash and the two ways to write it. */
#include "flash.h"

#define ERASE_MS 100
#define ROW_MS 2
#define BLOCK_MS 10

enum rom_register {
	ROM_COMMAND = 0x00,
	ROM_ROW = 0x01, /* little endian */
	ROM_DATA = 0x04,
	ROM_CHECKSUM = 0x64, /* little endian */
	ROM_STATUS = 0x66,
};

enum rom_command {
	ROM_IDENTIFY = 0x01,
	ROM_PROGRAM = 0x02,
	ROM_READ = 0x04,
	ROM_ERASE = 0x0C,
	ROM_EXIT = 0x0F,
};

enum rom_status { ROM_DONE, ROM_BAD_CHECKSUM, ROM_REFUSED };

/* The erase command requires this in place of a row, so a stray byte erases nothing. */
#define ERASE_KEY 0xA55A

static u16 word_at(const u8 *bytes)
{
	return bytes[0] | bytes[1] << 8;
}

static u16 sum(const u8 *bytes, size_t size)
{
	u16 total = 0;

	while (size--)
		total += *bytes++;
	return total;
}

void flash_fill(struct gauge_content *content)
{
	u8 *bytes = &content->rows[0][0];
	u16 total;
	size_t i;

	for (i = 0; i < sizeof(content->rows); i++)
		bytes[i] = i * 7;
	total = sum(bytes + 2, sizeof(content->rows) - 2);
	bytes[0] = total & 0xff;
	bytes[1] = total >> 8;
	memset(content->blocks, 0, sizeof(content->blocks));
}

/* The first word of the first row is the sum of all bytes after it. */
bool flash_is_whole(const struct gauge_content *content)
{
	const u8 *bytes = &content->rows[0][0];

	return word_at(bytes) == sum(bytes + 2, sizeof(content->rows) - 2);
}

/* Programming only clears bits; only an erase sets them again. */
static void program(u8 *flash, const u8 *data, size_t size)
{
	while (size--)
		*flash++ &= *data++;
}

static void carry_out(struct gauge_memory *memory, unsigned int share)
{
	struct gauge_content *content = &memory->content;

	switch (memory->operation) {
	case GAUGE_ERASES:
		memset(content->rows, 0xff, sizeof(content->rows) / share);
		break;
	case GAUGE_PROGRAMS_ROW:
		program(content->rows[memory->target], &memory->rom[ROM_DATA],
			GAUGE_ROW_SIZE / share);
		break;
	case GAUGE_PROGRAMS_BLOCK:
		memcpy(content->blocks[memory->target],
		       &memory->block[GAUGE_BLOCK_DATA - GAUGE_BLOCK_CLASS],
		       GAUGE_BLOCK_SIZE / share);
		break;
	}
	memory->operation = GAUGE_IDLE;
}

void flash_finish(struct gauge_memory *memory)
{
	carry_out(memory, 1);
}

void flash_tear(struct gauge_memory *memory)
{
	carry_out(memory, 2);
}

unsigned int flash_act_on_block(struct gauge_memory *memory, u8 reg)
{
	u8 *registers = memory->block;
	u8 *data = &registers[GAUGE_BLOCK_DATA - GAUGE_BLOCK_CLASS];
	u8 *checksum = &registers[GAUGE_BLOCK_CHECKSUM - GAUGE_BLOCK_CLASS];
	u8 class = registers[0];
	u8 block = registers[GAUGE_BLOCK - GAUGE_BLOCK_CLASS];

	if (class >= GAUGE_CLASSES || block >= GAUGE_BLOCKS_PER_CLASS)
		return 0;
	memory->target = class * GAUGE_BLOCKS_PER_CLASS + block;
	if (reg == GAUGE_BLOCK) {
		memcpy(data, memory->content.blocks[memory->target], GAUGE_BLOCK_SIZE);
		*checksum = 0xff - (sum(data, GAUGE_BLOCK_SIZE) & 0xff);
	} else if (reg == GAUGE_BLOCK_CHECKSUM &&
		   *checksum == 0xff - (sum(data, GAUGE_BLOCK_SIZE) & 0xff)) {
		memory->operation = GAUGE_PROGRAMS_BLOCK;
		return BLOCK_MS;
	}
	return 0;
}

bool flash_completes_command(u8 reg)
{
	return reg == ROM_CHECKSUM + 1;
}

/* The number of registers of a command; its checksum is their sum. */
static size_t command_size(u8 command)
{
	switch (command) {
	case ROM_PROGRAM:
		return ROM_CHECKSUM;
	case ROM_READ:
	case ROM_ERASE:
		return ROM_ROW + 2;
	default:
		return 1;
	}
}

static bool is_possible(const u8 *rom)
{
	switch (rom[ROM_COMMAND]) {
	case ROM_IDENTIFY:
	case ROM_EXIT:
		return true;
	case ROM_PROGRAM:
	case ROM_READ:
		return word_at(&rom[ROM_ROW]) < GAUGE_ROWS;
	case ROM_ERASE:
		return word_at(&rom[ROM_ROW]) == ERASE_KEY;
	default:
		return false;
	}
}

unsigned int flash_execute(struct gauge_memory *memory)
{
	u8 *rom = memory->rom;
	u8 command = rom[ROM_COMMAND];

	rom[ROM_STATUS] = ROM_DONE;
	if (word_at(&rom[ROM_CHECKSUM]) != sum(rom, command_size(command)))
		rom[ROM_STATUS] = ROM_BAD_CHECKSUM;
	else if (!is_possible(rom))
		rom[ROM_STATUS] = ROM_REFUSED;
	if (rom[ROM_STATUS] != ROM_DONE)
		return 0;
	memory->target = command == ROM_PROGRAM ? word_at(&rom[ROM_ROW]) : 0;
	switch (command) {
	case ROM_IDENTIFY:
		rom[ROM_DATA] = memory->type & 0xff;
		rom[ROM_DATA + 1] = memory->type >> 8;
		break;
	case ROM_READ:
		memcpy(&rom[ROM_DATA], memory->content.rows[word_at(&rom[ROM_ROW])],
		       GAUGE_ROW_SIZE);
		break;
	case ROM_PROGRAM:
		memory->operation = GAUGE_PROGRAMS_ROW;
		return ROW_MS;
	case ROM_ERASE:
		memory->operation = GAUGE_ERASES;
		return ERASE_MS;
	}
	return 0;
}

bool flash_wants_to_leave(const struct gauge_memory *memory)
{
	return memory->rom[ROM_COMMAND] == ROM_EXIT && memory->rom[ROM_STATUS] == ROM_DONE;
}
