# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
SUMMARY = "Device services of a handheld thermal camera"
DESCRIPTION = "Power, buttons, display, USB port, firmware update and diagnostics log, \
as a library, with its reference application."
SECTION = "libs"
# The terms in LICENSE: all rights reserved with the owner.
LICENSE = "Proprietary"
NO_GENERIC_LICENSE[Proprietary] = "LICENSE"
LIC_FILES_CHKSUM = "file://LICENSE;md5=d2469c40a68dcd2ffd0f3682acba1435"

inherit cmake pkgconfig systemd

# A repository, with the commit in SRCREV; without one, the tree around this layer.
VANTOREL_REPOSITORY ?= ""
SRC_URI = "${VANTOREL_REPOSITORY}"
S = "${WORKDIR}/git"
inherit ${@'' if d.getVar('VANTOREL_REPOSITORY') else 'externalsrc'}
EXTERNALSRC = "${@'' if d.getVar('VANTOREL_REPOSITORY') else d.getVar('VANTOREL_SOURCE')}"

SYSTEMD_PACKAGES = "vantorel-app"
SYSTEMD_SERVICE:vantorel-app = "vantorel-app.service"
# The application starts only where the image says so: it is made for one board.
SYSTEMD_AUTO_ENABLE:vantorel-app ?= "disable"

# With "simulators": stand-ins of the closed libraries, for work without them. A header and two fonts
# become part of them; VANTOREL_DRAWING_DIR names the folder that has them, in a layer of the user.
# Without: the makers' libraries, whose recipes are named here.
PACKAGECONFIG ??= ""
PACKAGECONFIG[simulators] = "-DVANTOREL_SIMULATORS=ON \
    -DVANTORELUI_STB_DIR=${VANTOREL_DRAWING_DIR} \
    -DVANTORELUI_FONT_REGULAR=${VANTOREL_DRAWING_DIR}/DejaVuSans.ttf \
    -DVANTORELUI_FONT_BOLD=${VANTOREL_DRAWING_DIR}/DejaVuSans-Bold.ttf, \
    -DVANTOREL_SIMULATORS=OFF"
VANTOREL_SDK ?= "libkirocamera libvantorelui"
DEPENDS += "${@bb.utils.contains('PACKAGECONFIG', 'simulators', '', d.getVar('VANTOREL_SDK'), d)}"

# What a product of another maker sets.
VANTOREL_USB_VENDOR_ID ?= "0x1209"
VANTOREL_COMPANY_NAME ?= "Vantorel"

EXTRA_OECMAKE = "\
    -DVANTOREL_TESTS=OFF \
    -DVANTOREL_HOST_TOOL=OFF \
    -DVANTOREL_SYSTEMD_UNIT_DIR=${systemd_system_unitdir} \
    -DVANTOREL_USB_VENDOR_ID=${VANTOREL_USB_VENDOR_ID} \
    '-DVANTOREL_COMPANY_NAME=${VANTOREL_COMPANY_NAME}' \
"
OECMAKE_TARGET_COMPILE = "shipped"

PACKAGES =+ "vantorel-app vantorel-simulators vantorel-tools"

SUMMARY:vantorel-app = "Reference application of libVantorelSystem"
FILES:vantorel-app = "${bindir}/vantorel-app ${systemd_system_unitdir}"

SUMMARY:vantorel-tools = "Scripts that pack a firmware update"
FILES:vantorel-tools = "${bindir}/vantorel-make-* ${datadir}/vantorel-tools"
RDEPENDS:vantorel-tools = "bash python3-core"

SUMMARY:vantorel-simulators = "Stand-ins of the camera SDK and the UI library"
FILES:vantorel-simulators = "${libdir}/libkirocamera.so.* ${libdir}/libVantorelUI.so.*"
