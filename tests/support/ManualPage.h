// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <nlohmann/json.hpp>

#include <map>
#include <set>
#include <sstream>
#include <string>

namespace vantorel::test {

using Names = std::set<std::string>;

/**
 * Returns the JSON fields in the section "JSON OUTPUT" of a manual page, by the command of their
 * list item (".It Ic"). An item that is a field itself (".It Cm") belongs to no command.
 */
inline std::map<std::string, Names> DocumentedFields(const std::string& page) {
    const std::size_t from = page.find(".Bl", page.find(".Sh JSON OUTPUT"));
    std::istringstream lines(page.substr(from, page.find("\n.El", from) - from));
    std::map<std::string, Names> fields;
    std::string item;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(".It ") && !line.starts_with(".It Cm ")) {
            item = line.substr(line.starts_with(".It Ic ") ? 7 : 4);
        }
        if (const std::size_t names = line.find("Cm "); names == 1 || names == 4) {
            std::istringstream words(line.substr(names + 3));
            for (std::string word; words >> word;) {
                if (word.find_first_not_of(",.)") != std::string::npos) {
                    fields[item].insert(word);
                }
            }
        }
    }
    return fields;
}

/** Adds the fields of a JSON value and of all values in it. */
inline void AddFields(Names& names, const nlohmann::ordered_json& value) {
    for (const auto& [name, inner] : value.items()) {
        if (value.is_object()) {
            names.insert(name);
        }
        if (inner.is_structured()) {
            AddFields(names, inner);
        }
    }
}

} // namespace vantorel::test
