// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

/** Exports a function; everything else stays hidden in the library. */
#define KIROCAMERA_EXPORT __attribute__((visibility("default")))
