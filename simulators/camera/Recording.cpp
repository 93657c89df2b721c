// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Recording.h"

#include "Message.h"

#include <bit>

namespace kirosim {

static_assert(std::endian::native == std::endian::little, "pictures are copied as they are");

void Player::Open(const std::string& path) {
    file_.close();
    file_.clear();
    if (path.empty()) {
        return;
    }
    file_.open(path, std::ios::binary);
    Temperatures first;
    if (!Read(first)) {
        Message("no recording: " + path);
        file_.close();
    }
    file_.seekg(0);
}

bool Player::Read(Temperatures& picture) {
    if (!file_.is_open()) {
        return false;
    }
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (file_.read(reinterpret_cast<char*>(picture.data()), sizeof picture)) {
            return true;
        }
        file_.clear();
        file_.seekg(0);
    }
    return false;
}

void Recorder::Open(const std::string& path) {
    file_.close();
    file_.clear();
    if (path.empty()) {
        return;
    }
    file_.open(path, std::ios::binary);
    if (!file_) {
        Message("cannot record: " + path);
    }
}

void Recorder::Write(const Temperatures& picture) {
    if (!file_.is_open()) {
        return;
    }
    if (!file_.write(reinterpret_cast<const char*>(picture.data()), sizeof picture)) {
        Message("the recording has ended: no room");
        file_.close();
    }
}

} // namespace kirosim
