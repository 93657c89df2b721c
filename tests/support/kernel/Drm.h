// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tests/support/kernel/Ioctl.h"
#include "vantorel/devices/private/DrmRequests.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>

#include <sys/mman.h>

namespace vantorel::test {

/**
 * Replaces the kernel's display card: handles requests as the kernel does and provides memory for
 * the buffers.
 */
class FakeCard {
public:
    explicit FakeCard(ScopedSys& sys) : ioctls(sys) {
        AnswerResources();
        AnswerBuffers();
        sys->Mmap = [this](void*, std::size_t bytes, int protection, int flags, int, off_t offset) {
            EXPECT_EQ(protection, PROT_READ | PROT_WRITE);
            EXPECT_EQ(flags, MAP_SHARED);
            if (offset == 0 || offset > OffsetOf(buffers)) { // not a buffer of this card
                errno = EINVAL;
                return MAP_FAILED;
            }
            // A separate mapping: a child does not inherit it, and must not lose a part of the
            // heap.
            void* memory = ::mmap(nullptr, bytes, protection, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            mapped[memory] = bytes;
            return memory;
        };
        sys->Munmap = [this](void* memory, std::size_t bytes) {
            EXPECT_EQ(mapped.at(memory), bytes);
            mapped.erase(memory);
            return ::munmap(memory, bytes);
        };
        sys->Poll = [this](pollfd* fds, nfds_t, int timeout) {
            const bool isReadable = eventsSent > eventsRead;
            EXPECT_TRUE(isReadable || (timeout >= 0 && timeout <= 1000)) << "an unlimited wait";
            if (!isReadable) {
                timeouts.push_back(timeout);
            }
            fds->revents = isReadable ? POLLIN : 0;
            return isReadable ? 1 : 0;
        };
        sys->Read = [this](int, void*, std::size_t bytes) {
            ++eventsRead;
            return static_cast<ssize_t>(bytes);
        };
    }

    IoctlRecorder ioctls;
    std::vector<std::uint32_t> crtcs{31, 32};
    std::vector<std::uint32_t> connectors{21, 22, 23};
    std::vector<drm::ModeInfo> modes{Mode(48, 64), Mode(640, 480)};
    std::uint64_t size = 48 * 4 * 64;

    std::uint32_t shown = 0;          // the framebuffer that was set with the mode
    std::vector<std::uint32_t> flips; // the framebuffers: 50 and 51
    std::map<void*, std::size_t> mapped;
    int eventsSent = 0;
    int eventsRead = 0;
    std::vector<int> timeouts; // of the waits without an event, in milliseconds
    bool losesEvents = false;  // if true, the first flip stays pending
    bool isPending = false;

private:
    static drm::ModeInfo Mode(std::uint16_t width, std::uint16_t height) {
        drm::ModeInfo mode{};
        mode.hdisplay = width;
        mode.vdisplay = height;
        return mode;
    }

    template <typename Entry>
    static void Fill(std::uint64_t pointer, std::uint32_t& count, const std::vector<Entry>& from) {
        auto* const to = reinterpret_cast<Entry*>(static_cast<std::uintptr_t>(pointer));
        std::copy_n(from.begin(), std::min<std::size_t>(count, from.size()), to);
        count = static_cast<std::uint32_t>(from.size());
    }

    template <typename Request, typename Answer>
    void On(Answer answer) {
        ioctls.On<typename Request::Record>(Request::number, answer);
    }

    void AnswerResources() {
        // The first process that opens the card is already master, so both requests may fail.
        ioctls.OnPlain(drm::setMaster, [](void*) { return FailWith(EACCES); });
        ioctls.OnPlain(drm::dropMaster, [](void*) { return FailWith(EACCES); });
        On<drm::GetResources>([this](drm::CardResources& record) {
            Fill(record.crtcIdPointer, record.countCrtcs, crtcs);
            Fill(record.connectorIdPointer, record.countConnectors, connectors);
            return 0;
        });
        On<drm::GetConnector>([this](drm::Connector& record) {
            if (connectors.empty() || record.connectorId != connectors[0]) {
                return FailWith(ENOENT);
            }
            Fill(record.modesPointer, record.countModes, modes);
            return 0;
        });
        On<drm::GetCrtc>([this](drm::Crtc& record) {
            record.x = record.y = 16; // left by the card's previous owner
            return crtcs.empty() || record.crtcId != crtcs[0] ? FailWith(ENOENT) : 0;
        });
        On<drm::SetCrtc>([this](drm::Crtc& record) {
            if (record.modeValid != 1 || record.mode.hdisplay != modes[0].hdisplay ||
                record.countConnectors != 1 || IdAt(record.setConnectorsPointer) != connectors[0]) {
                return FailWith(EINVAL);
            }
            if (record.x != 0 || record.y != 0) {
                return FailWith(ENOSPC); // the viewport leaves the buffer
            }
            shown = record.framebufferId;
            return record.crtcId == crtcs[0] ? 0 : FailWith(ENOENT);
        });
    }

    void AnswerBuffers() {
        On<drm::CreateDumbRequest>([this](drm::CreateDumb& record) {
            record.size = size;
            record.pitch = Pitch(record.width);
            record.handle = ++buffers;
            return record.width == 0 ? FailWith(EINVAL) : 0; // no mode is set
        });
        On<drm::AddFramebufferRequest>([this](drm::AddFramebuffer& record) {
            if (record.pitch != Pitch(record.width) || record.bitsPerPixel != 32 ||
                record.depth != 24) { // a depth of 32 would enable blending
                return FailWith(EINVAL);
            }
            record.framebufferId = 50 + framebuffers++;
            return record.handle == buffers ? 0 : FailWith(ENOENT);
        });
        On<drm::MapDumbRequest>([this](drm::MapDumb& record) {
            record.offset = static_cast<std::uint64_t>(OffsetOf(record.handle));
            return record.handle == buffers ? 0 : FailWith(ENOENT);
        });
        On<drm::PageFlipRequest>([this](drm::PageFlip& record) {
            if (isPending) {
                return FailWith(EBUSY);
            }
            flips.push_back(record.framebufferId);
            isPending = losesEvents;
            eventsSent += record.flags == drm::pageFlipEvent && !losesEvents ? 1 : 0;
            return record.crtcId == crtcs[0] ? 0 : FailWith(ENOENT);
        });
    }

    /** Some cards pad the lines of a framebuffer. */
    static std::uint32_t Pitch(std::uint32_t width) { return (width * 4 + 255) / 256 * 256; }
    static off_t OffsetOf(std::uint32_t handle) { return off_t{handle} << 24; }
    static std::uint32_t IdAt(std::uint64_t pointer) {
        return *reinterpret_cast<const std::uint32_t*>(static_cast<std::uintptr_t>(pointer));
    }

    std::uint32_t buffers = 0;
    std::uint32_t framebuffers = 0;
};

} // namespace vantorel::test
