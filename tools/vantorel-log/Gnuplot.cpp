// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "tools/vantorel-log/Gnuplot.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vantorel::logtool {
namespace {

[[noreturn]] void Fail(const std::string& what, int error) {
    throw std::runtime_error(what + ": " + std::strerror(error));
}

/** A file that is removed with the object, unless it has another name by then. */
struct TemporaryFile {
    TemporaryFile(const std::string& path, const std::string& content) : name(path) {
        std::ofstream file(name, std::ios::binary);
        if (!(file << content).flush()) {
            Fail("cannot write " + name, errno);
        }
    }
    ~TemporaryFile() {
        std::error_code ignored;
        std::filesystem::remove(name, ignored);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string name;
};

pid_t Start(const TemporaryFile& input, const TemporaryFile& output) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, input.name.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.name.c_str(), O_WRONLY, 0);
    char name[] = "gnuplot";
    char settings[] = "-d"; // the user's own settings could change the output
    char* const arguments[] = {name, settings, nullptr};
    pid_t child = 0;
    const int error = ::posix_spawnp(&child, name, &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error == ENOENT) {
        throw std::runtime_error("gnuplot is not installed; plots need it "
                                 "(Debian: apt install gnuplot-nox)");
    }
    if (error != 0) {
        Fail("cannot start gnuplot", error);
    }
    return child;
}

} // namespace

void RunGnuplot(const std::string& script, const std::string& outFile) {
    const TemporaryFile commands(outFile + ".gnuplot", script);
    const TemporaryFile picture(outFile + ".part", "");
    const pid_t child = Start(commands, picture);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (status != 0) {
        throw std::runtime_error("gnuplot failed to draw the plot");
    }
    if (::rename(picture.name.c_str(), outFile.c_str()) != 0) {
        Fail("cannot write " + outFile, errno);
    }
}

} // namespace vantorel::logtool
