// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What a lock guards and who holds it, said in the code so that clang refuses to build what forgets it
// (-Wthread-safety). Nothing for other compilers, and nothing at run time: the program includes it, too.
#pragma once

#if defined(__clang__)
#define ZVOS_LOCK_ANNOTATION(annotation) __attribute__((annotation))
#else
#define ZVOS_LOCK_ANNOTATION(annotation)
#endif

// Of a class: it is a lock, or it holds one for the length of a block.
#define ZVOS_LOCK        ZVOS_LOCK_ANNOTATION(capability("mutex"))
#define ZVOS_SCOPED_LOCK ZVOS_LOCK_ANNOTATION(scoped_lockable)

// Of a variable: it is touched only with that lock held.
#define ZVOS_GUARDED_BY(lock) ZVOS_LOCK_ANNOTATION(guarded_by(lock))

// Of a function: its callers hold the lock, or it takes the lock, tries to and answers so, or gives it back.
// Without a lock named, that is the object itself; for the destructor of a class that holds one, what it
// holds.
#define ZVOS_REQUIRES(lock)     ZVOS_LOCK_ANNOTATION(requires_capability(lock))
#define ZVOS_ACQUIRES(...)      ZVOS_LOCK_ANNOTATION(acquire_capability(__VA_ARGS__))
#define ZVOS_ACQUIRES_WHEN(...) ZVOS_LOCK_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define ZVOS_RELEASES(...)      ZVOS_LOCK_ANNOTATION(release_capability(__VA_ARGS__))
