// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Answers requests of the development machine about the display and the board: onlooker PORT. Each
// line is a request, which is answered with a line. No pixel is copied: the development machine
// maps this machine's memory and needs only the framebuffer's address.
//   "picture"  the framebuffer's address from the display's driver; empty while it is dark
//   "board"    the board's state, with ", " between the entries
// Any other line is a command for the board. This is faster than a shell: the time for which a
// button is held must not depend on the load of the machine.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr const char* picture = "/sys/kernel/debug/dri/0/vkms_scanout";
constexpr const char* board = "/sys/kernel/debug/vantorel-board/ctl";

[[noreturn]] void Fail(const char* what) {
    std::fprintf(stderr, "onlooker: %s: %s\n", what, std::strerror(errno));
    ::_exit(1);
}

std::string Content(const char* path) {
    const int file = ::open(path, O_RDONLY | O_CLOEXEC);
    std::string text;
    char part[4096];
    ssize_t size = -1;
    while (file >= 0 && (size = ::read(file, part, sizeof part)) > 0) {
        text.append(part, static_cast<std::size_t>(size));
    }
    if (size < 0) {
        Fail(path);
    }
    ::close(file);
    return text;
}

std::string InOneLine(const std::string& text) {
    std::string line;
    for (const char letter : text) {
        line += letter == '\n' ? std::string(", ") : std::string(1, letter);
    }
    return line + '\n';
}

/** Sends a command to the board; returns "ok" or the reason why the board refused it. */
std::string RunCommand(const std::string& command) {
    const int file = ::open(board, O_WRONLY | O_CLOEXEC);
    if (file < 0) {
        return std::strerror(errno);
    }
    // The board takes a command as a whole or refuses it.
    const ssize_t written = ::write(file, command.data(), command.size());
    std::string answer = written < 0 ? std::strerror(errno) : "ok";
    ::close(file);
    return answer;
}

std::string Answer(const std::string& line) {
    if (line == "picture" || line == "board") {
        return InOneLine(Content(line == "board" ? board : picture));
    }
    return RunCommand(line) + '\n';
}

void Send(int port, const std::string& text) {
    for (std::size_t sent = 0; sent < text.size();) {
        const ssize_t written = ::write(port, text.data() + sent, text.size() - sent);
        if (written <= 0) {
            Fail("port");
        }
        sent += static_cast<std::size_t>(written);
    }
}

} // namespace

int main(int argc, char** argv) {
    const int port = argc == 2 ? ::open(argv[1], O_RDWR | O_CLOEXEC) : -1;
    if (port < 0) {
        std::fprintf(stderr, "usage: onlooker PORT\n");
        return 2;
    }
    ::setpriority(PRIO_PROCESS, 0, -20); // it needs little time, and the console waits for it
    std::string line;
    for (char letter = 0;;) {
        if (::read(port, &letter, 1) != 1) {
            ::usleep(100000); // no program has the other end open
        } else if (letter != '\n') {
            line += letter;
        } else {
            Send(port, Answer(line));
            line.clear();
        }
    }
}
