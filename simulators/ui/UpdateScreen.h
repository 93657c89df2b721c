// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "PlainScreens.h"

namespace vantorelui {

/** Shown while a host is attached, with the progress of a firmware update. */
class UpdateScreen : public Screen {
public:
    void Enter(Scene& scene) override;
    void Refresh(Scene& scene) override;

private:
    void DrawPhase(Scene& scene) const;

    Shown<UpdatePhase> phase;
    Shown<int> dots;              ///< animation of the wait
    Shown<std::uint8_t> progress; ///< percent, while uploading
    IdentityFooter footer;
};

} // namespace vantorelui
