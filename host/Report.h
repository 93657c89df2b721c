// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <nlohmann/json.hpp>

#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace vantorel::host {

/** The result of a command: fields in a fixed order, printed as lines of text or as one JSON
 * object.
 */
class Report {
public:
    /** A text from the device. */
    void Add(const std::string& key, const std::string& value);
    /** A field with its value for programs and its text for people, which is printed unchanged. */
    void Add(const std::string& key, nlohmann::ordered_json value, std::string text);
    void Print(std::ostream& out, bool json) const;

private:
    nlohmann::ordered_json fields = nlohmann::ordered_json::object();
    std::vector<std::pair<std::string, std::string>> lines;
};

/** Reports an error with the exit status: as text, or as one JSON object on a line. */
void PrintError(std::ostream& err, bool json, const std::string& text, int exitCode);

/**
 * One line of JSON, safe for a terminal: other characters than ASCII are escaped. Bytes that are
 * not UTF-8, which a device may send, are replaced.
 */
std::string ToLine(const nlohmann::ordered_json& value);

/** Two hexadecimal digits per byte, without separators. */
std::string ToHex(const std::vector<std::uint8_t>& data);

/** A hexadecimal dump: offset, bytes, characters. */
std::string ToDump(const std::vector<std::uint8_t>& data);

/**
 * Text from a device, safe for a terminal: control characters become dots, and so do those other
 * than ASCII, some of which control a terminal, too.
 */
std::string Printable(std::string text);

} // namespace vantorel::host
