#pragma once

namespace vantorel {

/** Where a firmware update leaves the stream that reprograms the gauge at the next start. */
inline constexpr const char* flashStreamDirectory = "/tmp/var/update";
inline constexpr const char* flashStreamFile = "/tmp/var/update/bqfs";

} // namespace vantorel
