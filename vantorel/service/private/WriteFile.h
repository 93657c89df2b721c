// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace vantorel {

/** Writes all bytes to an open file; returns false when a write fails. */
bool WriteAll(int fd, std::string_view bytes);

/** Writes a file's content, or a folder's entries, to the medium; returns whether that succeeded.
 */
bool Flush(int fd);

/**
 * Creates or truncates a file, writes its content and flushes it to the medium.
 * @param mode the file's permissions; without it, a new file has 0666 less the process's mask
 * @return whether all of it succeeded
 */
bool WriteFile(const std::string& path, std::string_view content, std::optional<mode_t> mode = {});

/**
 * Replaces the content of a small file that must survive a power cut: afterwards the file has its
 * old content or the new one. The new content is written to PATH.new, which gets the file's
 * permissions and then its name. A file that cannot be replaced by an equal one is written in
 * place: a FIFO, a symbolic link, a mount point, a file of another owner or group, a file in a
 * folder that is full or read-only. A power cut may then leave it empty. A file that the process
 * may not write keeps its content. Failures are not reported.
 */
void SaveFile(const std::string& path, std::string_view content);

} // namespace vantorel
