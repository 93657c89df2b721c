# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel

# The boot loader of the two slots. The board's own configuration comes first; places of the partitions,
# console and the sector that counts starts are the virtual device's and have to be the board's.
FILESEXTRAPATHS:prepend := "${THISDIR}/../../../../../virtual-device/boot:"
SRC_URI += "file://u-boot.config;subdir=vantorel file://boot.env;subdir=vantorel \
    file://default-first.patch"

VANTOREL_LOADER_VARIABLES ?= "image_select:dw,image_confirmed:dw,first:sw,second:sw,slot:sw,why:sw,\
skipped:sw,at:xw,fit:xw,rootfs:xw,size:sw,digest:sw,bootargs:sw,fdtaddr:xw,filesize:xw"
EXTRA_OEMAKE += "KCFLAGS='-DCONFIG_ENV_FLAGS_LIST_STATIC=\\"${VANTOREL_LOADER_VARIABLES}\\"'"

do_configure:prepend() {
    cp ${WORKDIR}/vantorel/boot.env ${S}/
    cat ${WORKDIR}/vantorel/u-boot.config >> ${S}/configs/${UBOOT_MACHINE}
}
