// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cstdio>
#include <string>

namespace vantorel::logtool {

/** Formats text as printf() does. */
template <typename... Values>
std::string Format(const char* format, Values... values) {
    char text[512];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

} // namespace vantorel::logtool
