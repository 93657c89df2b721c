// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/usb/USBGadgetRndis.h"

#include "vantorel/service/Error.h"
#include "vantorel/service/private/Sleep.h"
#include "vantorel/system/Tools.h"

#include <chrono>
#include <thread>
#include <utility>

namespace vantorel {
namespace {

constexpr const char* networkInterface = "usb0";
constexpr const char* hostNameFile = "/etc/hostname";
constexpr const char* sshServer = "dropbear";
constexpr const char* dhcpServer = "busybox-udhcpd";
// The pause between two steps: the init scripts do not report when their server is ready.
constexpr std::chrono::seconds stepPause{1};

} // namespace

USBGadgetRndis::USBGadgetRndis(std::string gadgetName, std::string controller)
    : USBGadget(std::move(gadgetName), "rndis", std::move(controller)) {}

USBGadgetRndis::~USBGadgetRndis() = default;

void USBGadgetRndis::OnAdd() noexcept {
    CreateFunction();
    WriteFunctionAttribute("os_desc/interface.rndis/compatible_id", "RNDIS");
    WriteFunctionAttribute("os_desc/interface.rndis/sub_compatible_id", "5162001");
    LinkFunction();
}

void USBGadgetRndis::OnRemove() noexcept {
    UnlinkFunction();
    RemoveFunction();
}

void USBGadgetRndis::OnBind() noexcept {
    std::thread(BringUp).detach();
}

void USBGadgetRndis::OnUnbind() noexcept {
    Tools::Ifdown(networkInterface);
    Tools::InitdStop(dhcpServer);
    Tools::InitdStop(sshServer);
}

void USBGadgetRndis::BringUp() {
    try {
        Tools::Hostname(hostNameFile);
        SleepFor(stepPause);
        Tools::InitdStart(sshServer);
        SleepFor(stepPause);
        Tools::InitdStart(dhcpServer);
        SleepFor(stepPause);
        Tools::Ifup(networkInterface);
    } catch (const Error&) {
        // No process could be started: the port works without its network.
    }
}

} // namespace vantorel
