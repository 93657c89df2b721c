# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
SUMMARY = "What a thermal camera needs at run time"
DESCRIPTION = "The library, and the programs that it starts by their absolute names."

inherit packagegroup

RDEPENDS:${PN} = "\
    busybox \
    kmod \
    libubootenv-bin \
    libvantorelsystem \
    vantorel-app \
"
# For the debugger on the USB serial line, and for SSH and DHCP on the USB network. Their init scripts
# are /etc/init.d/dropbear and /etc/init.d/busybox-udhcpd.
RRECOMMENDS:${PN} = "\
    busybox-udhcpd \
    dropbear \
    gdbserver \
"
