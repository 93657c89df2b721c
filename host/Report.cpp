// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "host/Report.h"

#include <algorithm>
#include <cstdio>

namespace vantorel::host {

void Report::Add(const std::string& key, const std::string& value) {
    Add(key, value, Printable(value));
}

void Report::Add(const std::string& key, nlohmann::ordered_json value, std::string text) {
    fields[key] = std::move(value);
    lines.emplace_back(key, std::move(text));
}

void Report::Print(std::ostream& out, bool json) const {
    if (json) {
        out << ToLine(fields) << '\n';
        return;
    }
    std::size_t width = 0;
    for (const auto& [key, text] : lines) {
        width = std::max(width, key.size());
    }
    for (const auto& [key, text] : lines) {
        out << key << ':' << std::string(width - key.size() + 1, ' ') << text << '\n';
    }
}

void PrintError(std::ostream& err, bool json, const std::string& text, int exitCode) {
    if (json) {
        err << ToLine({{"error", text}, {"exit", exitCode}}) << '\n';
    } else {
        err << "vantorel-host: " << text << '\n';
    }
}

std::string ToLine(const nlohmann::ordered_json& value) {
    return value.dump(-1, ' ', true, nlohmann::ordered_json::error_handler_t::replace);
}

std::string ToHex(const std::vector<std::uint8_t>& data) {
    std::string text;
    for (const std::uint8_t byte : data) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", unsigned{byte});
        text += digits;
    }
    return text;
}

std::string ToDump(const std::vector<std::uint8_t>& data) {
    constexpr std::size_t perLine = 16;
    std::string dump;
    for (std::size_t begin = 0; begin < data.size(); begin += perLine) {
        char digits[24];
        std::snprintf(digits, sizeof digits, "%04zx ", begin);
        dump += digits;
        std::string characters;
        for (std::size_t i = begin; i < begin + perLine; ++i) {
            if (i >= data.size()) {
                dump += "   ";
                continue;
            }
            std::snprintf(digits, sizeof digits, " %02x", unsigned{data[i]});
            dump += digits;
            characters += data[i] >= 0x20 && data[i] < 0x7f ? static_cast<char>(data[i]) : '.';
        }
        dump += "  " + characters + '\n';
    }
    return dump;
}

std::string Printable(std::string text) {
    std::ranges::replace_if(
        text, [](unsigned char c) { return c < 0x20 || c >= 0x7f; }, '.');
    return text;
}

} // namespace vantorel::host
