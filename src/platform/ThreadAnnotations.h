#pragma once

// Clang's thread-safety analysis (-Wthread-safety): a lock is a capability, shared state names the lock that
// guards it, and a function names the locks it needs or takes. The compiler then refuses an unlocked access.
// Other compilers see nothing.
//
//   Mutex mutex_;
//   int count_ GUARDED_BY(mutex_);
//   void bumpLocked() REQUIRES(mutex_);   // the caller holds mutex_
//   void bump() EXCLUDES(mutex_);         // takes mutex_ itself

#if defined(__clang__)
#define TAVO_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define TAVO_THREAD_ANNOTATION(x)
#endif

#define CAPABILITY(x) TAVO_THREAD_ANNOTATION(capability(x))
#define SCOPED_CAPABILITY TAVO_THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(x) TAVO_THREAD_ANNOTATION(guarded_by(x))
#define PT_GUARDED_BY(x) TAVO_THREAD_ANNOTATION(pt_guarded_by(x))
#define ACQUIRED_BEFORE(...) TAVO_THREAD_ANNOTATION(acquired_before(__VA_ARGS__))
#define ACQUIRED_AFTER(...) TAVO_THREAD_ANNOTATION(acquired_after(__VA_ARGS__))
#define REQUIRES(...) TAVO_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) TAVO_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) TAVO_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) TAVO_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define EXCLUDES(...) TAVO_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ASSERT_CAPABILITY(x) TAVO_THREAD_ANNOTATION(assert_capability(x))
#define RETURN_CAPABILITY(x) TAVO_THREAD_ANNOTATION(lock_returned(x))
#define NO_THREAD_SAFETY_ANALYSIS TAVO_THREAD_ANNOTATION(no_thread_safety_analysis)
