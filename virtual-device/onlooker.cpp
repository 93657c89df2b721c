// Answers the development machine's questions about the display and the board, each by one line:
// onlooker PORT. No pixel is copied here: the development machine has this machine's memory before
// it and is only told where in it the picture is.
//   "p"  where the picture is, as the display's driver tells; nothing while the display is dark
//   "s"  the board's state, ", " between its entries
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include <fcntl.h>
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
    for (char question = 0;;) {
        if (::read(port, &question, 1) == 1) {
            Send(port, InOneLine(Content(question == 'p' ? picture : board)));
        } else {
            ::usleep(100000); // nobody is at the other end
        }
    }
}
