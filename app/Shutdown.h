#pragma once

#include "app/Latches.h"
#include "vantorel/logger/Logger.h"
#include "vantorel/service/Service.h"
#include "vantorel/usb/USB.h"
#include "vantorel/usb/USBGadgetMassStorage.h"

#include <functional>
#include <vector>

/** What runs when a signal ends the application; borrowed. */
struct Running {
    vantorel::Logger& logger;
    vantorel::USB& usb;
    vantorel::USBGadgetMassStorage& drive;
    vantorel::USBGadget& network;
    vantorel::USBGadget& serial;
    vantorel::USBGadget& control;
    vantorel::Service& connection;
    vantorel::Service& update;
    /** Services that poll the hardware. */
    std::vector<std::reference_wrapper<vantorel::Service>> pollers;
    CameraLatch& camera;
    const ConnectionLatch& decided;     // first of the connection manager's observers
    const ConnectionLatch& beforeGauge; // before the fuel gauge's service
    const ConnectionLatch& settled;     // last
};

/**
 * Ends the application with status 0, ten seconds later at most, whatever the camera does: the log
 * is in its file, the USB port is released and the drive is unmounted. An update that has begun and
 * a stream that the fuel gauge is being given are finished first, however long they take.
 *
 * A thread of the library may be waiting for the camera: for one to connect, for a frame before it
 * stops the capture session (a USB host can cause that), for the SDK. So each step that joins a
 * thread is bounded, and what has not ended by then is left to the end of the process. No
 * destructor runs: threads of the buttons, the display and the camera still use the objects.
 */
[[noreturn]] void ShutDown(const Running& device);
