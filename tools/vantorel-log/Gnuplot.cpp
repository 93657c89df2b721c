// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "tools/vantorel-log/Gnuplot.h"

#include "tools/WriteFile.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <system_error>

#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vantorel::logtool {
namespace {

[[noreturn]] void Fail(const std::string& what, int error) {
    throw std::runtime_error(what + ": " + std::strerror(error));
}

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

/** A file without a name, in memory: nothing remains of it, however the program ends. */
File MakeFile(const char* name) {
    File file(nullptr, &std::fclose);
    if (const int descriptor = ::memfd_create(name, MFD_CLOEXEC); descriptor >= 0) {
        file.reset(::fdopen(descriptor, "w+"));
    }
    if (!file) {
        Fail("cannot start gnuplot", errno);
    }
    return file;
}

std::string Content(std::FILE* file) {
    std::string content;
    std::array<char, 65536> buffer{};
    std::rewind(file);
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), file)) {
        content.append(buffer.data(), count);
    }
    return content;
}

pid_t Start(std::FILE* input, std::FILE* output) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ::fileno(input), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ::fileno(output), STDOUT_FILENO);
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
    const File commands = MakeFile("commands");
    if (std::fwrite(script.data(), 1, script.size(), commands.get()) != script.size() ||
        std::fflush(commands.get()) != 0) {
        Fail("cannot start gnuplot", errno);
    }
    std::rewind(commands.get()); // the child continues at this position
    const File picture = MakeFile("picture");
    const pid_t child = Start(commands.get(), picture.get());
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (status != 0) {
        throw std::runtime_error("gnuplot failed to draw the plot");
    }
    try {
        WriteFile(outFile, Content(picture.get()));
    } catch (const std::system_error& error) {
        throw std::runtime_error("cannot write " + std::string(error.what()));
    }
}

} // namespace vantorel::logtool
