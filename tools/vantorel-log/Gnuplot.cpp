// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "tools/vantorel-log/Gnuplot.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
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

class Descriptor {
public:
    explicit Descriptor(int opened) : number(opened) {}
    ~Descriptor() { Close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Number() const { return number; }
    void Close() {
        if (number >= 0) {
            ::close(number);
        }
        number = -1;
    }

private:
    int number;
};

/** A temporary file, removed with the object unless it is kept under its final name. */
class NewFile {
public:
    explicit NewFile(const std::string& finalName)
        : name(finalName),
          temporary(finalName + ".part"),
          file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)) {
        if (file.Number() < 0) {
            Fail("cannot write " + temporary, errno);
        }
    }
    ~NewFile() { ::unlink(temporary.c_str()); }
    int Number() const { return file.Number(); }
    void Keep() {
        if (::rename(temporary.c_str(), name.c_str()) != 0) {
            Fail("cannot write " + name, errno);
        }
    }

private:
    const std::string name;
    const std::string temporary;
    Descriptor file;
};

pid_t Start(int input, int output) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
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

bool WriteAll(int descriptor, const std::string& text) {
    for (std::size_t written = 0; written < text.size();) {
        const ssize_t count = ::write(descriptor, text.data() + written, text.size() - written);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        written += static_cast<std::size_t>(count < 0 ? 0 : count);
    }
    return true;
}

} // namespace

void RunGnuplot(const std::string& script, const std::string& outFile) {
    NewFile picture(outFile);
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        Fail("cannot create a pipe", errno);
    }
    Descriptor readEnd(ends[0]);
    Descriptor writeEnd(ends[1]);
    const pid_t child = Start(readEnd.Number(), picture.Number());
    readEnd.Close();
    const auto before = std::signal(SIGPIPE, SIG_IGN); // gnuplot may exit early
    const bool sent = WriteAll(writeEnd.Number(), script);
    writeEnd.Close();
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    std::signal(SIGPIPE, before);
    if (!sent || status != 0) {
        throw std::runtime_error("gnuplot failed to draw the plot");
    }
    picture.Keep();
}

} // namespace vantorel::logtool
