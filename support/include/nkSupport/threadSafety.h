#pragma once

/// Names for clang's thread-safety annotations: they say in the code which lock guards what, and
/// clang's -Wthread-safety checks it. Other compilers see nothing.
/// Source of the names: clang documentation, "Thread Safety Analysis".
#if defined(__clang__)
#define NK_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define NK_THREAD_ANNOTATION(x)
#endif

/// Of a class: it is a lock.
#define NK_CAPABILITY(name) NK_THREAD_ANNOTATION(capability(name))
/// Of a class: it holds a lock as long as it lives.
#define NK_SCOPED_CAPABILITY NK_THREAD_ANNOTATION(scoped_lockable)
/// Of a member: only for those who hold the lock.
#define NK_GUARDED_BY(lock) NK_THREAD_ANNOTATION(guarded_by(lock))
/// Of a function: it returns with the lock held.
#define NK_ACQUIRE(...) NK_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
/// Of a function: it gives up the lock.
#define NK_RELEASE(...) NK_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
/// Of a function: its caller holds the lock.
#define NK_REQUIRES(...) NK_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
/// Of a function: it is not looked at.
#define NK_NO_THREAD_SAFETY_ANALYSIS NK_THREAD_ANNOTATION(no_thread_safety_analysis)
