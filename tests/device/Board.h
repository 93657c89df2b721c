// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace vantorel::test {

/** The virtual board's control file: changes and reads the hardware's environment. */
class Board {
public:
    static bool IsThere() { return std::filesystem::exists(control); }

    /** Writes a line to the control file, such as "charger 1". */
    static void Do(const std::string& command) {
        std::ofstream file(control);
        if (!(file << command << std::flush)) {
            throw std::runtime_error("the board refuses: " + command);
        }
    }

    /** The whole state, one "name value" a line. */
    static std::string State() {
        std::ostringstream text;
        text << std::ifstream(control).rdbuf();
        return text.str();
    }

    /** The value of one name; empty if the board does not know it. */
    static std::string State(const std::string& name) {
        std::istringstream lines(State());
        for (std::string line; std::getline(lines, line);) {
            if (line.rfind(name + " ", 0) == 0) {
                return line.substr(name.size() + 1);
            }
        }
        return {};
    }

    /** Restores an earlier state, as far as commands can. */
    static void Restore(const std::string& state) {
        std::istringstream lines(state);
        for (std::string line; std::getline(lines, line);) {
            std::ofstream(control) << line << std::flush; // the board refuses measurements
        }
    }

private:
    static constexpr const char* control = "/sys/kernel/debug/vantorel-board/ctl";
};

} // namespace vantorel::test
