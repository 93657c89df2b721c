#pragma once

#include <cerrno>
#include <vector>

/**
 * The ways in which each system call may fail, under the call's name: those of its manual page, and
 * where a driver answers the call, what drivers say when their device is busy, slow or gone.
 */
namespace vantorel::test::errnos {

using List = std::vector<int>;

inline const List Open = {EACCES, EBADF,  EBUSY,   EDQUOT,     EEXIST,    EFAULT,       EFBIG,
                          EINTR,  EINVAL, EISDIR,  ELOOP,      EMFILE,    ENAMETOOLONG, ENFILE,
                          ENODEV, ENOENT, ENOMEM,  ENOSPC,     ENOTDIR,   ENXIO,        EIO,
                          EPERM,  EROFS,  ETXTBSY, EOPNOTSUPP, EOVERFLOW, EAGAIN};
inline const List Close = {EBADF, EINTR, EIO, ENOSPC, EDQUOT};
inline const List Read = {EAGAIN, EBADF, EFAULT, EINTR,     EINVAL,   EIO,
                          EISDIR, ENXIO, ENODEV, ETIMEDOUT, ESHUTDOWN};
inline const List Write = {EAGAIN, EBADF, EDESTADDRREQ, EDQUOT, EFAULT, EFBIG,  EINTR,    EINVAL,
                           EIO,    EPERM, ENOSPC,       EPIPE,  ENXIO,  ENODEV, ESHUTDOWN};
inline const List Sendfile = {EAGAIN, EBADF,     EFAULT, EINVAL, EIO,
                              ENOMEM, EOVERFLOW, ESPIPE, ENOSPC};
inline const List Lseek = {EBADF, EINVAL, ENXIO, EOVERFLOW, ESPIPE};
inline const List Ioctl = {EBADF, EFAULT, EINVAL, ENOTTY, EACCES, EAGAIN,    EBUSY,
                           EINTR, EIO,    ENODEV, ENOMEM, ENXIO,  EREMOTEIO, ETIMEDOUT};
inline const List Poll = {EFAULT, EINTR, EINVAL, ENOMEM};
inline const List Mmap = {EACCES, EAGAIN, EBADF,     EEXIST, EINVAL, ENFILE,
                          ENODEV, ENOMEM, EOVERFLOW, EPERM,  ETXTBSY};
inline const List Madvise = {EACCES, EAGAIN, EBADF, EBUSY, EFAULT, EINVAL, EIO, ENOMEM, EPERM};
inline const List Munmap = {EINVAL, ENOMEM};
inline const List Nanosleep = {EFAULT, EINTR, EINVAL};
inline const List Ftruncate = {EACCES, EBADF, EFBIG, EINTR,  EINVAL,
                               EIO,    EPERM, EROFS, ENOSPC, ETXTBSY};
inline const List Access = {EACCES, EBADF,  EFAULT,  EINVAL, EIO,   ELOOP,  ENAMETOOLONG,
                            ENOENT, ENOMEM, ENOTDIR, EPERM,  EROFS, ETXTBSY};
inline const List Mkdir = {EACCES, EBADF,        EDQUOT, EEXIST, EFAULT, EINVAL,  ELOOP, EMLINK,
                           ENOENT, ENAMETOOLONG, ENOMEM, ENOSPC, EPERM,  ENOTDIR, EROFS};
inline const List Rmdir = {EACCES, EBUSY,  EFAULT,  EINVAL,    ELOOP, ENAMETOOLONG,
                           ENOENT, ENOMEM, ENOTDIR, ENOTEMPTY, EPERM, EROFS};
inline const List Unlink = {EACCES, EBUSY,  EFAULT, EIO,     EISDIR, ELOOP, ENAMETOOLONG,
                            EBADF,  ENOENT, ENOMEM, ENOTDIR, EPERM,  EROFS, EINVAL};
inline const List Mount = {EACCES, EBUSY,  EFAULT, EINVAL,  ELOOP,   EMFILE, ENAMETOOLONG, ENODEV,
                           ENOENT, ENOMEM, EPERM,  ENOTBLK, ENOTDIR, ENXIO,  EROFS};
inline const List Umount = {EAGAIN, EBUSY, EFAULT, EINVAL, ENAMETOOLONG, ENOENT, ENOMEM, EPERM};
inline const List Readlink = {EACCES, EBADF,  EFAULT,       EINVAL, EIO,
                              ELOOP,  ENOENT, ENAMETOOLONG, ENOMEM, ENOTDIR};
inline const List Fork = {EAGAIN, ENOMEM, ENOSYS};
inline const List Spawn = {EAGAIN, ENOMEM, ENOSYS, EACCES, ENOENT, ENOEXEC, E2BIG, EIO, ETXTBSY};
inline const List Waitpid = {EAGAIN, ECHILD, EINTR, EINVAL, ESRCH};
inline const List Kill = {EINVAL, EPERM, ESRCH};
inline const List Sync = {}; // cannot fail
inline const List Reboot = {EFAULT, EINVAL, EPERM};
inline const List Eventfd = {EINVAL, EMFILE, ENFILE, ENODEV, ENOMEM};
inline const List Klogctl = {EINVAL, ENOSYS, EPERM, EINTR};

} // namespace vantorel::test::errnos
