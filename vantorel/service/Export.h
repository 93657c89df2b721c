// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

/**
 * Marks what the shared library exports. Everything else is hidden, so that only the documented
 * classes are part of the binary interface. Exception types carry the mark too: without it, code
 * outside the library cannot catch them.
 */
#define VANTOREL_EXPORT __attribute__((visibility("default")))
