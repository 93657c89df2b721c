// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cstddef>
#include <cstdint>

/**
 * The control protocol as X(name, number, direction, length, handler). The device answers by this
 * table, the host's program uses its numbers and lengths, and a test compares docs/usb-control.md
 * with it. The handler is an operation of SubiProtocol.
 *
 * The device refuses a request with another length. It checks neither direction, type, recipient,
 * value nor index. Kept: a host program may rely on it.
 */
#define VANTOREL_SUBI_REQUESTS(X)                                                                  \
    X(status, 53, In, 4, AnswerStatus)                                                             \
    X(chipNumber, 54, In, 12, AnswerChipNumber)                                                    \
    X(setSession, 60, Out, 2, TakeSessionState)                                                    \
    X(session, 61, In, 2, AnswerSessionState)                                                      \
    X(ignored62, 62, Out, 2, Discard)                                                              \
    X(alwaysEight, 63, In, 2, AnswerEight)                                                         \
    X(selected, 78, In, anyLength, AnswerSelected)                                                 \
    X(stopSession, 84, Out, 2, TakeStopRequest)                                                    \
    X(select, 85, Out, 2, TakeSelector)                                                            \
    X(setFactoryRange, 86, Out, 6, TakeFactoryRange)                                               \
    X(factoryRange, 88, In, anyLength, AnswerFactoryRange)                                         \
    X(ignored89, 89, Out, 2, Discard)                                                              \
    X(ignored90, 90, Out, 2, Discard)                                                              \
    X(ignored91, 91, Out, 2, Discard)                                                              \
    X(factoryTail, 93, In, 64, AnswerFactoryTailRequest)

/** The data that `select` chooses and `selected` reads, as X(name, number, length, handler). */
#define VANTOREL_SUBI_SELECTORS(X)                                                                 \
    X(version, 0, 36, AnswerVersion)                                                               \
    X(fetchKernelLog, 13, 4, FetchKernelLog)                                                       \
    X(kernelLog, 14, anyLength, AnswerKernelLog)                                                   \
    X(alwaysTwo, 17, 2, AnswerTwo)                                                                 \
    X(packetSize, 18, 2, AnswerPacketSize)                                                         \
    X(roicId, 19, 2, AnswerRoicId)                                                                 \
    X(factoryTail, 21, 64, AnswerFactoryTail)                                                      \
    X(identity, 23, 66, AnswerIdentity)                                                            \
    X(temperature, 26, 2, AnswerTemperature)

namespace vantorel::subi {

enum class Direction { In, Out }; // as the host sees it

inline constexpr int anyLength = -1;

struct Request {
    std::uint8_t number;
    Direction direction;
    int length;
};

struct Selector {
    std::uint16_t number;
    int length;
};

#define VANTOREL_SUBI_REQUEST(name, number, direction, length, handler)                            \
    inline constexpr Request name{number, Direction::direction, length};
#define VANTOREL_SUBI_SELECTOR(name, number, length, handler)                                      \
    inline constexpr Selector name{number, length};
namespace request {
VANTOREL_SUBI_REQUESTS(VANTOREL_SUBI_REQUEST)
} // namespace request
namespace selector {
VANTOREL_SUBI_SELECTORS(VANTOREL_SUBI_SELECTOR)
} // namespace selector
#undef VANTOREL_SUBI_REQUEST
#undef VANTOREL_SUBI_SELECTOR

/** Selectors up to this one are answered or refused, those above it neither. */
inline constexpr std::uint16_t lastSelector = 27;

namespace status {
inline constexpr std::uint32_t success = 0;
inline constexpr std::uint32_t kernelLogFailed = 0x30000;
inline constexpr std::uint32_t stopRefused = 0x30300;
inline constexpr std::uint32_t unsupported = 0x50000;
} // namespace status

/** The value with which a host must not stop the session. */
inline constexpr std::uint16_t refusedStop = 3;

inline constexpr std::size_t factorySettingsSize = 5120;
inline constexpr std::size_t kernelLogPiece = 64;

} // namespace vantorel::subi
