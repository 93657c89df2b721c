/* SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem */
/* SPDX-License-Identifier: LicenseRef-Vantorel */

/* The environment variables that may change; the boot loader takes only the first two from a stored
 * copy. Included before each of its sources: this list has no place in its configuration file. */
#define CFG_ENV_FLAGS_LIST_STATIC \
    "image_select:dw,image_confirmed:dw,first:sw,second:sw,slot:sw,why:sw,skipped:sw," \
    "at:xw,fit:xw,rootfs:xw,size:sw,digest:sw,bootargs:sw,fdtaddr:xw,filesize:xw"
/* U-Boot 2023.01 has this name, later ones have the other. */
#define CONFIG_ENV_FLAGS_LIST_STATIC CFG_ENV_FLAGS_LIST_STATIC
