// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "host/Fuzz.h"
#include "host/Protocol.h"
#include "vantorel/usb/private/SubiRequests.h"

#include <array>
#include <cstdio>

namespace vantorel::host {
namespace {

using namespace subi;

constexpr std::uint8_t firstRequest = request::status.number;
constexpr std::uint8_t lastRequest = request::factoryTail.number;

/** After this many consecutive requests without an answer, the device counts as lost. */
constexpr int mostSilent = 3;

/** Lengths that the device accepts, and their neighbours. */
constexpr std::array<std::uint16_t, 16> lengths = {0,  1,  2,  3,  4,  5,  6,   12,
                                                   35, 36, 63, 64, 65, 66, 512, 4096};

/** Requests that the device accepts; the other random requests are mostly invalid. */
struct Shape {
    constexpr Shape(const Request& accepted) : Shape(accepted, accepted.length) {}
    constexpr Shape(const Request& accepted, int bytes)
        : request(accepted.number),
          in(accepted.direction == Direction::In),
          length(static_cast<std::uint16_t>(bytes)) {}

    std::uint8_t request;
    bool in;
    std::uint16_t length;
};
// Those on which later answers depend come several times. A seed stands for the same requests only
// as long as this order stays.
constexpr std::array<Shape, 24> shapes = {{{request::status},
                                           {request::chipNumber},
                                           {request::setSession},
                                           {request::session},
                                           {request::ignored62},
                                           {request::alwaysEight},
                                           {request::selected, selector::version.length},
                                           {request::selected, selector::fetchKernelLog.length},
                                           {request::selected, selector::temperature.length},
                                           {request::selected, selector::factoryTail.length},
                                           {request::selected, selector::identity.length},
                                           {request::stopSession},
                                           {request::select},
                                           {request::select},
                                           {request::select},
                                           {request::setFactoryRange},
                                           {request::setFactoryRange},
                                           {request::factoryRange, 8},
                                           {request::factoryRange, 32},
                                           {request::factoryRange, 4096},
                                           {request::ignored89},
                                           {request::ignored90},
                                           {request::ignored91},
                                           {request::factoryTail}}};

std::string Describe(const FuzzRequest& request, std::uint64_t number) {
    char text[128];
    std::snprintf(text, sizeof text,
                  "random request %llu (%s, number %u, recipient %u, value %u, index %u, length "
                  "%zu)",
                  static_cast<unsigned long long>(number), request.in ? "in" : "out",
                  unsigned{request.setup.request}, unsigned{request.setup.recipient},
                  unsigned{request.setup.value}, unsigned{request.setup.index},
                  request.in ? std::size_t{request.length} : request.data.size());
    return text;
}

void Send(Transport& transport, const FuzzRequest& request) {
    if (request.in) {
        std::vector<std::uint8_t> answer(request.length);
        transport.In(request.setup, answer);
    } else {
        transport.Out(request.setup, request.data);
    }
}

/** Changes a request that would start or stop the session into one without effect. */
void Tame(FuzzRequest& request, std::uint16_t session) {
    if (request.length != 2) {
        return;
    }
    if (request.setup.request == request::setSession.number && request.in) {
        request.length = 1; // refused; two bytes without data would count as a stop
    } else if (request.setup.request == request::setSession.number) {
        request.data = {static_cast<std::uint8_t>(session & 0xff),
                        static_cast<std::uint8_t>(session >> 8)};
    } else if (request.setup.request == request::stopSession.number) {
        request.data = {refusedStop, 0};
    }
}

} // namespace

FuzzRequest FuzzSource::Next() {
    FuzzRequest request;
    const bool shaped = reversed || Below(2) == 0;
    if (shaped) {
        const Shape& shape = shapes[static_cast<std::size_t>(Below(shapes.size()))];
        request.setup.request = shape.request;
        request.in = shape.in != reversed;
        request.length = shape.length;
    } else {
        request.setup.request = static_cast<std::uint8_t>(
            Below(2) == 0 ? Below(256) : firstRequest + Below(lastRequest - firstRequest + 1));
        request.in = Below(2) == 0;
        request.length = Length();
    }
    request.setup.recipient = static_cast<std::uint8_t>(Below(4) == 0 ? Below(4) : 0);
    request.setup.value = static_cast<std::uint16_t>(Below(2) == 0 ? 0 : Below(65536));
    request.setup.index = static_cast<std::uint16_t>(Below(2) == 0 ? 0 : Below(65536));
    if (!request.in) {
        Fill(request);
    }
    return request;
}

void FuzzSource::Fill(FuzzRequest& request) {
    const bool small = Below(4) != 0; // most requests take a word
    for (std::size_t i = 0; i < request.length; ++i) {
        const std::uint64_t byte = !small ? Below(256) : i % 2 == 0 ? Below(4) * Below(10) : 0;
        request.data.push_back(static_cast<std::uint8_t>(byte));
    }
}

std::uint16_t FuzzSource::Length() {
    return static_cast<std::uint16_t>(
        Below(4) == 0 ? Below(largestTransfer + 1)
                      : lengths[static_cast<std::size_t>(Below(lengths.size()))]);
}

FuzzSummary RunFuzz(Transport& transport, const FuzzPlan& plan) {
    Protocol protocol(transport);
    const IdentityRecord before = protocol.Identity();
    const std::uint16_t session = protocol.SessionState();
    FuzzSource source(plan.seed, plan.reversed);
    FuzzSummary summary;
    int silentInARow = 0;
    std::string lost; // the first of them
    for (std::uint64_t number = 0; number < plan.count; ++number) {
        FuzzRequest request = source.Next();
        if (!plan.sessions) {
            Tame(request, session);
        }
        try {
            Send(transport, request);
            ++summary.answered;
            silentInARow = 0;
        } catch (const TransportError& error) {
            const bool stalled = error.Why() == Failure::Stall;
            const bool silent = error.Why() == Failure::Timeout;
            if (silentInARow == 0) {
                lost = Describe(request, number);
            }
            silentInARow = stalled ? 0 : silentInARow + 1;
            if (silentInARow == mostSilent || (!stalled && !silent)) {
                throw TransportError(error.Why(),
                                     std::string(error.what()) + " It was lost at " + lost + ".");
            }
            ++(stalled ? summary.refused : summary.silent);
        }
    }
    Protocol after(transport);
    summary.identityKept = after.Identity() == before;
    if (after.SessionState() != session) {
        after.SetSessionState(session);
    }
    return summary;
}

} // namespace vantorel::host
