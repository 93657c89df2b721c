// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <string>

#include <sys/types.h>

namespace vantorel {

/** What the kernel reports in "/proc". Stateless, so thread-safe. Tools documents the operations.
 */
class Proc {
public:
    Proc() = delete;

    static pid_t PidOf(const std::string& executable);
    static int DescriptorOf(pid_t pid, const std::string& target);
    static std::string MtdOf(const std::string& partitionName);
    static std::string ImageSelect();
};

} // namespace vantorel
