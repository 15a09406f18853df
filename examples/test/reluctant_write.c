/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* A write that a signal interrupts every other time, before it has written anything, and that takes a part of
 * what it is given the other times. It is linked in place of the system's (--wrap=write). */

#include <errno.h>
#include <stddef.h>
#include <sys/types.h>

ssize_t __real_write(int aDescriptor, const void *aBuffer, size_t aLength);
/* Visible, because the linker wants it for the libraries of the program as well. */
__attribute__((visibility("default"))) ssize_t __wrap_write(int aDescriptor, const void *aBuffer,
                                                            size_t aLength);

ssize_t __wrap_write(int aDescriptor, const void *aBuffer, size_t aLength) {
  static int sfInterrupted = 0;
  sfInterrupted = !sfInterrupted;
  if (sfInterrupted) {
    errno = EINTR;
    return -1;
  }
  return __real_write(aDescriptor, aBuffer, aLength < 50 ? aLength : 50);
}
