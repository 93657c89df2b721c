/* SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem */
/* SPDX-License-Identifier: LicenseRef-Vantorel */

/* The only variables that the boot loader takes from a stored copy of its environment have write
 * access (w), and are decimal numbers (d).
 *
 * What the script reads from a FIT has to be a hexadecimal number (x): the signature is checked
 * later, and another text could be several arguments of a command, or an address. The script may
 * set these (a), and others without an entry.
 *
 * Included before each of its sources: this list has no place in its configuration file. */
#define CFG_ENV_FLAGS_LIST_STATIC \
    "image_select:dw,image_confirmed:dw,size:xa,digest:xa,limit:xa"
/* U-Boot 2023.01 has this name, later ones have the other. */
#define CONFIG_ENV_FLAGS_LIST_STATIC CFG_ENV_FLAGS_LIST_STATIC
