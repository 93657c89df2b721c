// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Compares the document for host programs with the table that the device uses.

#include "vantorel/usb/private/SubiRequests.h"

#include <gmock/gmock.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace vantorel::test {
namespace {

using namespace subi;
using Rows = std::map<unsigned long, std::string>;

/** Returns the cells of each row of the document's tables. */
std::vector<std::vector<std::string>> Tables() {
    std::ifstream document(VANTOREL_CONTROL_DOCUMENT);
    std::vector<std::vector<std::string>> rows;
    for (std::string line; std::getline(document, line);) {
        if (!line.starts_with("| ")) {
            continue;
        }
        std::istringstream pieces(line.substr(2));
        rows.emplace_back();
        for (std::string cell; std::getline(pieces, cell, '|');) {
            cell.erase(cell.find_last_not_of(' ') + 1);
            rows.back().push_back(cell.erase(0, cell.find_first_not_of(' ')));
        }
    }
    return rows;
}

bool IsNumber(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

/** Adds a row for each number of a cell such as "62, 89". */
void Enter(Rows& rows, const std::string& numbers, const std::string& text) {
    std::istringstream pieces(numbers);
    for (std::string number; std::getline(pieces >> std::ws, number, ',');) {
        EXPECT_TRUE(rows.emplace(std::stoul(number), text).second) << number << " is listed twice";
    }
}

std::string Length(const std::string& cell) {
    return IsNumber(cell) ? cell : "any";
}

std::string Length(int length) {
    return length == anyLength ? "any" : std::to_string(length);
}

TEST(ControlDocumentTest, ListsTheRequestsSelectorsAndStatusWordsOfTheDevice) {
    Rows requests;
    Rows selectors;
    Rows words;
    std::string silent;
    for (const auto& cells : Tables()) {
        ASSERT_GE(cells.size(), 2U);
        if (cells[1] == "in" || cells[1] == "out") {
            Enter(requests, cells[0], cells[1] + " " + Length(cells.at(2)));
        } else if (cells[0].ends_with(" and above")) {
            silent = cells[0];
        } else if (cells[0].starts_with("0x")) {
            words.emplace(std::stoul(cells[0], nullptr, 16), "");
        } else if (IsNumber(cells[0])) {
            Enter(selectors, cells[0], Length(cells[1]));
        }
    }
#define VANTOREL_ROW(name, number, direction, length, handler)                                     \
    {number, std::string(Direction::direction == Direction::In ? "in " : "out ") + Length(length)},
    EXPECT_EQ(requests, (Rows{VANTOREL_SUBI_REQUESTS(VANTOREL_ROW)}));
#undef VANTOREL_ROW
#define VANTOREL_ROW(name, number, length, handler) {number, Length(length)},
    EXPECT_EQ(selectors, (Rows{VANTOREL_SUBI_SELECTORS(VANTOREL_ROW)}));
#undef VANTOREL_ROW
    EXPECT_EQ(silent, std::to_string(lastSelector + 1) + " and above");
    EXPECT_EQ(words, (Rows{{status::success, ""},
                           {status::kernelLogFailed, ""},
                           {status::stopRefused, ""},
                           {status::unsupported, ""}}));
}

} // namespace
} // namespace vantorel::test
