#pragma once

#include "tests/support/IoctlRecorder.h"
#include "vantorel/devices/private/DrmRequests.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>

#include <sys/mman.h>

namespace vantorel::test {

/**
 * A display card in the place of the kernel's: answers the requests as the kernel does, keeps the
 * records for the test to look at and hands out memory for the buffers.
 */
class FakeCard {
public:
    explicit FakeCard(ScopedSys& sys) : ioctls(sys) {
        AnswerResources();
        AnswerBuffers();
        sys->Mmap = [this](void*, std::size_t bytes, int protection, int flags, int, off_t offset) {
            EXPECT_EQ(protection, PROT_READ | PROT_WRITE);
            EXPECT_EQ(flags, MAP_SHARED);
            offsets.push_back(offset);
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
    std::uint32_t connectorsByThen = 0; // how many appear between two questions
    std::uint32_t pitch = 48 * 4;
    std::uint64_t size = 48 * 4 * 64;

    std::vector<drm::CreateDumb> created;
    std::vector<drm::AddFramebuffer> framebuffers;
    std::vector<drm::PageFlip> flips;
    std::vector<off_t> offsets;
    drm::Crtc shown{};
    std::uint32_t shownConnector = 0;
    std::map<void*, std::size_t> mapped;
    int eventsRead = 0;

private:
    static drm::ModeInfo Mode(std::uint16_t width, std::uint16_t height) {
        drm::ModeInfo mode{};
        mode.hdisplay = width;
        mode.vdisplay = height;
        mode.vrefresh = 60;
        return mode;
    }

    template <typename Entry>
    static Entry* At(std::uint64_t pointer) {
        return reinterpret_cast<Entry*>(static_cast<std::uintptr_t>(pointer));
    }
    template <typename Entry>
    static void Fill(std::uint64_t pointer, std::uint32_t& count, const std::vector<Entry>& from) {
        std::copy_n(from.begin(), std::min<std::size_t>(count, from.size()), At<Entry>(pointer));
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
            connectors.resize(connectors.size() + connectorsByThen, 99);
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
        On<drm::SetCrtc>([this](drm::Crtc& record) {
            shown = record;
            shownConnector = *At<std::uint32_t>(record.setConnectorsPointer);
            return 0;
        });
    }

    void AnswerBuffers() {
        On<drm::CreateDumbRequest>([this](drm::CreateDumb& record) {
            record.pitch = pitch;
            record.size = size;
            record.handle = 40 + static_cast<std::uint32_t>(created.size());
            created.push_back(record);
            return record.width == 0 ? FailWith(EINVAL) : 0; // without a mode
        });
        On<drm::AddFramebufferRequest>([this](drm::AddFramebuffer& record) {
            record.framebufferId = 50 + static_cast<std::uint32_t>(framebuffers.size());
            framebuffers.push_back(record);
            return 0;
        });
        On<drm::MapDumbRequest>([](drm::MapDumb& record) {
            record.offset = 0x1'0000'0000 + record.handle * 0x1000;
            return 0;
        });
        On<drm::PageFlipRequest>([this](drm::PageFlip& record) {
            flips.push_back(record);
            return 0;
        });
    }
};

} // namespace vantorel::test
