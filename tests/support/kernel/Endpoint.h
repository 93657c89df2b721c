// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tests/support/ScriptedSys.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace vantorel::test {

using Bytes = std::vector<std::uint8_t>;

/** How a request was stalled: by an empty read, by an empty write, or not at all. */
enum class Stall { None, In, Out };

/** The result of one request as the host sees it. */
struct Outcome {
    std::optional<Bytes> reply;
    Stall stall = Stall::None;
    bool operator==(const Outcome&) const = default;
};

inline Bytes Word(std::size_t value) {
    return {static_cast<std::uint8_t>(value & 0xff), static_cast<std::uint8_t>(value >> 8)};
}

inline constexpr std::size_t subiEventSize = 12;

/** Returns the event of a control request. */
inline Bytes SetupPacket(std::uint8_t type, std::uint8_t request, std::size_t length) {
    Bytes event{type, request, 0x12, 0x34, 0x56, 0x78, 0, 0, 4, 0xaa, 0xaa, 0xaa};
    std::ranges::copy(Word(length), &event[6]);
    return event;
}

/** Handles reads and writes of endpoint zero between two events, as the kernel does. */
class EndpointZero {
public:
    /** Sets the next event, or none if it is empty, and the data that the host sends with it. */
    void Begin(Bytes event, std::optional<Bytes> hostData) {
        next = std::move(event);
        data = std::move(hostData);
        outcome = {};
        dataTaken = false;
    }
    bool IsPending() const { return next.has_value(); }

    ssize_t Read(void* to, std::size_t size) {
        if (size == 0) {
            outcome.stall = Stall::In;
            return FailWith(EL2HLT);
        }
        const bool isEvent = next.has_value();
        const Bytes bytes = (isEvent ? std::exchange(next, {}) : data).value_or(Bytes());
        dataTaken = dataTaken || (!isEvent && data);
        if (bytes.empty()) {
            return FailWith(EIDRM);
        }
        std::memset(to, 0xee, size); // bytes beyond a short transfer are garbage
        const std::size_t count = std::min(size, bytes.size());
        std::memcpy(to, bytes.data(), count);
        return static_cast<ssize_t>(count);
    }

    ssize_t Write(const void* from, std::size_t size, bool refuses) {
        if (size == 0 && refuses) {
            outcome.stall = Stall::Out;
            return FailWith(EL2HLT);
        }
        const auto* bytes = static_cast<const std::uint8_t*>(from);
        outcome.reply.emplace(bytes, bytes + size);
        return static_cast<ssize_t>(size);
    }

    Outcome outcome;
    bool dataTaken = false; // the data of the last request was read: a stall comes too late

private:
    std::optional<Bytes> next;
    std::optional<Bytes> data;
};

/**
 * Fakes the kernel's side of endpoint zero and of the vendor function's other system calls. The
 * function's own thread replies. A request returns when that thread waits for the next one.
 */
class FakeEndpoint {
public:
    FakeEndpoint() {
        const auto recorded = [this](const std::string& name) {
            return [this, name](const char* path, auto...) { return Step(name + path); };
        };
        sys->Mkdir = recorded("mkdir ");
        sys->Rmdir = recorded("rmdir ");
        sys->Unlink = recorded("unlink ");
        sys->Umount = recorded("umount ");
        sys->Mount = [this](const char* source, const char* target, const char* type, auto...) {
            return Step(std::string("mount ") + type + " " + source + " " + target);
        };
        sys->Fork = [this] { return Step("link") < 0 ? -1 : 4242; };
        sys->Waitpid = [](pid_t child, int* status, int) { return *status = 0, child; };
        sys->Eventfd = [](auto...) { return wakeFd; };
        sys->Open = [this](const char* path, int flags, mode_t) {
            if (!std::string(path).ends_with("/ep0")) {
                return ::open(path, flags);
            }
            const char* what = (flags & O_CLOEXEC) != 0 ? "open " : "open for every child ";
            return Step(std::string(what) + path) < 0 ? -1 : endpointFd;
        };
        sys->Close = [this](int fd) {
            return fd == endpointFd ? Step("close ep0") : fd == wakeFd ? 0 : ::close(fd);
        };
        sys->Poll = [this](pollfd* waits, auto...) { return Wait(waits); };
        sys->Read = [this](auto... arguments) { return Read(arguments...); };
        sys->Write = [this](auto... arguments) { return Write(arguments...); };
        sys->Klogctl = [](auto...) { return FailWith(EPERM); };
    }

    /** Sends one event, or none if it is empty, and waits until the function has handled it. */
    Outcome Send(Bytes event, std::optional<Bytes> hostData = {}) {
        std::unique_lock lock(mutex);
        zero.Begin(std::move(event), std::move(hostData));
        changed.notify_all();
        changed.wait(lock, [&] { return !zero.IsPending() && waiting; });
        return zero.outcome;
    }

    /** Sends a control request; one with data goes from host to device. */
    Outcome In(std::uint8_t request, std::size_t length) {
        return Send(SetupPacket(0xc1, request, length));
    }
    Outcome Out(std::uint8_t request, std::size_t length, std::optional<Bytes> data) {
        return Send(SetupPacket(0x41, request, length), std::move(data));
    }
    Outcome Out(std::uint8_t request, const Bytes& data) { return Out(request, data.size(), data); }

    /** Whether the device has read the data of the last request. */
    bool DataTaken() const { return zero.dataTaken; }

    ScopedSys sys;
    std::vector<std::string> steps; // read only while no request is pending
    std::string failingStep;        // prefix of the step that fails
    std::vector<Bytes> written;     // written to endpoint zero before the first request

    static constexpr int endpointFd = 9001;
    static constexpr int wakeFd = 9002;

private:
    int Step(const std::string& step) {
        steps.push_back(step);
        return !failingStep.empty() && step.starts_with(failingStep) ? FailWith(EPERM) : 0;
    }

    int Wait(pollfd* waits) {
        std::unique_lock lock(mutex);
        interrupted = !interrupted;
        if (interrupted) { // a signal arrives before each event
            return FailWith(EINTR);
        }
        waiting = true;
        changed.notify_all();
        changed.wait(lock, [&] { return woken || zero.IsPending(); });
        waiting = false;
        waits[0].revents = zero.IsPending() ? short{POLLIN} : short{0};
        waits[1].revents = woken ? short{POLLIN} : short{0};
        return 1;
    }

    ssize_t Read(int fd, void* data, std::size_t size) {
        if (fd != endpointFd) {
            return ::read(fd, data, size);
        }
        const std::lock_guard lock(mutex);
        if (size == subiEventSize && !zero.IsPending()) {
            std::abort(); // in the kernel, this read would block every unbinding of the port
        }
        return zero.Read(data, size);
    }

    ssize_t Write(int fd, const void* data, std::size_t size) {
        const std::lock_guard lock(mutex);
        if (fd == wakeFd) {
            woken = true;
            changed.notify_all();
            return static_cast<ssize_t>(size);
        }
        const auto* bytes = static_cast<const std::uint8_t*>(data);
        written.emplace_back(bytes, bytes + size);
        if (written.size() <= 2) {
            const int result = Step(written.size() == 1 ? "descriptors" : "strings");
            return result < 0 ? result : static_cast<ssize_t>(size);
        }
        return zero.Write(data, size, true);
    }

    std::mutex mutex;
    std::condition_variable changed;
    EndpointZero zero;
    bool interrupted = false;
    bool waiting = false;
    bool woken = false;
};

} // namespace vantorel::test
