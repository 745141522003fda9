#pragma once

// Which lock guards what, for clang's -Wthread-safety. For other compilers these are empty.
#if defined(__clang__)
#define TELVORA_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define TELVORA_THREAD_ANNOTATION(x)
#endif

#define TELVORA_CAPABILITY(name) TELVORA_THREAD_ANNOTATION(capability(name))
#define TELVORA_SCOPED_CAPABILITY TELVORA_THREAD_ANNOTATION(scoped_lockable)
#define TELVORA_GUARDED_BY(lock) TELVORA_THREAD_ANNOTATION(guarded_by(lock))
#define TELVORA_REQUIRES(...) TELVORA_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define TELVORA_ACQUIRE(...) TELVORA_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define TELVORA_TRY_ACQUIRE(...) TELVORA_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define TELVORA_RELEASE(...) TELVORA_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TELVORA_ACQUIRE_SHARED(...)                                                                \
    TELVORA_THREAD_ANNOTATION(acquire_shared_capability(__VA_ARGS__))
#define TELVORA_RELEASE_SHARED(...)                                                                \
    TELVORA_THREAD_ANNOTATION(release_shared_capability(__VA_ARGS__))
#define TELVORA_EXCLUDES(...) TELVORA_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define TELVORA_NO_THREAD_SAFETY_ANALYSIS TELVORA_THREAD_ANNOTATION(no_thread_safety_analysis)
