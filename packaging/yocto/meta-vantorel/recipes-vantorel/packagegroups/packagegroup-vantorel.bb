# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
SUMMARY = "What a thermal camera needs at run time"
DESCRIPTION = "The library, the programs that it starts by their absolute names, and the boot path."

# The boot loader's environment is the machine's.
PACKAGE_ARCH = "${MACHINE_ARCH}"

inherit packagegroup

RDEPENDS:${PN} = "\
    busybox \
    kmod \
    libubootenv-bin \
    libvantorelsystem \
    mtd-utils \
    u-boot-default-env \
    vantorel-app \
    vantorel-boot \
"
# For the debugger on the USB serial line, and for SSH and DHCP on the USB network. Their init scripts
# are /etc/init.d/dropbear and /etc/init.d/busybox-udhcpd.
RRECOMMENDS:${PN} = "\
    busybox-udhcpd \
    dropbear \
    gdbserver \
"
