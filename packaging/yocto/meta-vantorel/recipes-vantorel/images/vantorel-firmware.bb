# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
SUMMARY = "Firmware of a slot: FIT and root file system"
LICENSE = "CLOSED"

inherit deploy nopackages

# The image recipe of the root file system, with squashfs-zst in its IMAGE_FSTYPES.
VANTOREL_IMAGE ?= "core-image-base"
VANTOREL_DEVICE_TREE ?= "${@os.path.basename(((d.getVar('KERNEL_DEVICETREE') or '').split() or [''])[0])}"
# The kernel's load address, the time limit for the first picture of a start on trial, and optionally
# the private RSA key that signs the FIT.
VANTOREL_LOAD_ADDRESS ?= "${UBOOT_ENTRYPOINT}"
VANTOREL_TRIAL_SECONDS ?= "300"
VANTOREL_SIGNING_KEY ?= ""

FILESEXTRAPATHS:prepend := "${VANTOREL_SOURCE}/virtual-device:"
SRC_URI = "file://make-fit"
INHIBIT_DEFAULT_DEPS = "1"
DEPENDS = "dtc-native openssl-native u-boot-tools-native"
PACKAGE_ARCH = "${MACHINE_ARCH}"

do_deploy[depends] += "virtual/kernel:do_deploy vantorel-initramfs:do_image_complete \
    ${VANTOREL_IMAGE}:do_image_complete"
do_deploy() {
    rootfs=${DEPLOY_DIR_IMAGE}/${VANTOREL_IMAGE}-${MACHINE}.rootfs.squashfs-zst
    bash ${WORKDIR}/make-fit --trial-seconds ${VANTOREL_TRIAL_SECONDS} \
        ${DEPLOY_DIR_IMAGE}/${KERNEL_IMAGETYPE} ${VANTOREL_LOAD_ADDRESS} \
        ${DEPLOY_DIR_IMAGE}/${VANTOREL_DEVICE_TREE} \
        ${DEPLOY_DIR_IMAGE}/vantorel-initramfs-${MACHINE}.cpio.gz $rootfs \
        ${DEPLOYDIR}/vantorel-${MACHINE}.fit ${VANTOREL_SIGNING_KEY}
    install -m 644 $rootfs ${DEPLOYDIR}/vantorel-${MACHINE}.rootfs
}
addtask deploy after do_install before do_build
