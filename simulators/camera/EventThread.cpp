// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Manager.h"
#include "Message.h"

#include <cstdlib>
#include <poll.h>
#include <string>

using kirosim::ControlCommand;
using kirosim::Message;
using kirosim::Settings;

namespace {

int EnvironmentNumber(const char* name, int low, int high, int byDefault) {
    const char* const text = std::getenv(name);
    if (text == nullptr) {
        return byDefault;
    }
    const auto value = kirosim::ParseNumber(text, low, high);
    if (!value) {
        Message(std::string("ignored ") + name + "=" + text);
    }
    return value.value_or(byDefault);
}

} // namespace

void kirocamera_manager::ReadEnvironment() {
    rate = EnvironmentNumber("KIROCAMERA_SIM_RATE", 0, ControlCommand::maxRate, rate);
    if (EnvironmentNumber("KIROCAMERA_SIM_CONNECTED", 0, 1, 1) == 1) {
        AddCamera();
    }
    if (const char* const played = std::getenv("KIROCAMERA_SIM_RECORDING")) {
        Settings::Instance().SetPlayed(played);
    }
    const char* const path = std::getenv("KIROCAMERA_SIM_CONTROL");
    if (path != nullptr && *path != '\0') {
        fifo.emplace(path);
    }
}

void kirocamera_manager::EventLoop() {
    const auto handler = [this](std::string_view line) { ExecuteLine(line); };
    for (;;) {
        pollfd sources[] = {{wakeUp.Descriptor(), POLLIN, 0},
                            {fifo ? fifo->Descriptor() : -1, POLLIN, 0}};
        if (::poll(sources, 2, -1) < 0) {
            continue; // interrupted
        }
        if (sources[0].revents != 0) {
            ExecutePending();
        }
        {
            // Checked after the wake-up is cleared, which may be the one that requests the end.
            const std::lock_guard lock(mutex);
            if (quit) {
                return;
            }
        }
        if (sources[1].revents != 0) {
            fifo->Read(handler);
        }
    }
}

void kirocamera_manager::Post(const ControlCommand& command) {
    if (manual) {
        Execute(command);
        return;
    }
    {
        const std::lock_guard lock(mutex);
        pending.push_back(command);
    }
    wakeUp.Signal();
}

void kirocamera_manager::ExecutePending() {
    wakeUp.Clear();
    std::unique_lock lock(mutex);
    while (!quit && !pending.empty()) {
        const ControlCommand command = pending.front();
        pending.pop_front();
        lock.unlock();
        Execute(command);
        lock.lock();
    }
}

void kirocamera_manager::ExecuteLine(std::string_view line) {
    if (const auto command = ControlCommand::Parse(line)) {
        Execute(*command);
    } else {
        Message("ignored command: " + std::string(line));
    }
}

void kirocamera_manager::Execute(const ControlCommand& command) {
    kirocamera_t* const camera = CurrentCamera();
    switch (command.kind) {
    case ControlCommand::Kind::Connect:
        if (camera != nullptr) {
            Message("already connected");
        } else {
            SendEvent(nullptr, KIROCAMERA_EVENT_CONNECT, 0);
        }
        break;
    case ControlCommand::Kind::Disconnect:
        if (camera == nullptr) {
            Message("not connected");
        } else {
            SendEvent(camera, KIROCAMERA_EVENT_DISCONNECT, 0);
        }
        break;
    case ControlCommand::Kind::Error:
        if (camera == nullptr) {
            Message("not connected");
        } else {
            SendEvent(camera, KIROCAMERA_EVENT_ERROR, command.value);
        }
        break;
    case ControlCommand::Kind::Rate:
        SetRate(command.value);
        break;
    case ControlCommand::Kind::Hang:
        SetHanging(command.value != 0);
        break;
    case ControlCommand::Kind::Play:
        Settings::Instance().SetPlayed(command.path);
        break;
    case ControlCommand::Kind::Record:
        Settings::Instance().SetRecorded(command.path);
        break;
    case ControlCommand::Kind::Announce:
        Announce();
        break;
    }
}

void kirocamera_manager::Announce() {
    std::unique_lock lock(mutex);
    // By index, since the callback may extend the list.
    for (std::size_t i = 0; i < cameras.size(); ++i) {
        kirocamera* const camera = cameras[i].get();
        if (!camera->connected || camera->announced) {
            continue;
        }
        lock.unlock();
        SendEvent(camera, KIROCAMERA_EVENT_CONNECT, 0);
        lock.lock();
    }
}

void kirocamera_manager::SetHanging(bool isHanging) {
    const std::lock_guard lock(mutex);
    hangs = isHanging;
    changed.notify_all();
}

void kirocamera_manager::SetRate(int hertz) {
    const std::lock_guard lock(mutex);
    rate = hertz;
    PaceAnew();
}
