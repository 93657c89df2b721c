// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Recording.h"

#include "Message.h"

#include <bit>

namespace kirosim {

static_assert(std::endian::native == std::endian::little, "images are copied without conversion");

void Player::Open(const std::string& path) {
    file.close();
    file.clear();
    if (path.empty()) {
        return;
    }
    file.open(path, std::ios::binary);
    Temperatures first;
    if (!Read(first)) {
        Message("no recording: " + path);
        file.close();
    }
    file.seekg(0);
}

bool Player::Read(Temperatures& picture) {
    if (!file.is_open()) {
        return false;
    }
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (file.read(reinterpret_cast<char*>(picture.data()), sizeof picture)) {
            return true;
        }
        file.clear();
        file.seekg(0);
    }
    return false;
}

void Recorder::Open(const std::string& path) {
    file.close();
    file.clear();
    if (path.empty()) {
        return;
    }
    file.open(path, std::ios::binary);
    if (!file) {
        Message("cannot record: " + path);
    }
}

void Recorder::Write(const Temperatures& picture) {
    if (!file.is_open()) {
        return;
    }
    if (!file.write(reinterpret_cast<const char*>(picture.data()), sizeof picture)) {
        Message("the recording has ended: no room");
        file.close();
    }
}

} // namespace kirosim
