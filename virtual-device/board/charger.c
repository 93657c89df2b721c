// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: GPL-2.0-only
/* The external supply: whether it is plugged in, and its effect on the battery. */
#include <linux/power_supply.h>

#include "board.h"

static int online;
static struct power_supply *charger;

static enum power_supply_property charger_properties[] = {
	POWER_SUPPLY_PROP_ONLINE,
	POWER_SUPPLY_PROP_STATUS,
};

static int charger_property(struct power_supply *supply, enum power_supply_property property,
			    union power_supply_propval *value)
{
	bool on = READ_ONCE(online);

	switch (property) {
	case POWER_SUPPLY_PROP_ONLINE:
		value->intval = on;
		return 0;
	case POWER_SUPPLY_PROP_STATUS:
		value->intval = on ? POWER_SUPPLY_STATUS_CHARGING : POWER_SUPPLY_STATUS_DISCHARGING;
		return 0;
	default:
		return -EINVAL;
	}
}

static const struct power_supply_desc charger_desc = {
	.name = "vantorel-charger",
	.type = POWER_SUPPLY_TYPE_USB,
	.properties = charger_properties,
	.num_properties = ARRAY_SIZE(charger_properties),
	.get_property = charger_property,
};

static int charger_add(struct device *board)
{
	struct power_supply_config config = {};

	charger = devm_power_supply_register(board, &charger_desc, &config);
	return PTR_ERR_OR_ZERO(charger);
}

static int run_charger(int argc, char **argv)
{
	int on;

	if (board_parse(argv[0], 0, 1, &on))
		return -EINVAL;
	if (xchg(&online, on) != on)
		power_supply_changed(charger);
	return 0;
}

static const struct board_command charger_commands[] = {
	{ "charger", 1, 1, run_charger },
	{}
};

static void charger_show(struct seq_file *state)
{
	seq_printf(state, "charger %d\n", READ_ONCE(online));
}

const struct board_part charger_part = {
	.add = charger_add,
	.commands = charger_commands,
	.show = charger_show,
};
