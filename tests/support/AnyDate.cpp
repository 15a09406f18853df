// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Lets a test program run at any date where time_t has 32 bits, also past 2038-01-19T03:14:07Z, where the
// system's calls refuse to tell the time of day, and anything of a file that was written since. What a test
// compares is what the library's callers get: the low 32 bits.
//
// These functions stand in for those of the C library in the program itself, GoogleTest and the C++ library
// included, which is linked into it. They are hidden: the libraries under test do not see them.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdint>
#include <ctime>

#ifdef SYS_clock_gettime64

namespace {

struct WideTime {
  int64_t mSeconds;
  int64_t mNanoseconds;
};

int GetTime(clockid_t aClock, WideTime *aTime) {
  return static_cast<int>(syscall(SYS_clock_gettime64, aClock, aTime));
}

timespec Low(const statx_timestamp &aTime) {
  return {static_cast<time_t>(aTime.tv_sec), static_cast<long>(aTime.tv_nsec)};
}

int GetStatus(int aFolder, const char *aPath, int someFlags, struct stat64 *aStatus) {
  struct statx theWide;
  if (statx(aFolder, aPath, AT_NO_AUTOMOUNT | someFlags, STATX_BASIC_STATS, &theWide) != 0) return -1;
  *aStatus = {};
  aStatus->st_dev = makedev(theWide.stx_dev_major, theWide.stx_dev_minor);
  aStatus->st_ino = theWide.stx_ino;
  aStatus->st_mode = theWide.stx_mode;
  aStatus->st_nlink = theWide.stx_nlink;
  aStatus->st_uid = theWide.stx_uid;
  aStatus->st_gid = theWide.stx_gid;
  aStatus->st_rdev = makedev(theWide.stx_rdev_major, theWide.stx_rdev_minor);
  aStatus->st_size = static_cast<off64_t>(theWide.stx_size);
  aStatus->st_blksize = static_cast<blksize_t>(theWide.stx_blksize);
  aStatus->st_blocks = static_cast<decltype(aStatus->st_blocks)>(theWide.stx_blocks);
  aStatus->st_atim = Low(theWide.stx_atime);
  aStatus->st_mtim = Low(theWide.stx_mtime);
  aStatus->st_ctim = Low(theWide.stx_ctime);
  return 0;
}

}  // namespace

// The names in the C library, whatever name the headers give them.
#define ZVTEST_INSTEAD_OF(name) __asm__(#name) __attribute__((visibility("hidden"), used))

extern "C" {

int zvtest_clock_gettime(clockid_t aClock, timespec *aTime) ZVTEST_INSTEAD_OF(clock_gettime);
int zvtest_gettimeofday(timeval *aTime, void *aZone) ZVTEST_INSTEAD_OF(gettimeofday);
time_t zvtest_time(time_t *aTime) ZVTEST_INSTEAD_OF(time);
int zvtest_stat(const char *aPath, struct stat64 *aStatus) ZVTEST_INSTEAD_OF(stat64);
int zvtest_lstat(const char *aPath, struct stat64 *aStatus) ZVTEST_INSTEAD_OF(lstat64);
int zvtest_fstat(int aDescriptor, struct stat64 *aStatus) ZVTEST_INSTEAD_OF(fstat64);
int zvtest_fstatat(int aFolder, const char *aPath, struct stat64 *aStatus, int someFlags)
    ZVTEST_INSTEAD_OF(fstatat64);

int zvtest_clock_gettime(clockid_t aClock, timespec *aTime) {
  WideTime theTime;
  if (GetTime(aClock, &theTime) != 0) return -1;
  *aTime = {static_cast<time_t>(theTime.mSeconds), static_cast<long>(theTime.mNanoseconds)};
  return 0;
}

int zvtest_gettimeofday(timeval *aTime, void *) {
  WideTime theTime;
  if (GetTime(CLOCK_REALTIME, &theTime) != 0) return -1;
  *aTime = {static_cast<time_t>(theTime.mSeconds), static_cast<suseconds_t>(theTime.mNanoseconds / 1000)};
  return 0;
}

time_t zvtest_time(time_t *aTime) {
  WideTime theTime;
  if (GetTime(CLOCK_REALTIME, &theTime) != 0) return -1;
  if (aTime != nullptr) *aTime = static_cast<time_t>(theTime.mSeconds);
  return static_cast<time_t>(theTime.mSeconds);
}

int zvtest_stat(const char *aPath, struct stat64 *aStatus) {
  return GetStatus(AT_FDCWD, aPath, 0, aStatus);
}

int zvtest_lstat(const char *aPath, struct stat64 *aStatus) {
  return GetStatus(AT_FDCWD, aPath, AT_SYMLINK_NOFOLLOW, aStatus);
}

int zvtest_fstat(int aDescriptor, struct stat64 *aStatus) {
  return GetStatus(aDescriptor, "", AT_EMPTY_PATH, aStatus);
}

int zvtest_fstatat(int aFolder, const char *aPath, struct stat64 *aStatus, int someFlags) {
  return GetStatus(aFolder, aPath, someFlags, aStatus);
}

}  // extern "C"

#endif
