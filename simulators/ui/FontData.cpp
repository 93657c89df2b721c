// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "FontData.h"

// The assembler embeds the files: this is fast and works for every target.
// VANTORELUI_FONT_* are the paths that CMake found.
#define VANTORELUI_EMBED(SYMBOL, PATH)                                                             \
    __asm__(".pushsection .rodata\n"                                                               \
            ".balign 16\n"                                                                         \
            ".global " SYMBOL "\n"                                                                 \
            ".hidden " SYMBOL "\n" SYMBOL ":\n"                                                    \
            ".incbin \"" PATH "\"\n"                                                               \
            ".popsection\n")

VANTORELUI_EMBED("vantoreluiFontRegular", VANTORELUI_FONT_REGULAR);
VANTORELUI_EMBED("vantoreluiFontBold", VANTORELUI_FONT_BOLD);
