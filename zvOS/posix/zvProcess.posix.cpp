// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A shell command with a pipe to or from it. Reads go to the descriptor, past the stream's buffer, so
// that they never wait. Our end of the pipe stays ours: a program that inherited it would keep the
// command from ever seeing the end of its input.

#include <zvOS/zvProcess.h>

#include "private/Owner.h"
#include "private/Record.h"

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>

struct zvProcessFD_t {
  FILE *mPipeFD = nullptr;
  int mPID = 0;  // not known
};

namespace {

bool IsOpen(zvProcessFD aFD) {
  return aFD != nullptr && aFD->mPipeFD != nullptr;
}

}  // namespace

extern "C" int zvProcess_Open(const char *aProcessPath, zvProcessOpenMode anOpenMode, zvProcessFD *aFD) {
  if (aProcessPath == nullptr || aFD == nullptr) return -1;
  zvos::Owner<FILE, pclose> theStream(
      popen(aProcessPath, anOpenMode == zvProcessOpenMode_Write ? "we" : "re"));
  if (!theStream) return -1;
  zvProcessFD_t *const theProcess = zvos::NewRecord<zvProcessFD_t, zvMalloc>();
  if (theProcess == nullptr) return -1;

  fcntl(fileno(theStream.get()), F_SETFL, O_NONBLOCK);
  theProcess->mPipeFD = theStream.release();
  *aFD = theProcess;
  return 0;
}

// The record is not released, which is kept as it stands: later calls find it closed.
extern "C" int zvProcess_Close(zvProcessFD aFD) {
  if (!IsOpen(aFD)) return 0;
  pclose(aFD->mPipeFD);
  aFD->mPipeFD = nullptr;
  return 0;
}

extern "C" int zvProcess_Read(zvProcessFD aFD, void *aBuffer, uint32 aCount) {
  if (!IsOpen(aFD)) return kzvProcessStatus_InvalidFD;

  const ssize_t theCount = read(fileno(aFD->mPipeFD), aBuffer, aCount);
  if (theCount > 0) return static_cast<int>(theCount);
  if (theCount == 0) return kzvProcessStatus_EOS;
  return errno == EAGAIN ? 0 : kzvProcessStatus_InvalidFD;
}

extern "C" int zvProcess_Write(zvProcessFD aFD, const void *aBuffer, uint32 aCount) {
  return IsOpen(aFD) ? static_cast<int>(fwrite(aBuffer, 1, aCount, aFD->mPipeFD)) : -1;
}

extern "C" int zvProcess_IsAlive(zvProcessFD) {
  return 0;
}

extern "C" int zvProcess_IsRunning(const char *) {
  zvAssertFail("Not yet implemented");
  return 0;
}

extern "C" int zvProcess_Kill(const char *) {
  zvAssertFail("Not yet implemented");
  return 0;
}
