// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/* The least of a UI library: a press of the power button raises whatever event was registered. */
#include <VantorelUI.h>

static void (*handler)(void*);
static void* context;

void RegisterUIEvent(int event, void (*called)(void*), void* with) {
    (void)event;
    handler = called;
    context = with;
}

void Button1Down(void) {
    handler(context);
    handler = 0; /* so that the call above is not the last thing, and returns to here */
}
