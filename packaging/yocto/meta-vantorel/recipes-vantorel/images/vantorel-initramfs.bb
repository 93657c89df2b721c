# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
SUMMARY = "Initial file system of a slot"
LICENSE = "CLOSED"

PACKAGE_INSTALL = "base-passwd busybox vantorel-boot-initramfs"
BAD_RECOMMENDATIONS += "busybox-syslog busybox-udhcpc"
IMAGE_FEATURES = ""
IMAGE_LINGUAS = ""
IMAGE_NAME_SUFFIX = ""
IMAGE_FSTYPES = "cpio.gz"

inherit image
