// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Crashes whose crash file meets obstacles. The program stands in for calls of the C library that nothing but
// the crash file needs.

#include "Crash.h"

#include <dlfcn.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
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
  snprintf(aName, sizeof aName, "%s/zvos_crash_%d%s.txt", getenv("ZVOS_CRASH_DIR"),
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
  snprintf(theName, sizeof theName, "%s/module.so", getenv("ZVOS_CRASH_DIR"));
  if (dlopen(theName, RTLD_NOW) == nullptr) Exit(crash::kExitCannotStart);
  // The start of a thread may read data of the library.
  RunInWorker([](void *) {
    char theNameAgain[512];
    snprintf(theNameAgain, sizeof theNameAgain, "%s/module.so", getenv("ZVOS_CRASH_DIR"));
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
};

}  // namespace

crash::Modes crash::FileModes() {
  return {kModes, sizeof kModes / sizeof kModes[0]};
}
