// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/usb/USBGadget.h"

#include "vantorel/system/Tools.h"
#include "vantorel/usb/private/ConfigFs.h"

#include <utility>

namespace vantorel {

USBGadget::USBGadget(std::string gadgetName, const std::string& functionType,
                     std::string controller)
    : Device(std::move(gadgetName)),
      gadgetIndex(configfs::GadgetIndex(controller)),
      controllerName(std::move(controller)),
      gadgetDirectory(configfs::GadgetDirectory(gadgetIndex)),
      functionsDirectory(gadgetDirectory + "functions/"),
      configurationDirectory(gadgetDirectory + "configs/g" + gadgetIndex + ".1/"),
      functionInstance(functionType + ".usb" + gadgetIndex) {}

USBGadget::~USBGadget() = default;

void USBGadget::CreateFunction() const {
    Tools::Mkdir(functionsDirectory + functionInstance);
}

void USBGadget::RemoveFunction() const {
    Tools::Rmdir(functionsDirectory + functionInstance);
}

void USBGadget::LinkFunction() const {
    Tools::Ln("-s", functionsDirectory + functionInstance,
              configurationDirectory + functionInstance);
}

void USBGadget::UnlinkFunction() const {
    Tools::Unlink(configurationDirectory + functionInstance);
}

void USBGadget::WriteFunctionAttribute(const std::string& attribute, const std::string& value) {
    configfs::WriteAttribute(attributeStream,
                             functionsDirectory + functionInstance + "/" + attribute, value);
}

} // namespace vantorel
