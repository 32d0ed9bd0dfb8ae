// Marks for clang's thread-safety analysis (-Wthread-safety): which lock guards what. Nothing to other compilers.
#pragma once

#if defined(__clang__)
#define VANTOR_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define VANTOR_THREAD_ATTRIBUTE(x)
#endif

#define VANTOR_CAPABILITY(name) VANTOR_THREAD_ATTRIBUTE(capability(name))
#define VANTOR_SCOPED_CAPABILITY VANTOR_THREAD_ATTRIBUTE(scoped_lockable)
// On a member: read and written with the lock held only.
#define VANTOR_GUARDED_BY(lock) VANTOR_THREAD_ATTRIBUTE(guarded_by(lock))
#define VANTOR_PT_GUARDED_BY(lock) VANTOR_THREAD_ATTRIBUTE(pt_guarded_by(lock))
// On a function: the caller holds, or does not hold, the lock.
#define VANTOR_REQUIRES(...) VANTOR_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define VANTOR_EXCLUDES(...) VANTOR_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
// On a function: takes the lock, gives it back, or takes it where the result says so.
#define VANTOR_ACQUIRE(...) VANTOR_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define VANTOR_RELEASE(...) VANTOR_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define VANTOR_TRY_ACQUIRE(...) VANTOR_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
// On a function: after it the analysis knows that the lock is held. Debug builds check that it is.
#define VANTOR_ASSERT_CAPABILITY(...) VANTOR_THREAD_ATTRIBUTE(assert_capability(__VA_ARGS__))
#define VANTOR_RETURN_CAPABILITY(lock) VANTOR_THREAD_ATTRIBUTE(lock_returned(lock))
#define VANTOR_NO_THREAD_SAFETY_ANALYSIS VANTOR_THREAD_ATTRIBUTE(no_thread_safety_analysis)
