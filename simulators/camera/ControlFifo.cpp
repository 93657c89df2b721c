// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "ControlFifo.h"

#include "Message.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kirosim {

namespace {
constexpr std::size_t maxLine = PATH_MAX + 16; // a command with the longest path
}

ControlFifo::ControlFifo(const std::string& name) : path(name) {
    created = ::mkfifo(path.c_str(), 0666) == 0;
    if (!created && errno != EEXIST) {
        Message("cannot create control pipe " + path + ": " + std::strerror(errno));
        return;
    }
    // This process is also a writer, so the pipe reports no end of file when a shell closes it.
    descriptor = ::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
    struct stat status {};
    if (descriptor < 0) {
        Message("cannot open control pipe " + path + ": " + std::strerror(errno));
    } else if (::fstat(descriptor, &status) != 0 || !S_ISFIFO(status.st_mode)) {
        Message("not a pipe, no control: " + path);
        Close();
    }
}

ControlFifo::~ControlFifo() {
    Close();
    if (created) {
        ::unlink(path.c_str());
    }
}

void ControlFifo::Close() {
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    descriptor = -1;
}

void ControlFifo::Read(const LineHandler& handler) {
    char bytes[256];
    const ssize_t count = ::read(descriptor, bytes, sizeof(bytes));
    if (count > 0) {
        Append({bytes, static_cast<std::size_t>(count)}, handler);
    } else if (count < 0 && errno != EAGAIN && errno != EINTR) {
        Message("cannot read control pipe " + path + ": " + std::strerror(errno));
        Close();
    }
}

void ControlFifo::Append(std::string_view bytes, const LineHandler& handler) {
    for (const char byte : bytes) {
        if (byte != '\n') {
            if (line.size() < maxLine) {
                line.push_back(byte);
            } else {
                overlong = true;
            }
            continue;
        }
        if (overlong) {
            Message("ignored an overlong line");
        } else {
            handler(line);
        }
        line.clear();
        overlong = false;
    }
}

} // namespace kirosim
