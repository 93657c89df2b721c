// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/devices/DrmRecords.h"

#if __has_include(<drm/drm_mode.h>)
#include <drm/drm.h>
#include <drm/drm_mode.h>
#endif

namespace vantorel::drm {

inline constexpr unsigned long setMaster = 0x641e;
inline constexpr unsigned long dropMaster = 0x641f;

/** A request number and its record; the number includes the record's size. */
template <typename RecordType, unsigned long requestNumber>
struct Request {
    using Record = RecordType;
    static constexpr unsigned long number = requestNumber;
    static_assert(sizeof(Record) == ((number >> 16) & 0x3fff));
};

using GetResources = Request<CardResources, 0xc04064a0>;
using GetCrtc = Request<Crtc, 0xc06864a1>;
using SetCrtc = Request<Crtc, 0xc06864a2>;
using GetConnector = Request<Connector, 0xc05064a7>;
using AddFramebufferRequest = Request<AddFramebuffer, 0xc01c64ae>;
using PageFlipRequest = Request<PageFlip, 0xc01864b0>;
using CreateDumbRequest = Request<CreateDumb, 0xc02064b2>;
using MapDumbRequest = Request<MapDumb, 0xc01064b3>;

inline constexpr std::uint32_t pageFlipEvent = 1;

static_assert(sizeof(ModeInfo) == 68 && sizeof(FlipEvent) == 32);

#if __has_include(<drm/drm_mode.h>)
#define VANTOREL_SAME_FIELD(ours, field, theirs, kernelField)                                      \
    static_assert(offsetof(ours, field) == offsetof(theirs, kernelField) &&                        \
                  sizeof(ours::field) == sizeof(theirs::kernelField))
static_assert(setMaster == DRM_IOCTL_SET_MASTER && dropMaster == DRM_IOCTL_DROP_MASTER);
static_assert(GetResources::number == DRM_IOCTL_MODE_GETRESOURCES);
static_assert(GetCrtc::number == DRM_IOCTL_MODE_GETCRTC);
static_assert(SetCrtc::number == DRM_IOCTL_MODE_SETCRTC);
static_assert(GetConnector::number == DRM_IOCTL_MODE_GETCONNECTOR);
static_assert(AddFramebufferRequest::number == DRM_IOCTL_MODE_ADDFB);
static_assert(PageFlipRequest::number == DRM_IOCTL_MODE_PAGE_FLIP);
static_assert(CreateDumbRequest::number == DRM_IOCTL_MODE_CREATE_DUMB);
static_assert(MapDumbRequest::number == DRM_IOCTL_MODE_MAP_DUMB);
static_assert(pageFlipEvent == DRM_MODE_PAGE_FLIP_EVENT);
static_assert(sizeof(ModeInfo) == sizeof(drm_mode_modeinfo));
static_assert(sizeof(FlipEvent) == sizeof(drm_event_vblank));
VANTOREL_SAME_FIELD(ModeInfo, hdisplay, drm_mode_modeinfo, hdisplay);
VANTOREL_SAME_FIELD(ModeInfo, vdisplay, drm_mode_modeinfo, vdisplay);
VANTOREL_SAME_FIELD(CardResources, framebufferIdPointer, drm_mode_card_res, fb_id_ptr);
VANTOREL_SAME_FIELD(CardResources, crtcIdPointer, drm_mode_card_res, crtc_id_ptr);
VANTOREL_SAME_FIELD(CardResources, connectorIdPointer, drm_mode_card_res, connector_id_ptr);
VANTOREL_SAME_FIELD(CardResources, encoderIdPointer, drm_mode_card_res, encoder_id_ptr);
VANTOREL_SAME_FIELD(CardResources, countFramebuffers, drm_mode_card_res, count_fbs);
VANTOREL_SAME_FIELD(CardResources, countCrtcs, drm_mode_card_res, count_crtcs);
VANTOREL_SAME_FIELD(CardResources, countConnectors, drm_mode_card_res, count_connectors);
VANTOREL_SAME_FIELD(CardResources, countEncoders, drm_mode_card_res, count_encoders);
VANTOREL_SAME_FIELD(Connector, encodersPointer, drm_mode_get_connector, encoders_ptr);
VANTOREL_SAME_FIELD(Connector, modesPointer, drm_mode_get_connector, modes_ptr);
VANTOREL_SAME_FIELD(Connector, propertiesPointer, drm_mode_get_connector, props_ptr);
VANTOREL_SAME_FIELD(Connector, propertyValuesPointer, drm_mode_get_connector, prop_values_ptr);
VANTOREL_SAME_FIELD(Connector, countModes, drm_mode_get_connector, count_modes);
VANTOREL_SAME_FIELD(Connector, countProperties, drm_mode_get_connector, count_props);
VANTOREL_SAME_FIELD(Connector, countEncoders, drm_mode_get_connector, count_encoders);
VANTOREL_SAME_FIELD(Connector, connectorId, drm_mode_get_connector, connector_id);
VANTOREL_SAME_FIELD(Crtc, setConnectorsPointer, drm_mode_crtc, set_connectors_ptr);
VANTOREL_SAME_FIELD(Crtc, countConnectors, drm_mode_crtc, count_connectors);
VANTOREL_SAME_FIELD(Crtc, crtcId, drm_mode_crtc, crtc_id);
VANTOREL_SAME_FIELD(Crtc, framebufferId, drm_mode_crtc, fb_id);
VANTOREL_SAME_FIELD(Crtc, modeValid, drm_mode_crtc, mode_valid);
VANTOREL_SAME_FIELD(Crtc, mode, drm_mode_crtc, mode);
VANTOREL_SAME_FIELD(CreateDumb, height, drm_mode_create_dumb, height);
VANTOREL_SAME_FIELD(CreateDumb, width, drm_mode_create_dumb, width);
VANTOREL_SAME_FIELD(CreateDumb, bitsPerPixel, drm_mode_create_dumb, bpp);
VANTOREL_SAME_FIELD(CreateDumb, handle, drm_mode_create_dumb, handle);
VANTOREL_SAME_FIELD(CreateDumb, pitch, drm_mode_create_dumb, pitch);
VANTOREL_SAME_FIELD(CreateDumb, size, drm_mode_create_dumb, size);
VANTOREL_SAME_FIELD(AddFramebuffer, framebufferId, drm_mode_fb_cmd, fb_id);
VANTOREL_SAME_FIELD(AddFramebuffer, width, drm_mode_fb_cmd, width);
VANTOREL_SAME_FIELD(AddFramebuffer, height, drm_mode_fb_cmd, height);
VANTOREL_SAME_FIELD(AddFramebuffer, pitch, drm_mode_fb_cmd, pitch);
VANTOREL_SAME_FIELD(AddFramebuffer, bitsPerPixel, drm_mode_fb_cmd, bpp);
VANTOREL_SAME_FIELD(AddFramebuffer, depth, drm_mode_fb_cmd, depth);
VANTOREL_SAME_FIELD(AddFramebuffer, handle, drm_mode_fb_cmd, handle);
VANTOREL_SAME_FIELD(MapDumb, handle, drm_mode_map_dumb, handle);
VANTOREL_SAME_FIELD(MapDumb, offset, drm_mode_map_dumb, offset);
VANTOREL_SAME_FIELD(PageFlip, crtcId, drm_mode_crtc_page_flip, crtc_id);
VANTOREL_SAME_FIELD(PageFlip, framebufferId, drm_mode_crtc_page_flip, fb_id);
VANTOREL_SAME_FIELD(PageFlip, flags, drm_mode_crtc_page_flip, flags);
VANTOREL_SAME_FIELD(PageFlip, userData, drm_mode_crtc_page_flip, user_data);
#undef VANTOREL_SAME_FIELD
#endif

} // namespace vantorel::drm
