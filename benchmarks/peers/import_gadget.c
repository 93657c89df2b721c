// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/* Composes a gadget from a scheme file with libusbgx and binds it, as its command-line tool does.
 * Prints the microseconds from the first call until the gadget is bound.
 *
 * Usage: import_gadget SCHEME-FILE CONTROLLER
 */
#include <stdio.h>
#include <time.h>
#include <usbg/usbg.h>

static int Check(int result, const char* what) {
    if (result != USBG_SUCCESS) {
        fprintf(stderr, "%s: %s\n", what, usbg_strerror(result));
    }
    return result;
}

int main(int count, char** arguments) {
    usbg_state* state;
    usbg_gadget* gadget;
    struct timespec begin, end;
    if (count != 3) {
        return 2;
    }
    clock_gettime(CLOCK_MONOTONIC, &begin);
    if (Check(usbg_init("/config", &state), "init") != 0) {
        return 1;
    }
    FILE* scheme = fopen(arguments[1], "r");
    if (scheme == NULL || Check(usbg_import_gadget(state, scheme, "g0", &gadget), "import") != 0) {
        fprintf(stderr, "line %d: %s\n", usbg_get_gadget_import_error_line(state),
                usbg_get_gadget_import_error_text(state));
        return 1;
    }
    fclose(scheme);
    /* A scheme file cannot contain these. */
    struct usbg_gadget_os_descs microsoft = {true, 205, "MSFT100"};
    if (Check(usbg_set_gadget_os_descs(gadget, &microsoft), "os_desc") != 0) {
        return 1;
    }
    if (Check(usbg_enable_gadget(gadget, usbg_get_udc(state, arguments[2])), "bind") != 0) {
        return 1;
    }
    clock_gettime(CLOCK_MONOTONIC, &end);
    printf("bound %ld us\n",
           (end.tv_sec - begin.tv_sec) * 1000000 + (end.tv_nsec - begin.tv_nsec) / 1000);
    usbg_cleanup(state);
    return 0;
}
