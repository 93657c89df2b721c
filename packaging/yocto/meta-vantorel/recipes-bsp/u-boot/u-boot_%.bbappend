# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel

# The boot loader of the two slots. The board's own configuration comes first; places of the partitions,
# console, watchdog and the sector that counts starts are the virtual device's and have to be the board's.
FILESEXTRAPATHS:prepend := "${VANTOREL_SOURCE}/virtual-device/boot:"
FILESEXTRAPATHS:prepend := "${VANTOREL_SOURCE}/virtual-device/rootfs/etc:"
SRC_URI += "file://u-boot.config;subdir=vantorel file://boot.env;subdir=vantorel \
    file://variables.h;subdir=vantorel file://default-first.patch \
    file://fw_env.config file://u-boot-initial-env"

EXTRA_OEMAKE += "KCFLAGS='-include ${WORKDIR}/vantorel/variables.h'"

do_configure:prepend() {
    cp ${WORKDIR}/vantorel/boot.env ${S}/
    cat ${WORKDIR}/vantorel/u-boot.config >> ${S}/configs/${UBOOT_MACHINE}
}

# For fw_printenv and fw_setenv, in the package u-boot-env. The recipe installs fw_env.config itself.
# Its own initial environment would be the boot loader's whole script.
UBOOT_INITIAL_ENV = ""
do_install:append() {
    install -m 644 ${WORKDIR}/u-boot-initial-env ${D}${sysconfdir}/
}
FILES:${PN}-env += "${sysconfdir}/u-boot-initial-env"
