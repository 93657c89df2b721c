// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <functional>
#include <string_view>

namespace vantorel::test {

/**
 * What the standard library calls for its file streams. The log's lines and the attributes of the
 * port's functions are streams of public classes, so these calls are not in the library's list.
 */
inline constexpr std::string_view streamCalls[] = {"StreamOpen", "StreamClose", "StreamSeek",
                                                   "StreamWrite", "StreamWritev"};

/**
 * Called before each such call on a file of the library: 0 lets it pass, an errno fails it, a
 * negative Cut cuts its transfer. Empty: no call is intercepted.
 */
inline std::function<int(std::string_view call)> streamFault;

} // namespace vantorel::test
