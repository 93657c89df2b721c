// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

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
 * @param mode the permissions of a new file, before the process's mask
 * @return whether all of it succeeded
 */
bool WriteFile(const std::string& path, std::string_view content, mode_t mode = 0666);

/**
 * Replaces the content of a small file that must survive a power cut: afterwards the file has its
 * old content or the new one. The new content is written to PATH.new, which then takes the file's
 * name and its permissions, less the process's mask. A file that cannot be replaced is written in
 * place: a FIFO, a symbolic link, a mount point, a file in a folder that is full or read-only. A
 * power cut may then leave it empty. Failures are not reported.
 */
void SaveFile(const std::string& path, std::string_view content);

} // namespace vantorel
