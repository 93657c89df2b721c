// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/usb/private/ConfigFs.h"

namespace vantorel::configfs {

std::string GadgetIndex(const std::string& controller) {
    return controller.substr(controller.rfind('.') + 1); // without a dot: from the start
}

std::string GadgetDirectory(const std::string& index) {
    return "/config/usb_gadget/g" + index + "/";
}

void WriteAttribute(std::ofstream& stream, const std::string& path, const std::string& value) {
    stream.open(path);
    stream << value << std::flush;
    stream.close();
}

} // namespace vantorel::configfs
