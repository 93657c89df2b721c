// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/usb/USBGadgetSerial.h"

#include "vantorel/service/Error.h"
#include "vantorel/service/private/ReadFile.h"
#include "vantorel/service/private/Sleep.h"
#include "vantorel/system/Tools.h"
#include "vantorel/usb/private/LineServers.h"

#include <chrono>
#include <sstream>
#include <thread>
#include <utility>

namespace vantorel {
namespace {

// Gives a host time to enumerate the port before a server writes to the line.
constexpr std::chrono::seconds lineDelay{2};

std::string LineOf(int number) {
    return "/dev/ttyGS" + std::to_string(number);
}

/** Returns the line that the kernel reports for a function; empty when it reports none. */
std::string KernelLine(const std::string& function) {
    std::istringstream attribute(ReadFileIfPossible(function + "/port_num"));
    unsigned number = 0;
    return attribute >> number ? LineOf(static_cast<int>(number)) : std::string();
}

} // namespace

std::atomic<int> USBGadgetSerial::_count{0};

USBGadgetSerial::USBGadgetSerial(std::string gadgetName, std::string controller, bool withDebugger,
                                 bool withGetty)
    : USBGadget(std::move(gadgetName), "acm", std::move(controller)),
      debugger(withDebugger),
      getty(withGetty),
      servers(std::make_shared<LineServers>()) {}

USBGadgetSerial::~USBGadgetSerial() = default;

void USBGadgetSerial::OnAdd() noexcept {
    servers->Allow();
    CreateFunction();
    LinkFunction();
}

void USBGadgetSerial::OnRemove() noexcept {
    UnlinkFunction();
    servers->End(KernelLine(functionsDirectory + functionInstance));
    RemoveFunction();
}

void USBGadgetSerial::OnBind() noexcept {
    std::thread(ServeLine, debugger, getty, servers).detach();
}

void USBGadgetSerial::OnUnbind() noexcept {
    --_count;
}

// Runs detached, without the object, which may be destroyed before the delay ends.
void USBGadgetSerial::ServeLine(bool withDebugger, bool withGetty,
                                const std::shared_ptr<LineServers>& servers) {
    if (!withDebugger && !withGetty) {
        servers->Start(LineOf(_count.fetch_add(1)), {}); // the line exists even without a server
        return;
    }
    SleepFor(lineDelay);
    const std::string line = LineOf(_count.fetch_add(1));
    try {
        servers->Start(line, [&] {
            return withDebugger ? Tools::GdbserverStart(line) : Tools::GettyStart(line, "115200");
        });
    } catch (const Error&) {
        // No process could be started: the line has no server.
    }
}

} // namespace vantorel
