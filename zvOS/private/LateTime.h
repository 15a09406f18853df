// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Times after 2038-01-19T03:14:07Z, the last second that a time_t of 32 bits holds. They are called late.
//
// Where time_t is that narrow, the system's calls refuse a late time with EOVERFLOW. Only then is it asked
// for in a second way, so that whoever stands in for a call meets the same ones as ever. Callers get the low
// 32 bits of a late time; read as unsigned, they hold until 2106-02-07. Where time_t has 64 bits nothing is
// late, and all of this is compiled away.
#pragma once

#include <zvOS/zvDefines.h>
#include <zvOS/zvTime.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/time.h>
#include <unistd.h>
#include <cerrno>
#include <climits>
#include <ctime>

namespace zvos {

constexpr bool kfNarrowTime = sizeof(time_t) < sizeof(int64);

// Whether a call of the system failed because it met a late time, or would give one.
inline bool IsRefusedAsLate(int aResult) {
  return kfNarrowTime && ZV_UNLIKELY(aResult == -1) && errno == EOVERFLOW;
}

// Whether a number of seconds is more than a time_t holds.
inline bool IsLate(uint64 aSeconds) {
  return kfNarrowTime && ZV_UNLIKELY(aSeconds > INT32_MAX);
}

// The seconds of a time that may have been cut to 32 bits.
inline uint64 SecondsOf(time_t aTime) {
  return kfNarrowTime ? static_cast<uint32>(aTime) : static_cast<uint64>(aTime);
}

// A time as the system's calls of 64 bits have it.
struct WideTime {
  int64 mSeconds;
  int64 mNanoseconds;
};

#ifdef SYS_clock_gettime64
constexpr long kGetWideTime = SYS_clock_gettime64;
constexpr long kSetWideTimes = SYS_utimensat_time64;
#else
constexpr long kGetWideTime = -1;
constexpr long kSetWideTimes = -1;
#endif

// The time of day, late or not. False on systems that do not have it in 64 bits.
ZV_COLD inline bool GetWideTimeOfDay(WideTime *aTime) {
  return syscall(kGetWideTime, CLOCK_REALTIME, aTime) == 0;
}

// What stat(), lstat() (AT_SYMLINK_NOFOLLOW) and fstat() (AT_EMPTY_PATH) refused, with the low 32 bits of the
// times.
ZV_COLD inline int StatLate(int aDescriptor, const char *aPath, int aFlags, struct stat *aStatus) {
  struct statx theWide;
  if (statx(aDescriptor, aPath, AT_NO_AUTOMOUNT | aFlags, STATX_BASIC_STATS, &theWide) != 0) return -1;

  *aStatus = {};
  aStatus->st_dev = makedev(theWide.stx_dev_major, theWide.stx_dev_minor);
  aStatus->st_ino = theWide.stx_ino;
  aStatus->st_mode = theWide.stx_mode;
  aStatus->st_nlink = theWide.stx_nlink;
  aStatus->st_uid = theWide.stx_uid;
  aStatus->st_gid = theWide.stx_gid;
  aStatus->st_rdev = makedev(theWide.stx_rdev_major, theWide.stx_rdev_minor);
  aStatus->st_size = static_cast<off_t>(theWide.stx_size);
  aStatus->st_blksize = static_cast<blksize_t>(theWide.stx_blksize);
  aStatus->st_blocks = static_cast<blkcnt_t>(theWide.stx_blocks);
  aStatus->st_atim = {static_cast<time_t>(theWide.stx_atime.tv_sec),
                      static_cast<long>(theWide.stx_atime.tv_nsec)};
  aStatus->st_mtim = {static_cast<time_t>(theWide.stx_mtime.tv_sec),
                      static_cast<long>(theWide.stx_mtime.tv_nsec)};
  aStatus->st_ctim = {static_cast<time_t>(theWide.stx_ctime.tv_sec),
                      static_cast<long>(theWide.stx_ctime.tv_nsec)};
  return 0;
}

// stat(), lstat() and fstat() of files of any age.
inline int Stat(const char *aPath, struct stat *aStatus) {
  const int theResult = stat(aPath, aStatus);
  return IsRefusedAsLate(theResult) ? StatLate(AT_FDCWD, aPath, 0, aStatus) : theResult;
}

inline int LinkStat(const char *aPath, struct stat *aStatus) {
  const int theResult = lstat(aPath, aStatus);
  return IsRefusedAsLate(theResult) ? StatLate(AT_FDCWD, aPath, AT_SYMLINK_NOFOLLOW, aStatus) : theResult;
}

inline int DescriptorStat(int aDescriptor, struct stat *aStatus) {
  const int theResult = fstat(aDescriptor, aStatus);
  return IsRefusedAsLate(theResult) ? StatLate(aDescriptor, "", AT_EMPTY_PATH, aStatus) : theResult;
}

// What callers get of the times of a file: whole seconds, into those variables that are wanted.
inline void StoreSeconds(time_t aSeconds, zvtimeval *aTime) {
  if (aTime != nullptr) *aTime = {static_cast<long>(aSeconds), 0};
}

inline void StoreTimes(const struct stat &aStatus, zvtimeval *aLastAccessTime, zvtimeval *aModificationTime,
                       zvtimeval *aCreationTime) {
  StoreSeconds(aStatus.st_atime, aLastAccessTime);
  StoreSeconds(aStatus.st_mtime, aModificationTime);
  StoreSeconds(aStatus.st_ctime, aCreationTime);
}

// utimensat() for a time that utimes() would take for one before 1970. ENOSYS where the system has no late
// times.
ZV_COLD inline int SetLateTimes(const char *aPath, const zvtimeval &aTime) {
  constexpr long kMicrosecondsPerSecond = 1000000;
  if (aTime.tv_usec < 0 || aTime.tv_usec >= kMicrosecondsPerSecond) {
    errno = EINVAL;
    return -1;
  }
  const WideTime theTime = {static_cast<uint32>(aTime.tv_sec), static_cast<int64>(aTime.tv_usec) * 1000};
  const WideTime theTimes[2] = {theTime, theTime};
  return static_cast<int>(syscall(kSetWideTimes, AT_FDCWD, aPath, theTimes, 0));
}

// Sets the times of access and of modification, as utimes() does. 32 bits that are negative are a late time.
inline int SetTimes(const char *aPath, const zvtimeval &aTime) {
  if (kfNarrowTime && ZV_UNLIKELY(aTime.tv_sec < 0)) {
    const int theResult = SetLateTimes(aPath, aTime);
    if (theResult == 0 || errno != ENOSYS) return theResult;
  }
  const timeval theTime = {static_cast<time_t>(aTime.tv_sec), static_cast<suseconds_t>(aTime.tv_usec)};
  const timeval theTimes[2] = {theTime, theTime};
  return utimes(aPath, theTimes);
}

}  // namespace zvos
