// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Runs a program with a set of capabilities and no others, as a product's service manager does for
// the application: whatever the program starts, root or not, never has more.
//
// Usage: confine "CAP_SYS_ADMIN CAP_SYSLOG ..." PROGRAM [ARGUMENT...]

#include <algorithm>
#include <array>
#include <cstdio>
#include <set>
#include <sstream>
#include <string>

#include <linux/capability.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

// By their numbers.
constexpr std::array names{"CHOWN",
                           "DAC_OVERRIDE",
                           "DAC_READ_SEARCH",
                           "FOWNER",
                           "FSETID",
                           "KILL",
                           "SETGID",
                           "SETUID",
                           "SETPCAP",
                           "LINUX_IMMUTABLE",
                           "NET_BIND_SERVICE",
                           "NET_BROADCAST",
                           "NET_ADMIN",
                           "NET_RAW",
                           "IPC_LOCK",
                           "IPC_OWNER",
                           "SYS_MODULE",
                           "SYS_RAWIO",
                           "SYS_CHROOT",
                           "SYS_PTRACE",
                           "SYS_PACCT",
                           "SYS_ADMIN",
                           "SYS_BOOT",
                           "SYS_NICE",
                           "SYS_RESOURCE",
                           "SYS_TIME",
                           "SYS_TTY_CONFIG",
                           "MKNOD",
                           "LEASE",
                           "AUDIT_WRITE",
                           "AUDIT_CONTROL",
                           "SETFCAP",
                           "MAC_OVERRIDE",
                           "MAC_ADMIN",
                           "SYSLOG",
                           "WAKE_ALARM",
                           "BLOCK_SUSPEND",
                           "AUDIT_READ",
                           "PERFMON",
                           "BPF",
                           "CHECKPOINT_RESTORE"};
static_assert(names.size() == CAP_LAST_CAP + 1);

int Fail(const char* what) {
    std::perror(what);
    return 126;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: confine CAPABILITIES PROGRAM [ARGUMENT...]\n");
        return 126;
    }
    std::istringstream words(argv[1]);
    std::set<std::string> kept;
    for (std::string word; words >> word;) {
        const bool known = std::any_of(names.begin(), names.end(), [&](const char* name) {
            return word == std::string("CAP_") + name;
        });
        if (!known) {
            std::fprintf(stderr, "confine: no capability %s\n", word.c_str());
            return 126;
        }
        kept.insert(word);
    }
    for (unsigned long number = 0; number < names.size(); ++number) {
        if (!kept.contains(std::string("CAP_") + names[number]) &&
            prctl(PR_CAPBSET_DROP, number, 0, 0, 0) == -1) {
            return Fail(names[number]);
        }
    }
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == -1) {
        return Fail("no_new_privs");
    }
    execvp(argv[2], argv + 2);
    return Fail(argv[2]);
}
