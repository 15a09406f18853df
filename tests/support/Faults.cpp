// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Faults are put between the library under test and the system by changing the library's table of
// imported addresses: when the test program starts, every entry of a function listed below is
// replaced with a hook. So exactly the calls of the library are seen, not those of the tests, of
// GoogleTest or of the C++ library; the hook passes on to the very address that the loader had
// entered, whatever its symbol version and be it a sanitizer's; and even malloc() can fail
// without anybody else noticing.

#include "support/Faults.h"

#include <gtest/gtest.h>

#include <zvLog/zvLog.h>

#include <dirent.h>
#include <dlfcn.h>
#include <elf.h>
#include <execinfo.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <link.h>
#include <netdb.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <list>
#include <memory>
#include <mutex>
#include <type_traits>

namespace zvtest {
namespace {

// How a function tells its caller that it failed.
enum class Failure { kMinusOne, kZero, kErrorNumber };

using SignalHandler = void (*)(int);

// clang-format off
// The name that the library imports, the name that a test says, the way to fail, the type.
#define ZVTEST_FAULTABLE(row)                                                                                 \
  row(malloc, malloc, kZero, void *(size_t))                                                                  \
  row(calloc, calloc, kZero, void *(size_t, size_t))                                                          \
  row(realloc, realloc, kZero, void *(void *, size_t))                                                        \
  row(free, free, kZero, void(void *))                                                                        \
  row(strdup, strdup, kZero, char *(const char *))                                                            \
  row(zvMalloc, zvMalloc, kZero, void *(size_t))                                                              \
  row(zvMallocZeroed, zvMallocZeroed, kZero, void *(size_t))                                                  \
  row(zvFree, zvFree, kZero, void(void *))                                                                    \
  row(zvStrdup, zvStrdup, kZero, char *(const char *))                                                        \
  row(zvStrndup, zvStrndup, kZero, char *(const char *, size_t))                                              \
  row(pthread_mutexattr_init, pthread_mutexattr_init, kErrorNumber, int(pthread_mutexattr_t *))               \
  row(pthread_mutexattr_settype, pthread_mutexattr_settype, kErrorNumber, int(pthread_mutexattr_t *, int))    \
  row(pthread_mutexattr_destroy, pthread_mutexattr_destroy, kErrorNumber, int(pthread_mutexattr_t *))         \
  row(pthread_mutex_init, pthread_mutex_init, kErrorNumber,                                                   \
      int(pthread_mutex_t *, const pthread_mutexattr_t *))                                                    \
  row(pthread_mutex_destroy, pthread_mutex_destroy, kErrorNumber, int(pthread_mutex_t *))                     \
  row(pthread_mutex_lock, pthread_mutex_lock, kErrorNumber, int(pthread_mutex_t *))                           \
  row(pthread_mutex_unlock, pthread_mutex_unlock, kErrorNumber, int(pthread_mutex_t *))                       \
  row(pthread_cond_init, pthread_cond_init, kErrorNumber, int(pthread_cond_t *, const pthread_condattr_t *))  \
  row(pthread_cond_destroy, pthread_cond_destroy, kErrorNumber, int(pthread_cond_t *))                        \
  row(pthread_cond_signal, pthread_cond_signal, kErrorNumber, int(pthread_cond_t *))                          \
  row(pthread_cond_broadcast, pthread_cond_broadcast, kErrorNumber, int(pthread_cond_t *))                    \
  row(pthread_cond_wait, pthread_cond_wait, kErrorNumber, int(pthread_cond_t *, pthread_mutex_t *))           \
  row(pthread_cond_timedwait, pthread_cond_timedwait, kErrorNumber,                                           \
      int(pthread_cond_t *, pthread_mutex_t *, const timespec *))                                             \
  row(pthread_cond_clockwait, pthread_cond_clockwait, kErrorNumber,                                           \
      int(pthread_cond_t *, pthread_mutex_t *, clockid_t, const timespec *))                                  \
  row(sem_init, sem_init, kMinusOne, int(sem_t *, int, unsigned))                                             \
  row(sem_destroy, sem_destroy, kMinusOne, int(sem_t *))                                                      \
  row(sem_post, sem_post, kMinusOne, int(sem_t *))                                                            \
  row(sem_wait, sem_wait, kMinusOne, int(sem_t *))                                                            \
  row(sem_trywait, sem_trywait, kMinusOne, int(sem_t *))                                                      \
  row(sem_timedwait, sem_timedwait, kMinusOne, int(sem_t *, const timespec *))                                \
  row(sem_clockwait, sem_clockwait, kMinusOne, int(sem_t *, clockid_t, const timespec *))                     \
  row(clock_gettime, clock_gettime, kMinusOne, int(clockid_t, timespec *))                                    \
  row(gettimeofday, gettimeofday, kMinusOne, int(timeval *, void *))                                          \
  row(time, time, kMinusOne, time_t(time_t *))                                                                \
  row(localtime_r, localtime_r, kZero, tm *(const time_t *, tm *))                                            \
  row(gmtime_r, gmtime_r, kZero, tm *(const time_t *, tm *))                                                  \
  row(mktime, mktime, kMinusOne, time_t(tm *))                                                                \
  row(pthread_attr_init, pthread_attr_init, kErrorNumber, int(pthread_attr_t *))                              \
  row(pthread_attr_destroy, pthread_attr_destroy, kErrorNumber, int(pthread_attr_t *))                        \
  row(pthread_attr_setstacksize, pthread_attr_setstacksize, kErrorNumber, int(pthread_attr_t *, size_t))      \
  row(pthread_attr_setdetachstate, pthread_attr_setdetachstate, kErrorNumber, int(pthread_attr_t *, int))     \
  row(pthread_attr_getschedpolicy, pthread_attr_getschedpolicy, kErrorNumber,                                 \
      int(const pthread_attr_t *, int *))                                                                     \
  row(pthread_attr_getschedparam, pthread_attr_getschedparam, kErrorNumber,                                   \
      int(const pthread_attr_t *, sched_param *))                                                             \
  row(pthread_attr_setschedparam, pthread_attr_setschedparam, kErrorNumber,                                   \
      int(pthread_attr_t *, const sched_param *))                                                             \
  row(pthread_create, pthread_create, kErrorNumber,                                                           \
      int(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *))                                    \
  row(pthread_join, pthread_join, kErrorNumber, int(pthread_t, void **))                                      \
  row(pthread_detach, pthread_detach, kErrorNumber, int(pthread_t))                                           \
  row(pthread_sigmask, pthread_sigmask, kErrorNumber, int(int, const sigset_t *, sigset_t *))                 \
  row(sched_get_priority_max, sched_get_priority_max, kMinusOne, int(int))                                    \
  row(sched_get_priority_min, sched_get_priority_min, kMinusOne, int(int))                                    \
  row(usleep, usleep, kMinusOne, int(useconds_t))                                                             \
  row(nanosleep, nanosleep, kMinusOne, int(const timespec *, timespec *))                                    \
  row(timer_create, timer_create, kMinusOne, int(clockid_t, sigevent *, timer_t *))                          \
  row(pipe2, pipe2, kMinusOne, int(int *, int))                                                              \
  row(getpid, getpid, kMinusOne, pid_t())                                                                     \
  row(syscall, syscall, kMinusOne, long(long, long, long, long, long, long, long))                            \
  row(signal, signal, kMinusOne, SignalHandler(int, SignalHandler))                                           \
  row(sigaction, sigaction, kMinusOne, int(int, const struct sigaction *, struct sigaction *))                \
  row(raise, raise, kMinusOne, int(int))                                                                      \
  row(close, close, kMinusOne, int(int))                                                                      \
  row(read, read, kMinusOne, ssize_t(int, void *, size_t))                                                    \
  row(__read_chk, read, kMinusOne, ssize_t(int, void *, size_t, size_t))                                      \
  row(write, write, kMinusOne, ssize_t(int, const void *, size_t))                                            \
  row(socket, socket, kMinusOne, int(int, int, int))                                                          \
  row(bind, bind, kMinusOne, int(int, const sockaddr *, socklen_t))                                           \
  row(listen, listen, kMinusOne, int(int, int))                                                               \
  row(accept4, accept4, kMinusOne, int(int, sockaddr *, socklen_t *, int))                                    \
  row(connect, connect, kMinusOne, int(int, const sockaddr *, socklen_t))                                     \
  row(send, send, kMinusOne, ssize_t(int, const void *, size_t, int))                                         \
  row(sendto, sendto, kMinusOne, ssize_t(int, const void *, size_t, int, const sockaddr *, socklen_t))        \
  row(recv, recv, kMinusOne, ssize_t(int, void *, size_t, int))                                               \
  row(recvfrom, recvfrom, kMinusOne, ssize_t(int, void *, size_t, int, sockaddr *, socklen_t *))              \
  row(sendmsg, sendmsg, kMinusOne, ssize_t(int, const msghdr *, int))                                         \
  row(recvmsg, recvmsg, kMinusOne, ssize_t(int, msghdr *, int))                                               \
  row(socketpair, socketpair, kMinusOne, int(int, int, int, int *))                                           \
  row(shutdown, shutdown, kMinusOne, int(int, int))                                                           \
  row(setsockopt, setsockopt, kMinusOne, int(int, int, int, const void *, socklen_t))                         \
  row(getsockopt, getsockopt, kMinusOne, int(int, int, int, void *, socklen_t *))                             \
  row(getsockname, getsockname, kMinusOne, int(int, sockaddr *, socklen_t *))                                 \
  row(getpeername, getpeername, kMinusOne, int(int, sockaddr *, socklen_t *))                                 \
  row(ioctl, ioctl, kMinusOne, int(int, unsigned long, void *))                                               \
  row(fcntl64, fcntl, kMinusOne, int(int, int, long))                                                         \
  row(__recv_chk, recv, kMinusOne, ssize_t(int, void *, size_t, size_t, int))                                 \
  row(tcsetattr, tcsetattr, kMinusOne, int(int, int, const termios *))                                        \
  row(fdopen, fdopen, kZero, FILE *(int, const char *))                                                       \
  row(zvRand_MinMaxUInt16, zvRand_MinMaxUInt16, kZero, uint16_t(uint16_t, uint16_t))                          \
  row(select, select, kMinusOne, int(int, fd_set *, fd_set *, fd_set *, timeval *))                           \
  row(getifaddrs, getifaddrs, kMinusOne, int(ifaddrs **))                                                     \
  row(freeifaddrs, freeifaddrs, kZero, void(ifaddrs *))                                                       \
  row(gethostname, gethostname, kMinusOne, int(char *, size_t))                                               \
  row(__gethostname_chk, gethostname, kMinusOne, int(char *, size_t, size_t))                                 \
  row(gethostbyname, gethostbyname, kZero, hostent *(const char *))                                           \
  row(getaddrinfo, getaddrinfo, kErrorNumber,                                                                 \
      int(const char *, const char *, const addrinfo *, addrinfo **))                                         \
  row(freeaddrinfo, freeaddrinfo, kZero, void(addrinfo *))                                                    \
  row(getnameinfo, getnameinfo, kErrorNumber,                                                                 \
      int(const sockaddr *, socklen_t, char *, socklen_t, char *, socklen_t, int))                            \
  row(fopen64, fopen, kZero, FILE *(const char *, const char *))                                              \
  row(fopen, fopen, kZero, FILE *(const char *, const char *))                                                \
  row(fclose, fclose, kMinusOne, int(FILE *))                                                                 \
  row(lseek64, lseek, kMinusOne, off64_t(int, off64_t, int))                                                  \
  row(ftruncate64, ftruncate, kMinusOne, int(int, off64_t))                                                   \
  row(truncate64, truncate, kMinusOne, int(const char *, off64_t))                                            \
  row(fsync, fsync, kMinusOne, int(int))                                                                      \
  row(unlink, unlink, kMinusOne, int(const char *))                                                           \
  row(access, access, kMinusOne, int(const char *, int))                                                      \
  row(rename, rename, kMinusOne, int(const char *, const char *))                                             \
  row(utimes, utimes, kMinusOne, int(const char *, const timeval *))                                          \
  row(stat64, stat, kMinusOne, int(const char *, struct stat64 *))                                            \
  row(lstat64, lstat, kMinusOne, int(const char *, struct stat64 *))                                          \
  row(fstat64, fstat, kMinusOne, int(int, struct stat64 *))                                                   \
  row(statx, statx, kMinusOne, int(int, const char *, int, unsigned, struct statx *))                         \
  row(readlink, readlink, kMinusOne, ssize_t(const char *, char *, size_t))                                   \
  row(__readlink_chk, readlink, kMinusOne, ssize_t(const char *, char *, size_t, size_t))                     \
  row(getcwd, getcwd, kZero, char *(char *, size_t))                                                          \
  row(__getcwd_chk, getcwd, kZero, char *(char *, size_t, size_t))                                            \
  row(opendir, opendir, kZero, DIR *(const char *))                                                           \
  row(readdir64, readdir, kZero, struct dirent64 *(DIR *))                                                    \
  row(closedir, closedir, kMinusOne, int(DIR *))                                                              \
  row(mkdir, mkdir, kMinusOne, int(const char *, mode_t))                                                     \
  row(rmdir, rmdir, kMinusOne, int(const char *))                                                             \
  row(realpath, realpath, kZero, char *(const char *, char *))                                                \
  row(__realpath_chk, realpath, kZero, char *(const char *, char *, size_t))                                  \
  row(dlopen, dlopen, kZero, void *(const char *, int))                                                       \
  row(dlsym, dlsym, kZero, void *(void *, const char *))                                                      \
  row(dlclose, dlclose, kMinusOne, int(void *))                                                               \
  row(dlerror, dlerror, kZero, char *())                                                                      \
  row(zvPtrList_New, zvPtrList_New, kZero, zvPtrList *())                                                     \
  row(zvPtrList_Append, zvPtrList_Append, kZero, int(zvPtrList *, void *))                                    \
  row(zvPtrList_SetFreeFunc, zvPtrList_SetFreeFunc, kZero, void(zvPtrList *, zvPtrListFreeFunc))              \
  row(zvCStringParser_Match, zvCStringParser_Match, kZero, int(const char *, const char *))                   \
  row(dladdr, dladdr, kZero, int(const void *, Dl_info *))                                                    \
  row(getenv, getenv, kZero, char *(const char *))                                                            \
  row(setenv, setenv, kMinusOne, int(const char *, const char *, int))                                        \
  row(setlocale, setlocale, kZero, char *(int, const char *))                                                 \
  row(system, system, kMinusOne, int(const char *))                                                           \
  row(popen, popen, kZero, FILE *(const char *, const char *))                                                \
  row(pclose, pclose, kMinusOne, int(FILE *))                                                                 \
  row(fwrite, fwrite, kZero, size_t(const void *, size_t, size_t, FILE *))                                    \
  row(fflush, fflush, kMinusOne, int(FILE *))                                                                 \
  row(getuid, getuid, kMinusOne, uid_t())                                                                     \
  row(rand, rand, kMinusOne, int())                                                                           \
  row(srand, srand, kZero, void(unsigned))                                                                    \
  row(zv_mnprintf, zv_mnprintf, kZero, char *(const char *, const char *, const char *))                      \
  row(backtrace, backtrace, kZero, int(void **, int))                                                         \
  row(backtrace_symbols, backtrace_symbols, kZero, char **(void *const *, int))                               \
  row(backtrace_symbols_fd, backtrace_symbols_fd, kZero, void(void *const *, int, int))

// The same with a variable number of arguments: a path, flags, and a mode when a file is created.
#define ZVTEST_FAULTABLE_OPEN(row) \
  row(open64, open)                \
  row(open, open)                  \
  row(__open64_2, open)            \
  row(__open_2, open)
// clang-format on

enum Import {
#define ZVTEST_ROW(import, ...) kImport_##import,
  ZVTEST_FAULTABLE(ZVTEST_ROW) ZVTEST_FAULTABLE_OPEN(ZVTEST_ROW)
#undef ZVTEST_ROW
      kImportCount
};

struct Function {
  const char *mImport;
  const char *mFault;
  void *mHook;
};

// What the loader had entered; the hooks pass on to it.
void *sOriginals[kImportCount];

// Imports that share a name for tests share the number of the first of them.
int sFaultNumbers[kImportCount];

// Where the library is loaded.
ElfW(Addr) sLibraryBegin;
ElfW(Addr) sLibraryEnd;

thread_local int sCalls[kImportCount];

int (*sRealBacktrace)(void **, int);

}  // namespace

struct Fault::State {
  int mFault = 0;
  int mError = 0;
  int mSkip = 0;
  int mCount = 0;
  bool mfReturning = false;
  bool mfPassingThrough = false;
  bool mfAnyThread = false;
  long long mValue = 0;
  unsigned long mSequence = 0;
  std::function<void(const long long *)> mAction;
  std::atomic<int> mHits{0};
};

namespace {

using State = Fault::State;
using StatePointer = std::shared_ptr<State>;

// The faults in force, newest first. Those of one thread need no lock.
thread_local std::list<StatePointer> sOwnFaults;
std::list<StatePointer> sCommonFaults;
std::mutex sCommonFaultsLock;
std::atomic<int> sCommonFaultCount{0};
std::atomic<unsigned long> sSequence{0};

// The newest fault of the function that has not done its work yet.
StatePointer Newest(const std::list<StatePointer> &someFaults, int aFault) {
  for (const StatePointer &theState : someFaults) {
    if (theState->mFault == aFault && (theState->mSkip > 0 || theState->mCount != 0)) return theState;
  }
  return nullptr;
}

// The fault that takes this call, if one does.
StatePointer Decide(int anImport) {
  const int theFault = sFaultNumbers[anImport];
  ++sCalls[theFault];

  std::unique_lock<std::mutex> theGuard(sCommonFaultsLock, std::defer_lock);
  StatePointer theState = Newest(sOwnFaults, theFault);
  if (sCommonFaultCount.load() > 0) {
    theGuard.lock();
    StatePointer theCommon = Newest(sCommonFaults, theFault);
    if (theCommon && (!theState || theCommon->mSequence > theState->mSequence)) theState = theCommon;
  }
  if (!theState) return nullptr;
  if (theState->mSkip > 0) {
    --theState->mSkip;
    return nullptr;
  }
  if (theState->mCount > 0) --theState->mCount;
  ++theState->mHits;
  return theState;
}

void Act(const State &aState, const long long *anArguments) {
  if (!aState.mAction) return;
  const int theError = errno;
  aState.mAction(anArguments);
  errno = theError;
}

long long FailureOf(const State &aState, Failure aFailure) {
  if (aState.mfReturning) {
    if (aState.mError != 0) errno = aState.mError;
    return aState.mValue;
  }
  if (aFailure == Failure::kErrorNumber) return aState.mError;
  errno = aState.mError;
  return aFailure == Failure::kZero ? 0 : -1;
}

template <typename Type>
long long ToInteger(Type aValue) {
  if constexpr (std::is_pointer_v<Type>) {
    return static_cast<long long>(reinterpret_cast<intptr_t>(aValue));
  } else {
    return static_cast<long long>(aValue);
  }
}

template <typename Type>
Type FromInteger(long long aValue) {
  if constexpr (std::is_pointer_v<Type>) {
    return reinterpret_cast<Type>(static_cast<intptr_t>(aValue));
  } else {
    return static_cast<Type>(aValue);
  }
}

// One call of the library, with the way to really make it.
template <typename Result, typename Real>
Result Answer(int anImport, Failure aFailure, const long long *anArguments, Real aReal) {
  const StatePointer theState = Decide(anImport);
  if (!theState) return aReal();

  if (theState->mfPassingThrough) {
    if constexpr (std::is_void_v<Result>) {
      // Afterwards nothing is left to look at.
      Act(*theState, anArguments);
      aReal();
      return;
    } else {
      const Result theResult = aReal();
      Act(*theState, anArguments);
      return theResult;
    }
  }

  Act(*theState, anArguments);
  const long long theValue = FailureOf(*theState, aFailure);
  if constexpr (!std::is_void_v<Result>) return FromInteger<Result>(theValue);
}

template <int kImport, Failure kFailure, typename Type>
struct Hook;

template <int kImport, Failure kFailure, typename Result, typename... Arguments>
struct Hook<kImport, kFailure, Result(Arguments...)> {
  static Result Call(Arguments... someArguments) {
    const long long theValues[] = {ToInteger(someArguments)..., 0};
    return Answer<Result>(kImport, kFailure, theValues, [&]() -> Result {
      return reinterpret_cast<Result (*)(Arguments...)>(sOriginals[kImport])(someArguments...);
    });
  }
};

template <int kImport>
int OpenHook(const char *aPath, int someFlags, ...) {
  mode_t theMode = 0;
  if ((someFlags & O_CREAT) != 0) {
    va_list theArguments;
    va_start(theArguments, someFlags);
    theMode = va_arg(theArguments, mode_t);
    va_end(theArguments);
  }
  const long long theValues[] = {ToInteger(aPath), someFlags, theMode};
  return Answer<int>(kImport, Failure::kMinusOne, theValues, [&]() -> int {
    return reinterpret_cast<int (*)(const char *, int, ...)>(sOriginals[kImport])(aPath, someFlags, theMode);
  });
}

const Function kFunctions[kImportCount] = {
#define ZVTEST_ROW(import, fault, failure, ...) \
  {#import, #fault, reinterpret_cast<void *>(&Hook<kImport_##import, Failure::failure, __VA_ARGS__>::Call)},
    ZVTEST_FAULTABLE(ZVTEST_ROW)
#undef ZVTEST_ROW
#define ZVTEST_ROW(import, fault) {#import, #fault, reinterpret_cast<void *>(&OpenHook<kImport_##import>)},
        ZVTEST_FAULTABLE_OPEN(ZVTEST_ROW)
#undef ZVTEST_ROW
};

[[noreturn]] void GiveUp(const char *aReason, const char *aName) {
  fprintf(stderr, "Faults: %s: %s\n", aReason, aName);
  abort();
}

// A call stack taken through a hook begins with the hook; the library must see its own. The library
// may ask for it after a crash, so nothing is allocated here.
int BacktraceWithoutHook(void **someFrames, int aCount) {
  constexpr int kMostFrames = 256;
  constexpr int kMostHookFrames = 16;
  void *theFrames[kMostFrames + kMostHookFrames];
  const int theDepth = sRealBacktrace(theFrames, std::clamp(aCount, 0, kMostFrames) + kMostHookFrames);

  void **const theEnd = theFrames + theDepth;
  void **theFirst = std::find_if(theFrames, theEnd, [](void *aFrame) {
    const auto theAddress = reinterpret_cast<ElfW(Addr)>(aFrame);
    return theAddress >= sLibraryBegin && theAddress < sLibraryEnd;
  });
  if (theFirst == theEnd) theFirst = theFrames;
  const int theCount = std::min(aCount, static_cast<int>(theEnd - theFirst));
  std::copy_n(theFirst, theCount, someFrames);
  return theCount;
}

// The tables of a loaded library that name its imports.
class DynamicSection {
 public:
  DynamicSection(ElfW(Addr) aBase, const ElfW(Dyn) * aDynamic) : mBase(aBase) {
    for (const ElfW(Dyn) *theEntry = aDynamic; theEntry->d_tag != DT_NULL; ++theEntry) {
      const auto theIndex = static_cast<size_t>(theEntry->d_tag);
      if (theIndex < kTagCount) mValues[theIndex] = theEntry->d_un.d_ptr;
      if (theEntry->d_tag == DT_FLAGS_1) mfBoundAtStart = (theEntry->d_un.d_val & DF_1_NOW) != 0;
    }
  }

  bool IsBoundAtStart() const { return mfBoundAtStart || (mValues[DT_FLAGS] & DF_BIND_NOW) != 0; }

  // Calls aVisitor(name, slot) for the address of every imported function.
  template <typename Visitor>
  void ForEachImport(Visitor aVisitor) const {
    ForEachIn<ElfW(Rel)>(DT_REL, DT_RELSZ, aVisitor);
    ForEachIn<ElfW(Rela)>(DT_RELA, DT_RELASZ, aVisitor);
    if (mValues[DT_PLTREL] == DT_REL) ForEachIn<ElfW(Rel)>(DT_JMPREL, DT_PLTRELSZ, aVisitor);
    if (mValues[DT_PLTREL] == DT_RELA) ForEachIn<ElfW(Rela)>(DT_JMPREL, DT_PLTRELSZ, aVisitor);
  }

 private:
  static constexpr size_t kTagCount = 40;

  ElfW(Addr) At(size_t aTag) const { return mValues[aTag] < mBase ? mBase + mValues[aTag] : mValues[aTag]; }

  template <typename Relocation, typename Visitor>
  void ForEachIn(size_t aTableTag, size_t aSizeTag, Visitor aVisitor) const {
    if (mValues[aTableTag] == 0) return;
    const auto *theSymbols = reinterpret_cast<const ElfW(Sym) *>(At(DT_SYMTAB));
    const auto *theNames = reinterpret_cast<const char *>(At(DT_STRTAB));
    const auto *theRelocations = reinterpret_cast<const Relocation *>(At(aTableTag));
    for (size_t i = 0; i < mValues[aSizeTag] / sizeof(Relocation); ++i) {
      const size_t theSymbol = sizeof(void *) == 8 ? static_cast<size_t>(theRelocations[i].r_info >> 31 >> 1)
                                                   : static_cast<size_t>(theRelocations[i].r_info >> 8);
      if (theSymbol == 0 || theSymbols[theSymbol].st_shndx != SHN_UNDEF) continue;
      aVisitor(theNames + theSymbols[theSymbol].st_name,
               reinterpret_cast<void **>(mBase + theRelocations[i].r_offset));
    }
  }

  ElfW(Addr) mBase;
  ElfW(Addr) mValues[kTagCount] = {};
  bool mfBoundAtStart = false;
};

// The table is read-only once the loader has filled it in.
void WriteProtected(void **aSlot, void *aValue) {
  const auto thePageSize = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  void *thePage = reinterpret_cast<void *>(reinterpret_cast<uintptr_t>(aSlot) & ~(thePageSize - 1));
  if (mprotect(thePage, thePageSize, PROT_READ | PROT_WRITE) != 0) GiveUp("mprotect", strerror(errno));
  *aSlot = aValue;
}

void HookImport(const char *aName, void **aSlot) {
  for (int i = 0; i < kImportCount; ++i) {
    if (strcmp(kFunctions[i].mImport, aName) != 0) continue;
    if (*aSlot == kFunctions[i].mHook) return;
    sOriginals[i] = *aSlot;
    WriteProtected(aSlot, kFunctions[i].mHook);
    return;
  }
}

int HookLibrary(dl_phdr_info *anInfo, size_t, void *) {
  if (strstr(anInfo->dlpi_name, "/libzvOS.so") == nullptr) return 0;

  const ElfW(Dyn) *theDynamic = nullptr;
  for (int i = 0; i < anInfo->dlpi_phnum; ++i) {
    const ElfW(Phdr) &theHeader = anInfo->dlpi_phdr[i];
    const ElfW(Addr) theBegin = anInfo->dlpi_addr + theHeader.p_vaddr;
    if (theHeader.p_type == PT_DYNAMIC) theDynamic = reinterpret_cast<const ElfW(Dyn) *>(theBegin);
    if (theHeader.p_type == PT_LOAD) sLibraryEnd = std::max(sLibraryEnd, theBegin + theHeader.p_memsz);
  }
  sLibraryBegin = anInfo->dlpi_addr;
  if (theDynamic == nullptr) GiveUp("no dynamic section", anInfo->dlpi_name);

  const DynamicSection theSection(anInfo->dlpi_addr, theDynamic);
  if (!theSection.IsBoundAtStart()) GiveUp("imports are not bound at start", anInfo->dlpi_name);
  theSection.ForEachImport(HookImport);
  return 1;
}

int FaultNumber(const char *aFault) {
  for (int i = 0; i < kImportCount; ++i) {
    if (strcmp(kFunctions[i].mFault, aFault) == 0) return i;
  }
  GiveUp("no fault of this name", aFault);
}

bool IsImported(int aFault) {
  for (int i = 0; i < kImportCount; ++i) {
    if (sFaultNumbers[i] == aFault && sOriginals[i] != nullptr) return true;
  }
  return false;
}

void HookBacktrace() {
  if (sOriginals[kImport_backtrace] == nullptr) return;
  sRealBacktrace = reinterpret_cast<int (*)(void **, int)>(sOriginals[kImport_backtrace]);
  sOriginals[kImport_backtrace] = reinterpret_cast<void *>(&BacktraceWithoutHook);
}

struct Installer {
  Installer() {
    for (int i = 0; i < kImportCount; ++i)
      sFaultNumbers[i] = FaultNumber(kFunctions[i].mFault);
    if (dl_iterate_phdr(HookLibrary, nullptr) == 0) GiveUp("not loaded", "libzvOS.so");
    HookBacktrace();
  }
};
const Installer kInstaller;

}  // namespace

Fault::Fault(const char *aFunction, int anError, int aSkip, int aCount) : mState(nullptr) {
  auto theState = std::make_shared<State>();
  theState->mFault = FaultNumber(aFunction);
  theState->mError = anError;
  theState->mSkip = aSkip;
  theState->mCount = aCount;
  theState->mSequence = ++sSequence;
  if (!IsImported(theState->mFault)) ADD_FAILURE() << "the library does not call " << aFunction << "()";
  mState = theState.get();
  sOwnFaults.push_front(std::move(theState));
}

Fault::~Fault() {
  const auto isOurs = [this](const StatePointer &aState) { return aState.get() == mState; };
  if (!mState->mfAnyThread) {
    sOwnFaults.remove_if(isOurs);
    return;
  }
  const std::lock_guard<std::mutex> theGuard(sCommonFaultsLock);
  sCommonFaults.remove_if(isOurs);
  --sCommonFaultCount;
}

Fault &Fault::Returning(long long aValue) {
  mState->mfReturning = true;
  mState->mValue = aValue;
  return *this;
}

Fault &Fault::Doing(std::function<void(const long long *anArguments)> anAction) {
  mState->mAction = std::move(anAction);
  return *this;
}

Fault &Fault::PassingThrough() {
  mState->mfPassingThrough = true;
  return *this;
}

Fault &Fault::AnyThread() {
  const auto isOurs = [this](const StatePointer &aState) { return aState.get() == mState; };
  const auto theOwn = std::find_if(sOwnFaults.begin(), sOwnFaults.end(), isOurs);
  if (theOwn == sOwnFaults.end()) return *this;

  const std::lock_guard<std::mutex> theGuard(sCommonFaultsLock);
  mState->mfAnyThread = true;
  sCommonFaults.splice(sCommonFaults.begin(), sOwnFaults, theOwn);
  ++sCommonFaultCount;
  return *this;
}

int Fault::Hits() const {
  return mState->mHits;
}

int CallsOf(const char *aFunction) {
  return sCalls[FaultNumber(aFunction)];
}

}  // namespace zvtest
