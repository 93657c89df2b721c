// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <mutex>

// The lock annotations of clang's thread-safety analysis. They are active only where the library
// itself is compiled with clang, which then reports a guarded member that is used without its lock
// as an error. Other compilers, and applications, see empty macros.
#ifdef VANTOREL_CHECK_LOCKS
#define VANTOREL_LOCK_ATTRIBUTE(attribute) __attribute__((attribute))
#else
#define VANTOREL_LOCK_ATTRIBUTE(attribute)
#endif

/** The type is a lock that a thread can hold. */
#define VANTOREL_CAPABILITY VANTOREL_LOCK_ATTRIBUTE(capability("mutex"))
/** Objects of the type hold a lock for their lifetime. */
#define VANTOREL_SCOPED_CAPABILITY VANTOREL_LOCK_ATTRIBUTE(scoped_lockable)
/** The member is used only by a thread that holds the mutex. */
#define VANTOREL_GUARDED_BY(mutex) VANTOREL_LOCK_ATTRIBUTE(guarded_by(mutex))
/** The object that the member points to is used only by a thread that holds the mutex. */
#define VANTOREL_PT_GUARDED_BY(mutex) VANTOREL_LOCK_ATTRIBUTE(pt_guarded_by(mutex))
/** The caller of the operation holds the mutex. */
#define VANTOREL_REQUIRES(mutex) VANTOREL_LOCK_ATTRIBUTE(requires_capability(mutex))
/** The caller of the operation does not hold the mutex, which the operation locks. */
#define VANTOREL_EXCLUDES(mutex) VANTOREL_LOCK_ATTRIBUTE(locks_excluded(mutex))
#define VANTOREL_ACQUIRE(...) VANTOREL_LOCK_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define VANTOREL_RELEASE(...) VANTOREL_LOCK_ATTRIBUTE(release_capability(__VA_ARGS__))

namespace vantorel {

/**
 * A mutex of the standard library that the compiler can check; same size and layout. Thread-safe.
 * Lock it with Lock.
 */
template <typename Native>
class VANTOREL_CAPABILITY CheckedMutex {
public:
    /** Locks the mutex; waits while another thread holds it. */
    void lock() VANTOREL_ACQUIRE() { native.lock(); }
    /** Unlocks the mutex, which the calling thread holds. */
    void unlock() VANTOREL_RELEASE() { native.unlock(); }

private:
    Native native;
};

using Mutex = CheckedMutex<std::mutex>;
using RecursiveMutex = CheckedMutex<std::recursive_mutex>;

/** Holds a mutex for the lifetime of the object. Thread-bound. */
template <typename M>
class VANTOREL_SCOPED_CAPABILITY Lock {
public:
    /** @param toHold borrowed until the lock's destruction */
    explicit Lock(M& toHold) VANTOREL_ACQUIRE(toHold) : mutex(toHold) { mutex.lock(); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    ~Lock() VANTOREL_RELEASE() { mutex.unlock(); }

private:
    M& mutex;
};

} // namespace vantorel
