#pragma once

/** The typefaces, embedded so that the library opens no file at run time. */
extern "C" {
extern const unsigned char vantoreluiFontRegular[];
extern const unsigned char vantoreluiFontBold[];
}
