# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
SUMMARY = "What starts and confirms a slot"
DESCRIPTION = "The scripts that mount the data, correct the boot loader's state and confirm a slot, \
and the first process of the initial file system."
LICENSE = "CLOSED"

inherit systemd

FILESEXTRAPATHS:prepend := "${VANTOREL_SOURCE}/virtual-device/initramfs:"
FILESEXTRAPATHS:prepend := "${VANTOREL_SOURCE}/virtual-device/rootfs/usr/libexec/vantorel:"
SRC_URI = "file://data file://slot file://confirm file://init file://vantorel-slot.service \
    file://vantorel-confirm.service"

# The watchdog's driver, a module, and its parameter for the time limit in seconds. The kernel's own
# works on each board; the processor's also detects a kernel that hangs early, if the boot loader
# starts it.
VANTOREL_WATCHDOG ?= "softdog soft_margin"

SYSTEMD_SERVICE:${PN} = "vantorel-slot.service vantorel-confirm.service"

do_install() {
    scripts=${D}${libexecdir}/vantorel
    install -d $scripts ${D}${systemd_system_unitdir}
    for script in data slot confirm; do
        sed '1s,.*,#!/bin/sh,' ${WORKDIR}/$script > $scripts/$script
        chmod 755 $scripts/$script
    done
    install -m 644 ${WORKDIR}/*.service ${D}${systemd_system_unitdir}/

    # The kernel has the drivers built in, and the root file system has systemd.
    install -d ${D}/dev ${D}/proc ${D}/sys ${D}/lower ${D}/memory ${D}/root
    sed '/^modprobe -a /d; s,switch_root /root /init,switch_root /root /sbin/init,
        s,modprobe i6300esb heartbeat=,modprobe ${VANTOREL_WATCHDOG}=,' ${WORKDIR}/init > ${D}/init
    grep -q 'switch_root /root /sbin/init' ${D}/init
    grep -q 'modprobe ${VANTOREL_WATCHDOG}=' ${D}/init
    chmod 755 ${D}/init
}

PACKAGES =+ "${PN}-initramfs"
FILES:${PN}-initramfs = "/init /dev /proc /sys /lower /memory /root"
RDEPENDS:${PN}-initramfs = "busybox \
    kernel-module-${@d.getVar('VANTOREL_WATCHDOG').split()[0].replace('_', '-')}"
RDEPENDS:${PN} = "libubootenv-bin mtd-utils"
