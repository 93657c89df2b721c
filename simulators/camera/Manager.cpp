// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Manager.h"

#include "kirocamera_sim.h"

#include <csignal>
#include <pthread.h>

using kirosim::ControlCommand;

namespace {

/**
 * Threads that are created while this object lives block the signals of the process, so that the
 * application decides which of its threads handles them. Signals of faults are not blocked.
 */
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        ::sigfillset(&all);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGPROF}) {
            ::sigdelset(&all, fault);
        }
        ::pthread_sigmask(SIG_BLOCK, &all, &previous);
    }
    ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &previous, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t previous{};
};

} // namespace

kirocamera_manager::kirocamera_manager(bool isManual) : manual(isManual) {
    if (!manual) {
        ReadEnvironment();
    }
}

kirocamera_manager::~kirocamera_manager() {
    {
        const std::lock_guard lock(mutex);
        quit = true;
    }
    changed.notify_all();
    wakeUp.Signal();
    for (std::thread* thread : {&eventThread, &frameThread}) {
        if (thread->joinable()) {
            thread->join();
        }
    }
}

void kirocamera_manager::Start() {
    if (manual) {
        return;
    }
    const SignalsBlocked blocked;
    eventThread = std::thread(&kirocamera_manager::EventLoop, this);
    frameThread = std::thread(&kirocamera_manager::FrameLoop, this);
    ::pthread_setname_np(eventThread.native_handle(), "camera-events");
    ::pthread_setname_np(frameThread.native_handle(), "camera-frames");
}

void kirocamera_manager::Register(kirocamera_manager_event_callback_t function, void* context) {
    {
        const std::lock_guard lock(mutex);
        callback = function;
        user = context;
        for (const auto& camera : cameras) {
            camera->announced = false;
        }
    }
    if (!manual) {
        Post({ControlCommand::Kind::Announce, 0});
    }
}

kirocamera_error_t kirocamera_manager::SendEvent(kirocamera_t* camera,
                                                 kirocamera_manager_event_t event,
                                                 kirocamera_error_t error) {
    std::unique_lock lock(mutex);
    if (camera == nullptr && event == KIROCAMERA_EVENT_CONNECT) {
        camera = &AddCamera();
    }
    if (camera == nullptr) {
        camera = LastCamera(&kirocamera::connected);
    }
    if (camera == nullptr && !cameras.empty()) {
        camera = cameras.back().get();
    }
    if (camera != nullptr && event == KIROCAMERA_EVENT_CONNECT) {
        camera->connected = true;
        camera->announced = callback != nullptr;
    } else if (camera != nullptr && event == KIROCAMERA_EVENT_DISCONNECT) {
        camera->connected = false;
        camera->session = false;
        PaceAnew();
    }
    const auto function = callback;
    void* const context = user;
    lock.unlock();
    if (function == nullptr) {
        return KIROCAMERA_SIM_ERROR_NO_RECEIVER;
    }
    function(camera, event, error, context);
    return 0;
}

kirocamera_error_t kirocamera_manager::SendFrame() {
    const std::lock_guard frames(frameMutex);
    std::unique_lock lock(mutex);
    kirocamera* const camera = LastCamera(&kirocamera::session);
    if (camera == nullptr) {
        return KIROCAMERA_SIM_ERROR_SESSION;
    }
    const auto function = camera->callback;
    void* const context = camera->user;
    if (function == nullptr) {
        return KIROCAMERA_SIM_ERROR_NO_RECEIVER;
    }
    const kirosim::FrameRequest request = NextRequest(*camera);
    lock.unlock();
    if (!builder) {
        builder.emplace(); // computes a room, for which the start of an application need not wait
    }
    function(camera, &builder->Build(request), context);
    return 0;
}

kirosim::FrameRequest kirocamera_manager::NextRequest(kirocamera& camera) const {
    kirosim::FrameRequest request;
    request.format = camera.format;
    request.modes = camera.modes;
    request.frameCount = ++camera.frames;
    const auto uptime = std::chrono::nanoseconds(Clock::now() - camera.powerOn).count();
    const auto hertz = static_cast<std::uint64_t>(rate > 0 ? rate : 1);
    request.uptimeNanoseconds = manual ? camera.frames * std::uint64_t{1'000'000'000} / hertz
                                       : static_cast<std::uint64_t>(uptime);
    return request;
}

void kirocamera_manager::WaitWhileHanging() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return !hangs || quit; });
}

kirocamera_t* kirocamera_manager::CurrentCamera() {
    const std::lock_guard lock(mutex);
    return LastCamera(&kirocamera::connected);
}

kirocamera& kirocamera_manager::AddCamera() {
    const auto number = static_cast<unsigned>(cameras.size() + 1);
    cameras.push_back(std::make_unique<kirocamera>(*this, number));
    return *cameras.back();
}

kirocamera* kirocamera_manager::LastCamera(bool kirocamera::*property) {
    for (auto camera = cameras.rbegin(); camera != cameras.rend(); ++camera) {
        if ((**camera).*property) {
            return camera->get();
        }
    }
    return nullptr;
}

void kirocamera_manager::PaceAnew() {
    ++pace;
    changed.notify_all();
}
