// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/system/Firstboot.h"

#include "vantorel/service/private/StatusLine.h"

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace vantorel {
namespace {

constexpr const char* markerFile = "/tmp/var/firstboot";

void Write(char flag) {
    std::ofstream(markerFile) << flag << '\n';
}

bool IsNonZero(const std::string& text) {
    try {
        return std::stoi(text) != 0;
    } catch (const std::invalid_argument&) {
        return false;
    } catch (const std::out_of_range&) {
        return false;
    }
}

} // namespace

Firstboot::Firstboot() = default;
Firstboot::~Firstboot() = default;

void Firstboot::Reset() {
    Write('1');
}
void Firstboot::Clear() {
    Write('0');
}

bool Firstboot::Value() const {
    std::ifstream file(markerFile);
    std::ostringstream content;
    content << file.rdbuf(); // unlike an iterator, this does not throw when a read fails
    const std::string text = content.str();
    PrintStatus("FIRSTBOOT STR: ", text);
    const bool value = IsNonZero(text);
    PrintStatus("FIRSTBOOT: ", value);
    return value;
}

} // namespace vantorel
