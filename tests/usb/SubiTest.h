#pragma once

#include "tests/support/CameraSimulator.h"
#include "tests/support/CapturedOutput.h"
#include "tests/usb/FakeEndpoint.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/usb/USBGadgetSubi.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vantorel::test {

/** The vendor function on a fake endpoint zero, with a camera that is connected on demand. */
class SubiTest : public testing::Test, public USBGadgetObserver {
protected:
    SubiTest() {
        manager.AddObserver(subi);
        manager.Start();
        subi.AddObserver(*this);
    }
    ~SubiTest() override {
        if (up) {
            subi.OnRemove();
        }
    }

    void BringUp() {
        sdk.Connect();
        subi.OnAdd();
        up = true;
    }

    void OnUSBGadgetStopCaptureSessionRequest(USBGadget&) override { wishes += "stop "; }
    void OnUSBGadgetStartCaptureSessionRequest(USBGadget&) override { wishes += "start "; }
    void OnUSBGadgetError(USBGadget&, Error&) override { wishes += "error "; }

    /** What the host has asked of the capture session since the last call. */
    std::string Wishes() { return std::exchange(wishes, ""); }

    CapturedOutput output;
    FakeEndpoint endpoint;
    ManualCamera sdk;
    CameraManager manager{0};
    USBGadgetSubi subi{"subi", "udc.0"};
    std::string wishes;
    bool up = false;
};

inline Bytes Word(unsigned value) {
    return {static_cast<std::uint8_t>(value & 0xff), static_cast<std::uint8_t>(value >> 8)};
}

inline Outcome Reply(Bytes bytes) {
    return {std::move(bytes), Stall::None};
}

inline const Outcome refusedIn{{}, Stall::In};
inline const Outcome refusedOut{{}, Stall::Out};
inline const Outcome silence{};

/** For the messages of failed expectations. */
inline void PrintTo(const Outcome& outcome, std::ostream* out) {
    *out << "stall " << static_cast<int>(outcome.stall) << ", reply "
         << testing::PrintToString(outcome.reply);
}

} // namespace vantorel::test
