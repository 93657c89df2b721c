// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "tools/vantorel-log/LineReader.h"

#include <cerrno>
#include <iterator>
#include <system_error>

namespace vantorel::logtool {

LineReader::LineReader(const std::string& path) : file(path) {
    if (!file) {
        throw std::system_error(errno, std::generic_category(), "cannot open " + path);
    }
    file.exceptions(std::ios::badbit);
}

std::optional<LineReader::Line> LineReader::Next() {
    Line line;
    while (true) {
        file.getline(buffer.data(), std::ssize(buffer));
        auto length = static_cast<std::size_t>(file.gcount());
        if (file.eof() && length == 0 && !line.tooLong) {
            return std::nullopt;
        }
        line.complete = !file.eof();
        length -= file.good() ? 1 : 0; // the end of the line
        line.text = {buffer.data(), length};
        line.zeros = line.zeros || line.text.find('\0') != std::string_view::npos;
        if (file.good() || file.eof()) {
            break;
        }
        line.tooLong = true; // the buffer is full
        file.clear();
    }
    line.number = ++lineNumber;
    if (line.tooLong) {
        line.text = {};
    } else if (line.complete && line.text.ends_with('\r')) { // edited on a PC
        line.text.remove_suffix(1);
    }
    return line;
}

} // namespace vantorel::logtool
