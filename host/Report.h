#pragma once

#include <nlohmann/json.hpp>

#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace vantorel::host {

/** What a command found: fields in a fixed order, printed as lines of text or as one JSON object.
 */
class Report {
public:
    /** A field whose text is its value. */
    void Add(const std::string& key, const std::string& value) { Add(key, value, value); }
    /** A field that reads better in another form than the one programs want. */
    void Add(const std::string& key, nlohmann::ordered_json value, std::string text);
    void Print(std::ostream& out, bool json) const;

private:
    nlohmann::ordered_json fields = nlohmann::ordered_json::object();
    std::vector<std::pair<std::string, std::string>> lines;
};

/** One line of JSON. Bytes that are no UTF-8, as a device may send, are replaced. */
std::string ToLine(const nlohmann::ordered_json& value);

/** Two hexadecimal digits a byte, nothing between. */
std::string ToHex(const std::vector<std::uint8_t>& data);

/** The bytes as a person reads them: offset, hexadecimal, characters. */
std::string ToDump(const std::vector<std::uint8_t>& data);

/** Text of a device as a terminal may have it: control characters become dots. */
std::string Printable(std::string text);

} // namespace vantorel::host
