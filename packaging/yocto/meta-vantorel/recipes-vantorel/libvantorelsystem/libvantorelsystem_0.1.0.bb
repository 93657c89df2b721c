SUMMARY = "Device services of a handheld thermal camera"
DESCRIPTION = "Power, buttons, display, USB port, firmware update and diagnostics log, \
as a library, with its reference application."
HOMEPAGE = "https://vantorel.invalid/"
SECTION = "libs"
LICENSE = "CLOSED"

inherit cmake externalsrc

EXTERNALSRC = "${VANTOREL_SOURCE}"

# With "simulators": stand-ins of the closed libraries, for work without them. They are built with
# stb_truetype.h and the DejaVu fonts of the build machine, both of which become part of them.
# Without: the makers' libraries, whose recipes are named here.
PACKAGECONFIG ??= ""
PACKAGECONFIG[simulators] = "-DVANTOREL_SIMULATORS=ON -DVANTORELUI_STB_DIR=${VANTOREL_STB_DIR},-DVANTOREL_SIMULATORS=OFF"
VANTOREL_STB_DIR ?= "/usr/include/stb"
VANTOREL_SDK ?= "libkirocamera libvantorelui"
DEPENDS += "${@bb.utils.contains('PACKAGECONFIG', 'simulators', '', d.getVar('VANTOREL_SDK'), d)}"

# What a product of another maker sets.
VANTOREL_USB_VENDOR_ID ?= "0x1209"
VANTOREL_COMPANY_NAME ?= "Vantorel"

EXTRA_OECMAKE = "\
    -DVANTOREL_TESTS=OFF \
    -DVANTOREL_WERROR=OFF \
    -DVANTOREL_HOST_TOOL=OFF \
    -DVANTOREL_USB_VENDOR_ID=${VANTOREL_USB_VENDOR_ID} \
    '-DVANTOREL_COMPANY_NAME=${VANTOREL_COMPANY_NAME}' \
"
OECMAKE_TARGET_COMPILE = "shipped"

PACKAGES =+ "vantorel-app vantorel-simulators"

SUMMARY:vantorel-app = "Reference application of libVantorelSystem"
FILES:vantorel-app = "${bindir}/vantorel-app ${nonarch_libdir}/systemd/system"

SUMMARY:vantorel-simulators = "Stand-ins of the camera SDK and the UI library"
FILES:vantorel-simulators = "${libdir}/libkirocamera.so.* ${libdir}/libVantorelUI.so.*"
