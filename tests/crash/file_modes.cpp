// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Crashes whose crash file meets obstacles. The program stands in for calls of the C library that nothing but
// the crash file needs.

#include "Crash.h"

#include <dlfcn.h>
#include <errno.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysinfo.h>
#include <time.h>
#include <unistd.h>

namespace {

using namespace crash;

enum class Call { kSound, kHangs, kFaults };
Call sEnvironmentCall = Call::kSound;
Call sSystemCall = Call::kSound;

void Obstruct(Call aCall) {
  if (aCall == Call::kFaults) FaultByWriting();
  while (aCall == Call::kHangs)
    pause();
}

void NameOwnFile(char (&aName)[512], const char *aNumber = "") {
  snprintf(aName, sizeof(aName), "%s/zvos_crash_%d%s.txt", getenv("ZVOS_CRASH_DIR"),
           static_cast<int>(getpid()), aNumber);
}

}  // namespace

CRASH_VISIBLE char *secure_getenv(const char *aName) noexcept {
  Obstruct(sEnvironmentCall);
  return getenv(aName);
}

CRASH_VISIBLE int sysinfo(struct sysinfo *anInfo) noexcept {
  Obstruct(sSystemCall);
  using Function = int (*)(struct sysinfo *);
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, "sysinfo"))(anInfo);
}

// January 2038 is past, where time_t has 32 bits.
#ifdef SYS_clock_gettime64

namespace {

constexpr long long k2105 = 4260256496;  // 2105-01-01T12:34:56Z

bool sfLateClock, sfNoWideClock, sfLateFiles;

int (*sClock)(clockid_t, timespec *);
int (*sStatus)(int, struct stat64 *);
long (*sCall)(long, ...);

// AddressSanitizer calls the system before it is ready for code that it has changed.
#define CRASH_BEFORE_SANITIZERS __attribute__((no_sanitize("address", "undefined")))

// The loader's lock may be held later on.
__attribute__((constructor)) CRASH_BEFORE_SANITIZERS void FindRealCalls() {
  sClock = reinterpret_cast<decltype(sClock)>(dlsym(RTLD_NEXT, "clock_gettime"));
  sStatus = reinterpret_cast<decltype(sStatus)>(dlsym(RTLD_NEXT, "fstat64"));
  sCall = reinterpret_cast<decltype(sCall)>(dlsym(RTLD_NEXT, "syscall"));
}

int RefuseAsLate() {
  errno = EOVERFLOW;
  return -1;
}

}  // namespace

CRASH_VISIBLE int clock_gettime(clockid_t aClock, timespec *aTime) noexcept {
  if (sClock == nullptr) FindRealCalls();
  return sfLateClock && aClock == CLOCK_REALTIME ? RefuseAsLate() : sClock(aClock, aTime);
}

CRASH_VISIBLE int fstat64(int aDescriptor, struct stat64 *aStatus) noexcept {
  if (sStatus == nullptr) FindRealCalls();
  return sfLateFiles ? RefuseAsLate() : sStatus(aDescriptor, aStatus);
}

CRASH_VISIBLE CRASH_BEFORE_SANITIZERS long syscall(long aNumber, ...) noexcept {
  if (sCall == nullptr) FindRealCalls();
  va_list theList;
  va_start(theList, aNumber);
  // One by one: of a loop the compiler makes memcpy, which a sanitizer watches reading more than was given.
  const long theArguments[] = {va_arg(theList, long), va_arg(theList, long), va_arg(theList, long),
                               va_arg(theList, long), va_arg(theList, long), va_arg(theList, long)};
  va_end(theList);
  if (sfLateClock && aNumber == SYS_clock_gettime64) {
    errno = ENOSYS;
    if (sfNoWideClock) return -1;
    const long long theTime[] = {k2105, 0};
    memcpy(reinterpret_cast<void *>(theArguments[1]), theTime, sizeof(theTime));
    return 0;
  }
  return sCall(aNumber, theArguments[0], theArguments[1], theArguments[2], theArguments[3], theArguments[4],
               theArguments[5]);
}

namespace {

void CrashIn2105() {
  sfLateClock = sfLateFiles = true;
  RunInWorker(CrashBySegv);
}

void CrashWithoutAClock() {
  sfNoWideClock = true;
  CrashIn2105();
}

}  // namespace

#endif

namespace {

// Its value as text stands in the command line, too.
void CrashWithANamedThread() {
  RunInWorker([](void *) {
    prctl(PR_SET_NAME, "a\nname: 1");
    CrashBySegv(nullptr);
  });
}

void CrashBehindALink() {
  char theName[512];
  NameOwnFile(theName);
  if (symlink("target", theName) != 0) Exit(crash::kExitCannotStart);
  RunInWorker(CrashBySegv);
}

void CrashBehindAFile() {
  char theName[512];
  NameOwnFile(theName);
  FILE *const theFile = fopen(theName, "w");
  if (theFile == nullptr || fputs("of an earlier process\n", theFile) < 0 || fclose(theFile) != 0)
    Exit(crash::kExitCannotStart);
  RunInWorker(CrashBySegv);
}

void CrashBehindAFolder() {
  char theName[512];
  NameOwnFile(theName);
  if (mkdir(theName, 0700) != 0) Exit(crash::kExitCannotStart);
  RunInWorker(CrashBySegv);
}

// Survives the first signal, and crashes then.
void RaiseAndCrash() {
  RunInWorker([](void *) { raise(SIGFPE); });
  RunInWorker(CrashBySegv);
}

template <Call *kCall, Call kHow>
void CrashWithCall() {
  *kCall = kHow;
  RunInWorker(CrashBySegv);
}

// The pages of a library cannot be read any more.
void CrashWithChangedModules() {
  char theName[512];
  snprintf(theName, sizeof(theName), "%s/module.so", getenv("ZVOS_CRASH_DIR"));
  if (dlopen(theName, RTLD_NOW) == nullptr) Exit(crash::kExitCannotStart);
  // The start of a thread may read data of the library.
  RunInWorker([](void *) {
    char theNameAgain[512];
    snprintf(theNameAgain, sizeof(theNameAgain), "%s/module.so", getenv("ZVOS_CRASH_DIR"));
    if (truncate(theNameAgain, 0) != 0) Exit(crash::kExitCannotStart);
    CrashBySegv(nullptr);
  });
}

constexpr crash::Mode kModes[] = {
    {"named-thread", CrashWithANamedThread},
    {"file-is-a-link", CrashBehindALink},
    {"file-is-there", CrashBehindAFile},
    {"file-is-a-folder", CrashBehindAFolder},
    {"raise-and-crash", RaiseAndCrash},
    {"environment-faults", CrashWithCall<&sEnvironmentCall, Call::kFaults>},
    {"environment-hangs", CrashWithCall<&sEnvironmentCall, Call::kHangs>},
    {"system-faults", CrashWithCall<&sSystemCall, Call::kFaults>},
    {"system-hangs", CrashWithCall<&sSystemCall, Call::kHangs>},
    {"changed-modules", CrashWithChangedModules},
#ifdef SYS_clock_gettime64
    {"late", CrashIn2105},
    {"late-without-clock", CrashWithoutAClock},
#endif
};

}  // namespace

crash::Modes crash::FileModes() {
  return {kModes, sizeof(kModes) / sizeof(kModes[0])};
}
