# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel

# Product data, which a maker sets for a product. It is checked here because the kernel accepts a
# malformed number as a different one and drops a text that is too long, without a visible error.

set(VANTOREL_USB_VENDOR_ID "0x1209" CACHE STRING
    "USB vendor ID, 0x and four hexadecimal digits; the default is the community's test vendor")
set(VANTOREL_COMPANY_NAME "Vantorel" CACHE STRING
    "Company name, shown to a USB host as the manufacturer")

# The kernel reads 1209 as a decimal number.
string(TOLOWER "${VANTOREL_USB_VENDOR_ID}" vantorel_vendor_id)
if(NOT vantorel_vendor_id MATCHES "^0x[0-9a-f][0-9a-f][0-9a-f][0-9a-f]$")
    message(FATAL_ERROR
        "VANTOREL_USB_VENDOR_ID=${VANTOREL_USB_VENDOR_ID} is not 0x and four hexadecimal digits")
endif()

# The name passes through CMake's lists, a compiler's command line and a C++ string. The kernel
# rejects a string of more than 126 bytes.
string(LENGTH "${VANTOREL_COMPANY_NAME}" vantorel_name_length)
if(vantorel_name_length EQUAL 0 OR vantorel_name_length GREATER 126)
    message(FATAL_ERROR "VANTOREL_COMPANY_NAME has ${vantorel_name_length} bytes, not 1 to 126")
elseif(VANTOREL_COMPANY_NAME MATCHES "[\"\\\\;$#\t\r\n]")
    message(FATAL_ERROR "VANTOREL_COMPANY_NAME must not contain \" \\ ; $ # or a line break")
endif()
