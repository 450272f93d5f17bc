#pragma once

// Names for clang's thread-safety attributes (-Wthread-safety); nothing with other compilers.
#if defined(__clang__)
#define ZEL_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define ZEL_THREAD_ATTRIBUTE(x)
#endif

// A class that is a lock, and a class that holds one for its scope.
#define ZEL_CAPABILITY(name) ZEL_THREAD_ATTRIBUTE(capability(name))
#define ZEL_SCOPED_CAPABILITY ZEL_THREAD_ATTRIBUTE(scoped_lockable)

// A field, or what a pointer field points to, that is touched only while the lock is held.
#define ZEL_GUARDED_BY(lock) ZEL_THREAD_ATTRIBUTE(guarded_by(lock))
#define ZEL_PT_GUARDED_BY(lock) ZEL_THREAD_ATTRIBUTE(pt_guarded_by(lock))

// The order of two locks.
#define ZEL_ACQUIRED_BEFORE(...) ZEL_THREAD_ATTRIBUTE(acquired_before(__VA_ARGS__))
#define ZEL_ACQUIRED_AFTER(...) ZEL_THREAD_ATTRIBUTE(acquired_after(__VA_ARGS__))

// What a function needs, takes, gives back or must not hold.
#define ZEL_REQUIRES(...) ZEL_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ZEL_EXCLUDES(...) ZEL_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define ZEL_ACQUIRE(...) ZEL_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define ZEL_TRY_ACQUIRE(...) ZEL_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define ZEL_RELEASE(...) ZEL_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define ZEL_ASSERT_HELD(...) ZEL_THREAD_ATTRIBUTE(assert_capability(__VA_ARGS__))
#define ZEL_RETURN_CAPABILITY(lock) ZEL_THREAD_ATTRIBUTE(lock_returned(lock))

// For a function whose locking the analysis cannot follow; say why beside it.
#define ZEL_NO_THREAD_SAFETY_ANALYSIS ZEL_THREAD_ATTRIBUTE(no_thread_safety_analysis)
