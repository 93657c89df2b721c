// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/system/private/Proc.h"

#include "vantorel/service/private/ListFolder.h"
#include "vantorel/service/private/ReadFile.h"
#include "vantorel/service/private/Sys.h"

#include <array>
#include <optional>
#include <sstream>

namespace vantorel {
namespace {

/** Returns the target of a link, or nothing when it cannot be read. */
std::optional<std::string> LinkTarget(const std::string& link) {
    std::array<char, 4096> text{};
    const ssize_t length = sys::Readlink(link.c_str(), text.data(), text.size());
    if (length < 0) {
        return std::nullopt;
    }
    return std::string(text.data(), static_cast<std::size_t>(length));
}

/** Whether an entry of /proc is a process; "self" and "thread-self" are links to one. */
bool IsProcess(const std::string& name) {
    return name.find_first_not_of("0123456789") == std::string::npos;
}

} // namespace

pid_t Proc::PidOf(const std::string& executable) {
    for (const std::string& name : ListFolder("/proc").names) {
        // The link cannot be read for kernel threads and for processes that this one may not
        // inspect.
        if (IsProcess(name) && LinkTarget("/proc/" + name + "/exe") == executable) {
            return std::stoi(name);
        }
    }
    return -1;
}

int Proc::DescriptorOf(pid_t pid, const std::string& target) {
    const std::string path = "/proc/" + std::to_string(pid) + "/fd";
    // Stays open: the caller's own descriptors include it, and its link must be readable.
    const UniqueFd folder = OpenFolder(path);
    for (const std::string& name : ListFolder(folder).names) {
        const auto link = LinkTarget(PathOf(path, name));
        if (!link) {
            return -1; // the process is ending; its other links are not reliable
        }
        if (*link == target) {
            return std::stoi(name);
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
