#pragma once

/// Names for Clang's thread safety analysis (-Wthread-safety); other compilers see nothing.
#if defined(__clang__)
#define VELM_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define VELM_THREAD_ANNOTATION(x)
#endif

#define VELM_CAPABILITY(name) VELM_THREAD_ANNOTATION(capability(name))
#define VELM_SCOPED_CAPABILITY VELM_THREAD_ANNOTATION(scoped_lockable)
#define VELM_GUARDED_BY(lock) VELM_THREAD_ANNOTATION(guarded_by(lock))
#define VELM_ACQUIRE(...) VELM_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define VELM_RELEASE(...) VELM_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define VELM_REQUIRES(...) VELM_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define VELM_NO_THREAD_SAFETY_ANALYSIS VELM_THREAD_ANNOTATION(no_thread_safety_analysis)
