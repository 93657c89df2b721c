#pragma once

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace vantorel::test {

/** The control file of the virtual board: changes what is around the hardware, and tells it. */
class Board {
public:
    static bool IsThere() { return std::filesystem::exists(control); }

    /** Does what a line of the control file says, for instance "charger 1". */
    static void Do(const std::string& command) {
        std::ofstream file(control);
        if (!(file << command << std::flush)) {
            throw std::runtime_error("the board refuses: " + command);
        }
    }

    /** The value of one name; empty when the board does not know it. */
    static std::string State(const std::string& name) {
        std::ifstream file(control);
        for (std::string line; std::getline(file, line);) {
            if (line.starts_with(name + " ")) {
                return line.substr(name.size() + 1);
            }
        }
        return {};
    }

private:
    static constexpr const char* control = "/sys/kernel/debug/vantorel-board/ctl";
};

} // namespace vantorel::test
