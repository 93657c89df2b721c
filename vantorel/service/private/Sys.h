// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cstddef>
#include <ctime>

#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/types.h>

/**
 * Every system call that the library makes directly, as X(result, name, system function,
 * parameters, arguments). Not included are getpid() and clock_gettime(), which cannot fail here,
 * and the calls of the streams in the public classes, which write the log's lines and the
 * attributes of the port's functions. The tests generate their stand-in from this list, so a test
 * can script a call that is added here, and make it fail, without further work.
 *
 * Each wrapper behaves like its system function: -1 (MAP_FAILED for Mmap) and errno on failure, no
 * retries. Spawn returns the errno instead of setting it. A child's calls between fork and exec do
 * not use these wrappers.
 */
#define VANTOREL_SYSTEM_CALLS(X)                                                                   \
    X(int, Open, ::open, (const char* path, int flags, unsigned mode), (path, flags, mode))        \
    X(int, Close, ::close, (int fd), (fd))                                                         \
    X(ssize_t, Read, ::read, (int fd, void* buffer, std::size_t size), (fd, buffer, size))         \
    X(ssize_t, Write, ::write, (int fd, const void* data, std::size_t size), (fd, data, size))     \
    X(ssize_t, Sendfile, ::sendfile, (int to, int from, off_t* offset, std::size_t size),          \
      (to, from, offset, size))                                                                    \
    X(off_t, Lseek, ::lseek, (int fd, off_t offset, int whence), (fd, offset, whence))             \
    X(int, Ioctl, ::ioctl, (int fd, unsigned long request, void* argument),                        \
      (fd, request, argument))                                                                     \
    X(int, Poll, ::poll, (pollfd * fds, nfds_t count, int timeout), (fds, count, timeout))         \
    X(void*, Mmap, ::mmap,                                                                         \
      (void* address, std::size_t size, int protection, int flags, int fd, off_t offset),          \
      (address, size, protection, flags, fd, offset))                                              \
    X(int, Madvise, ::madvise, (void* address, std::size_t size, int advice),                      \
      (address, size, advice))                                                                     \
    X(int, Munmap, ::munmap, (void* address, std::size_t size), (address, size))                   \
    X(int, Nanosleep, ::nanosleep, (const timespec* request, timespec* remaining),                 \
      (request, remaining))                                                                        \
    X(int, Ftruncate, ::ftruncate, (int fd, off_t size), (fd, size))                               \
    X(int, Fsync, ::fsync, (int fd), (fd))                                                         \
    X(int, Fchmod, ::fchmod, (int fd, mode_t mode), (fd, mode))                                    \
    X(int, Stat, ::stat, (const char* path, struct stat* status), (path, status))                  \
    X(int, Lstat, ::lstat, (const char* path, struct stat* status), (path, status))                \
    X(int, Access, ::access, (const char* path, int mode), (path, mode))                           \
    X(int, Mkdir, ::mkdir, (const char* path, mode_t mode), (path, mode))                          \
    X(int, Rmdir, ::rmdir, (const char* path), (path))                                             \
    X(int, Unlink, ::unlink, (const char* path), (path))                                           \
    X(ssize_t, Getdents, ::getdents64, (int fd, void* entries, std::size_t size),                  \
      (fd, entries, size))                                                                         \
    X(int, Rename, ::rename, (const char* from, const char* to), (from, to))                       \
    X(int, Mount, ::mount,                                                                         \
      (const char* source, const char* target, const char* type, unsigned long flags,              \
       const void* data),                                                                          \
      (source, target, type, flags, data))                                                         \
    X(int, Umount, ::umount, (const char* target), (target))                                       \
    X(ssize_t, Readlink, ::readlink, (const char* path, char* buffer, std::size_t size),           \
      (path, buffer, size))                                                                        \
    X(pid_t, Fork, ::fork, (), ())                                                                 \
    X(int, Spawn, ::posix_spawn,                                                                   \
      (pid_t * child, const char* path, const posix_spawn_file_actions_t* actions,                 \
       const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment),     \
      (child, path, actions, attributes, arguments, environment))                                  \
    X(pid_t, Waitpid, ::waitpid, (pid_t pid, int* status, int options), (pid, status, options))    \
    X(int, Kill, ::kill, (pid_t pid, int signal), (pid, signal))                                   \
    X(void, Sync, ::sync, (), ())                                                                  \
    X(int, Reboot, ::reboot, (int command), (command))                                             \
    X(int, Eventfd, ::eventfd, (unsigned initial, int flags), (initial, flags))                    \
    X(int, Klogctl, ::klogctl, (int action, char* buffer, int size), (action, buffer, size))

namespace vantorel::sys {

#define VANTOREL_DECLARE_SYSTEM_CALL(result, name, target, parameters, arguments)                  \
    result name parameters;
VANTOREL_SYSTEM_CALLS(VANTOREL_DECLARE_SYSTEM_CALL)
#undef VANTOREL_DECLARE_SYSTEM_CALL

} // namespace vantorel::sys
