#pragma once

#include <cstdio>
#include <string>

namespace vantorel::logtool {

/** Text as printf() makes it. */
template <typename... Values>
std::string Format(const char* format, Values... values) {
    char text[512];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

} // namespace vantorel::logtool
