// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

namespace vantorel {

/** The stream that reprograms the gauge at the next start; a firmware update puts it there. */
inline constexpr const char* flashStreamDirectory = "/tmp/var/update";
inline constexpr const char* flashStreamFile = "/tmp/var/update/bqfs";

} // namespace vantorel
