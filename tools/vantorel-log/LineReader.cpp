// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "tools/vantorel-log/LineReader.h"

#include <cerrno>
#include <cstring>
#include <system_error>

namespace vantorel::logtool {
namespace {

constexpr std::size_t bufferSize = 256 * 1024;

} // namespace

LineReader::LineReader(const std::string& path)
    : file(std::fopen(path.c_str(), "re")), buffer(bufferSize) {
    if (!file) {
        throw std::system_error(errno, std::generic_category(), "cannot open " + path);
    }
}

std::optional<LineReader::Line> LineReader::Next() {
    Line line;
    std::size_t searched = 0;
    while (true) {
        const char* const from = buffer.data() + begin;
        const void* newline = std::memchr(from + searched, '\n', end - begin - searched);
        if (newline != nullptr) {
            return Take(line, static_cast<std::size_t>(static_cast<const char*>(newline) - from));
        }
        searched = end - begin;
        if (searched > longestLine) { // discard it
            Drop(line, searched);
            begin = end = searched = 0;
        }
        if (!Fill()) {
            if (searched == 0 && !line.tooLong) {
                return std::nullopt;
            }
            line.complete = false;
            return Take(line, searched);
        }
    }
}

bool LineReader::Fill() {
    std::memmove(buffer.data(), buffer.data() + begin, end - begin);
    end -= begin;
    begin = 0;
    const std::size_t count = std::fread(buffer.data() + end, 1, buffer.size() - end, file.get());
    if (count == 0 && std::ferror(file.get()) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot read");
    }
    end += count;
    return count > 0;
}

void LineReader::Drop(Line& line, std::size_t length) const {
    line.tooLong = true;
    line.zeros = line.zeros || std::memchr(buffer.data() + begin, 0, length) != nullptr;
}

LineReader::Line LineReader::Take(Line line, std::size_t length) {
    line.number = ++lineNumber;
    if (line.tooLong || length > longestLine) {
        Drop(line, length);
    } else {
        line.text = {buffer.data() + begin, length};
        if (line.complete && line.text.ends_with('\r')) { // edited on a PC
            line.text.remove_suffix(1);
        }
    }
    begin += length + (line.complete ? 1 : 0);
    return line;
}

} // namespace vantorel::logtool
