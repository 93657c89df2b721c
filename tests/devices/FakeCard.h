#pragma once

#include "tests/support/IoctlRecorder.h"
#include "vantorel/devices/private/DrmRequests.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>

#include <sys/mman.h>

namespace vantorel::test {

/**
 * A display card in the place of the kernel's: answers the requests as the kernel does and hands
 * out memory for the buffers.
 */
class FakeCard {
public:
    explicit FakeCard(ScopedSys& sys) : ioctls(sys) {
        AnswerResources();
        AnswerBuffers();
        sys->Mmap = [this](void*, std::size_t bytes, int protection, int flags, int, off_t) {
            EXPECT_EQ(protection, PROT_READ | PROT_WRITE);
            EXPECT_EQ(flags, MAP_SHARED);
            // A mapping of its own: a child does not get it, and must not lose a part of the heap.
            void* memory = ::mmap(nullptr, bytes, protection, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            mapped[memory] = bytes;
            return memory;
        };
        sys->Munmap = [this](void* memory, std::size_t bytes) {
            EXPECT_EQ(mapped.at(memory), bytes);
            mapped.erase(memory);
            return ::munmap(memory, bytes);
        };
        sys->Poll = [](pollfd* fds, nfds_t, int timeout) {
            EXPECT_EQ(timeout, -1);
            return fds->revents = POLLIN, 1;
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

    std::vector<std::uint32_t> flips; // the framebuffers: 50 and 51
    std::map<void*, std::size_t> mapped;
    int eventsRead = 0;

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
        // Becoming master, and ceasing to be it: neither matters to the first opener.
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
            return crtcs.empty() || record.crtcId != crtcs[0] ? FailWith(ENOENT) : 0;
        });
        On<drm::SetCrtc>([](drm::Crtc&) { return 0; });
    }

    void AnswerBuffers() {
        On<drm::CreateDumbRequest>([this](drm::CreateDumb& record) {
            record.size = size;
            return record.width == 0 ? FailWith(EINVAL) : 0; // without a mode
        });
        On<drm::AddFramebufferRequest>([this](drm::AddFramebuffer& record) {
            record.framebufferId = 50 + framebuffers++;
            return 0;
        });
        On<drm::MapDumbRequest>([](drm::MapDumb&) { return 0; });
        On<drm::PageFlipRequest>([this](drm::PageFlip& record) {
            flips.push_back(record.framebufferId);
            return 0;
        });
    }

    std::uint32_t framebuffers = 0;
};

} // namespace vantorel::test
