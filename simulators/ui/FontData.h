// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

/** The typefaces, embedded so that the library opens no file at run time. */
extern "C" {
extern const unsigned char vantoreluiFontRegular[];
extern const unsigned char vantoreluiFontBold[];
}
