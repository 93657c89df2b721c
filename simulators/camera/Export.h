// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#ifndef KIROSIM_EXPORT_H
#define KIROSIM_EXPORT_H

/** Exports a function; everything else stays hidden in the library. */
#define KIROCAMERA_EXPORT __attribute__((visibility("default")))

#endif
