// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cstdint>

/**
 * The records of the kernel's display interface (DRM/KMS), byte for byte. They are declared here
 * because not every system that builds the library has the kernel's header. A field that ends in
 * "Pointer" holds an address in this process; a "count" is the number of entries that fit there.
 * Plain data, reentrant.
 */
namespace vantorel::drm {

/** One display mode. */
struct ModeInfo {
    std::uint32_t clock;
    std::uint16_t hdisplay, hsyncStart, hsyncEnd, htotal, hskew;
    std::uint16_t vdisplay, vsyncStart, vsyncEnd, vtotal, vscan;
    std::uint32_t vrefresh;
    std::uint32_t flags;
    std::uint32_t type;
    char name[32];
};

/** The resources of a card. */
struct CardResources {
    std::uint64_t framebufferIdPointer, crtcIdPointer, connectorIdPointer, encoderIdPointer;
    std::uint32_t countFramebuffers, countCrtcs, countConnectors, countEncoders;
    std::uint32_t minWidth, maxWidth, minHeight, maxHeight;
};

/** A connector, to which a display is attached. */
struct Connector {
    std::uint64_t encodersPointer, modesPointer, propertiesPointer, propertyValuesPointer;
    std::uint32_t countModes, countProperties, countEncoders;
    std::uint32_t encoderId, connectorId, connectorType, connectorTypeId;
    std::uint32_t connection, millimetersWide, millimetersHigh, subpixel, padding;
};

/** A CRTC, which scans a framebuffer out to connectors. */
struct Crtc {
    std::uint64_t setConnectorsPointer;
    std::uint32_t countConnectors;
    std::uint32_t crtcId;
    std::uint32_t framebufferId;
    std::uint32_t x, y;
    std::uint32_t gammaSize;
    std::uint32_t modeValid;
    ModeInfo mode;
};

/** Creation of a buffer that the processor draws into. */
struct CreateDumb {
    std::uint32_t height, width, bitsPerPixel, flags;
    std::uint32_t handle, pitch; // set by the kernel, as is the size
    std::uint64_t size;
};

/** Creation of a framebuffer from a buffer. */
struct AddFramebuffer {
    std::uint32_t framebufferId;
    std::uint32_t width, height, pitch, bitsPerPixel, depth;
    std::uint32_t handle;
};

/** Preparation of a buffer for mapping. */
struct MapDumb {
    std::uint32_t handle, padding;
    std::uint64_t offset;
};

/** Request to show another framebuffer at the next vertical sync. */
struct PageFlip {
    std::uint32_t crtcId, framebufferId, flags, reserved;
    std::uint64_t userData;
};

/** The event that the card sends when a flip has completed. */
struct FlipEvent {
    std::uint32_t type, length;
    std::uint64_t userData;
    std::uint32_t seconds, microseconds, sequence, crtcId;
};

} // namespace vantorel::drm
