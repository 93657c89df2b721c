// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace vantorel::test {

/** A new directory; the destructor removes it. */
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string name = (std::filesystem::temp_directory_path() / "vantorel-XXXXXX").string();
        path = ::mkdtemp(name.data());
    }
    ~TemporaryDirectory() { std::filesystem::remove_all(path); }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    /** Returns the path of an entry; for an empty name, the directory with a trailing slash. */
    std::string operator/(const std::string& name) const { return path + "/" + name; }

    std::string Write(const std::string& name, const std::string& content) const {
        std::ofstream(*this / name, std::ios::binary) << content;
        return *this / name;
    }

    std::string Read(const std::string& name) const {
        std::ostringstream content;
        content << std::ifstream(*this / name, std::ios::binary).rdbuf();
        return content.str();
    }

private:
    std::string path;
};

} // namespace vantorel::test
