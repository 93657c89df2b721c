// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <fstream>
#include <string>

/** Names and attributes in the gadget configuration file system. */
namespace vantorel::configfs {

/** The part after the last dot of a controller's name; the whole name when it has none. */
std::string GadgetIndex(const std::string& controller);

/** The directory of the gadget with this index, with a trailing slash. */
std::string GadgetDirectory(const std::string& index);

/** Opens an attribute, writes a value and closes it; a failure only sets the stream's state. */
void WriteAttribute(std::ofstream& stream, const std::string& path, const std::string& value);

} // namespace vantorel::configfs
