#ifndef KIROSIM_EXPORT_H
#define KIROSIM_EXPORT_H

/** Everything else stays inside of the library. */
#define KIROCAMERA_EXPORT __attribute__((visibility("default")))

#endif
