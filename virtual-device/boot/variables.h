/* SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem */
/* SPDX-License-Identifier: LicenseRef-Vantorel */

/* The only variables that the boot loader takes from a stored copy of its environment: decimal
 * numbers (d) with write access (w). Its script may set others without an entry, or with the access
 * "a". Included before each of its sources: this list has no place in its configuration file. */
#define CFG_ENV_FLAGS_LIST_STATIC "image_select:dw,image_confirmed:dw"
/* U-Boot 2023.01 has this name, later ones have the other. */
#define CONFIG_ENV_FLAGS_LIST_STATIC CFG_ENV_FLAGS_LIST_STATIC
