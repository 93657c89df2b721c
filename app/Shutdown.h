#pragma once

#include "app/Latches.h"
#include "vantorel/logger/Logger.h"
#include "vantorel/service/Service.h"
#include "vantorel/usb/USB.h"
#include "vantorel/usb/USBGadgetMassStorage.h"

#include <functional>
#include <vector>

/** The objects in use when a signal ends the application; borrowed. */
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
 * Ends the application with status 0 within ten seconds, whatever the camera does: writes the log
 * to its file, releases the USB port and unmounts the drive. It first waits for an update in
 * progress, and for a stream that is being written to the fuel gauge, without a limit. The time
 * that init scripts take to leave the bus, and that processes on the serial line take to end, does
 * not count either; each of the two has a limit of 30 seconds.
 *
 * A thread of the library may wait for the camera: for one to connect, for a frame before it stops
 * the capture session (a USB host can cause that), or for the SDK. So each step that joins a thread
 * has a time limit, and the end of the process ends the rest. No destructor runs: threads of the
 * buttons, the display and the camera still use the objects.
 */
[[noreturn]] void ShutDown(const Running& device);
