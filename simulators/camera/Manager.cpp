// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Manager.h"

#include "kirocamera_sim.h"

#include <csignal>
#include <pthread.h>

using kirosim::ControlCommand;

namespace {

/**
 * Blocks the process's signals in threads that are created meanwhile, so that the application
 * decides which of its threads takes them. Signals of faults are not blocked.
 */
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        ::sigfillset(&all);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGPROF}) {
            ::sigdelset(&all, fault);
        }
        ::pthread_sigmask(SIG_BLOCK, &all, &previous_);
    }
    ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t previous_{};
};

} // namespace

kirocamera_manager::kirocamera_manager(bool manual) : manual_(manual) {
    if (!manual_) {
        ReadEnvironment();
    }
}

kirocamera_manager::~kirocamera_manager() {
    {
        const std::lock_guard lock(mutex_);
        quit_ = true;
    }
    changed_.notify_all();
    wakeUp_.Signal();
    for (std::thread* thread : {&eventThread_, &frameThread_}) {
        if (thread->joinable()) {
            thread->join();
        }
    }
}

void kirocamera_manager::Start() {
    if (manual_) {
        return;
    }
    const SignalsBlocked blocked;
    eventThread_ = std::thread(&kirocamera_manager::EventLoop, this);
    frameThread_ = std::thread(&kirocamera_manager::FrameLoop, this);
    ::pthread_setname_np(eventThread_.native_handle(), "camera-events");
    ::pthread_setname_np(frameThread_.native_handle(), "camera-frames");
}

void kirocamera_manager::Register(kirocamera_manager_event_callback_t callback, void* user) {
    {
        const std::lock_guard lock(mutex_);
        callback_ = callback;
        user_ = user;
        for (const auto& camera : cameras_) {
            camera->announced = false;
        }
    }
    if (!manual_) {
        Post({ControlCommand::Kind::Announce, 0});
    }
}

kirocamera_error_t kirocamera_manager::SendEvent(kirocamera_t* camera,
                                                 kirocamera_manager_event_t event,
                                                 kirocamera_error_t error) {
    std::unique_lock lock(mutex_);
    if (camera == nullptr && event == KIROCAMERA_EVENT_CONNECT) {
        camera = &AddCamera();
    }
    if (camera == nullptr) {
        camera = LastCamera(&kirocamera::connected);
    }
    if (camera == nullptr && !cameras_.empty()) {
        camera = cameras_.back().get();
    }
    if (camera != nullptr && event == KIROCAMERA_EVENT_CONNECT) {
        camera->connected = true;
        camera->announced = callback_ != nullptr;
    } else if (camera != nullptr && event == KIROCAMERA_EVENT_DISCONNECT) {
        camera->connected = false;
        camera->session = false;
        PaceAnew();
    }
    const auto callback = callback_;
    void* const user = user_;
    lock.unlock();
    if (callback == nullptr) {
        return KIROCAMERA_SIM_ERROR_NO_RECEIVER;
    }
    callback(camera, event, error, user);
    return 0;
}

kirocamera_error_t kirocamera_manager::SendFrame() {
    const std::lock_guard frames(frameMutex_);
    std::unique_lock lock(mutex_);
    kirocamera* const camera = LastCamera(&kirocamera::session);
    if (camera == nullptr) {
        return KIROCAMERA_SIM_ERROR_SESSION;
    }
    const auto callback = camera->callback;
    void* const user = camera->user;
    if (callback == nullptr) {
        return KIROCAMERA_SIM_ERROR_NO_RECEIVER;
    }
    const kirosim::FrameRequest request = NextRequest(*camera);
    lock.unlock();
    callback(camera, &builder_.Build(request), user);
    return 0;
}

kirosim::FrameRequest kirocamera_manager::NextRequest(kirocamera& camera) const {
    kirosim::FrameRequest request;
    request.format = camera.format;
    request.modes = camera.modes;
    request.frameCount = ++camera.frames;
    const auto uptime = std::chrono::nanoseconds(Clock::now() - camera.powerOn).count();
    const auto rate = static_cast<std::uint64_t>(rate_ > 0 ? rate_ : 1);
    request.uptimeNanoseconds = manual_ ? camera.frames * std::uint64_t{1'000'000'000} / rate
                                        : static_cast<std::uint64_t>(uptime);
    return request;
}

void kirocamera_manager::WaitWhileHanging() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !hangs_ || quit_; });
}

kirocamera_t* kirocamera_manager::CurrentCamera() {
    const std::lock_guard lock(mutex_);
    return LastCamera(&kirocamera::connected);
}

kirocamera& kirocamera_manager::AddCamera() {
    const auto number = static_cast<unsigned>(cameras_.size() + 1);
    cameras_.push_back(std::make_unique<kirocamera>(*this, number));
    return *cameras_.back();
}

kirocamera* kirocamera_manager::LastCamera(bool kirocamera::*property) {
    for (auto camera = cameras_.rbegin(); camera != cameras_.rend(); ++camera) {
        if ((**camera).*property) {
            return camera->get();
        }
    }
    return nullptr;
}

void kirocamera_manager::PaceAnew() {
    ++pace_;
    changed_.notify_all();
}
