// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/system/Firstboot.h"

#include "vantorel/service/private/ReadFile.h"
#include "vantorel/service/private/StatusLine.h"
#include "vantorel/service/private/WriteFile.h"

#include <stdexcept>
#include <string>

namespace vantorel {
namespace {

constexpr const char* markerFile = "/tmp/var/firstboot";

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
    SaveFile(markerFile, "1\n");
}
void Firstboot::Clear() {
    SaveFile(markerFile, "0\n");
}

bool Firstboot::Value() const {
    const std::string text = ReadFileIfPossible(markerFile);
    PrintStatus("FIRSTBOOT STR: ", text);
    const bool value = IsNonZero(text);
    PrintStatus("FIRSTBOOT: ", value);
    return value;
}

} // namespace vantorel
