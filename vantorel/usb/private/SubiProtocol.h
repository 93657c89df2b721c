// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/usb/SubiState.h"
#include "vantorel/usb/private/SubiEndpoint.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace vantorel {

/**
 * The control protocol of the vendor function: serves one event of endpoint zero. SubiState
 * contains what must be kept after the event. SubiRequests.h lists the requests.
 *
 * A host is not trusted: no request accesses memory outside the buffers it names. Thread-bound.
 */
class SubiProtocol {
public:
    /**
     * @param function borrowed for the life of the object
     * @param kept borrowed for the life of the object
     * @param connected the camera's values; null when none is connected
     * @param celsius the spot temperature of the latest frame
     */
    SubiProtocol(SubiEndpoint& function, SubiState& kept,
                 std::shared_ptr<const SubiIdentity> connected, float celsius)
        : endpoint(function), state(kept), camera(std::move(connected)), temperature(celsius) {}

    /**
     * Reads an event and answers it if it is a control request. Prints a failed read.
     * @throws any exception of an observer, of reading the device's version, or std::bad_alloc
     */
    void ServeEvent();

private:
    struct Row {
        std::uint16_t number;
        int length;
        void (SubiProtocol::*handler)();
    };
    static const Row requests[];
    static const Row selectors[];

    void AnswerRequest();
    void Answer(const Row& row);

    // The handlers of the requests.
    void AnswerStatus();
    void AnswerChipNumber();
    void TakeSessionState();
    void AnswerSessionState();
    void Discard();
    void AnswerEight();
    void AnswerSelected();
    void TakeStopRequest();
    void TakeSelector();
    void TakeFactoryRange();
    void AnswerFactoryRange();
    void AnswerFactoryTailRequest();

    // The handlers of the selectors.
    void AnswerVersion();
    void FetchKernelLog();
    void AnswerKernelLog();
    void AnswerTwo();
    void AnswerPacketSize();
    void AnswerRoicId();
    void AnswerFactoryTail();
    void AnswerIdentity();
    void AnswerTemperature();

    void Reply(const void* data, std::size_t size);
    void ReplyWord(std::uint16_t word);
    template <typename T>
    void Take(T& value);
    void Stall();
    void Refuse(std::uint32_t reason);

    SubiEndpoint& endpoint;
    SubiState& state;
    const std::shared_ptr<const SubiIdentity> camera;
    const float temperature;

    // The request's setup stage; value and index are not used.
    std::uint8_t requestType = 0;
    std::uint8_t requestNumber = 0;
    std::uint16_t requestLength = 0;
};

} // namespace vantorel
