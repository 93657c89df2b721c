// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/system/private/Proc.h"

#include "vantorel/service/private/ReadFile.h"
#include "vantorel/service/private/Sys.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <sstream>

#include <dirent.h>

namespace vantorel {
namespace {

struct DirectoryCloser {
    void operator()(DIR* directory) const { ::closedir(directory); }
};
using Directory = std::unique_ptr<DIR, DirectoryCloser>;

/** Returns the target of a link, or nothing when it cannot be read. */
std::optional<std::string> LinkTarget(const std::string& link) {
    std::array<char, 4096> text{};
    const ssize_t length = sys::Readlink(link.c_str(), text.data(), text.size());
    if (length < 0) {
        return std::nullopt;
    }
    return std::string(text.data(), static_cast<std::size_t>(length));
}

/** Returns the name of the next entry, skipping "." and "..", or null at the end. */
const char* NextEntry(const Directory& directory) {
    while (const dirent* entry = ::readdir(directory.get())) {
        const std::string name(entry->d_name);
        if (name != "." && name != "..") {
            return entry->d_name;
        }
    }
    return nullptr;
}

/** Whether an entry of /proc is a process; "self" and "thread-self" are links to one. */
bool IsProcess(const char* name) {
    return *name != '\0' && name[std::strspn(name, "0123456789")] == '\0';
}

} // namespace

pid_t Proc::PidOf(const std::string& executable) {
    const Directory processes(::opendir("/proc/"));
    if (!processes) {
        return -1;
    }
    while (const char* name = NextEntry(processes)) {
        // The link cannot be read for kernel threads and for processes that this one may not
        // inspect.
        if (IsProcess(name) && LinkTarget("/proc/" + std::string(name) + "/exe") == executable) {
            return std::atoi(name);
        }
    }
    return -1;
}

int Proc::DescriptorOf(pid_t pid, const std::string& target) {
    const std::string path = "/proc/" + std::to_string(pid) + "/fd/";
    const Directory descriptors(::opendir(path.c_str()));
    if (!descriptors) {
        return -1;
    }
    while (const char* name = NextEntry(descriptors)) {
        const auto link = LinkTarget(path + name);
        if (!link) {
            return -1; // the process is ending; its other links are not reliable
        }
        if (*link == target) {
            return std::atoi(name);
        }
    }
    return -1;
}

std::string Proc::MtdOf(const std::string& partitionName) {
    std::istringstream table(ReadFileIfPossible("/proc/mtd"));
    for (std::string line; std::getline(table, line);) {
        if (line.find(partitionName) != std::string::npos) {
            return "/dev/" + line.substr(0, line.find(':'));
        }
    }
    return "";
}

std::string Proc::ImageSelect() {
    std::string text = ReadFileIfPossible("/proc/cmdline");
    if (text.ends_with('\n')) {
        text.pop_back(); // added by the kernel, not part of the last parameter's value
    }
    // Throws when the parameter is missing. Without a '=' after it, find() returns npos; npos + 1
    // is 0, and the result is the first letter of the key, which is not the name of a slot.
    const std::string parameter = text.substr(text.find("image_select"));
    return parameter.substr(parameter.find('=') + 1, 1);
}

} // namespace vantorel
