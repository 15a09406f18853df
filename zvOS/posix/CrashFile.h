// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The crash file: what an engineer needs to get from a crash in the field to a line of code, who has the
// debug information of the build and nothing else. docs/crash.md describes it.
//
// It is an addition to the report of a fatal signal, written when log and trace are: nothing of these depends
// on it. Every part of it is a guarded step of its own, so that what breaks one leaves the others. It
// allocates nothing, takes no lock, and finds the modules in /proc/self/maps, not through the loader, whose
// lock another thread may hold.
#pragma once

#include "posix/CrashReport.h"

#include <zvOS/zvDefines.h>

namespace zvos {

// To be called in a stretch of the report, after its back-trace.
void WriteCrashFile(CrashReport &aReport);

// The file as its parts see it: text that is collected and written in larger pieces.
class CrashFile {
 public:
  // A file that exists is not written to: see docs/crash.md for what becomes of it.
  void Open();
  void Close();
  bool IsOpen() const { return mDescriptor > 0; }

  // A line, or a part of one when the format does not end in a newline. Control characters of what it shows
  // become '?'.
  void Add(const char *aFormat, ...) ZV_PRINTF_FORMAT(2, 3);
  void Write();

 private:
  // All zeros, so that a process that does not crash has no page of its own for it. No file is 0: it is above
  // the standard streams.
  int mDescriptor = 0;
  size_t mLength = 0;
  char mText[2048] = {};
};

// A program or library that is mapped into the process, from its image in memory.
struct Module {
  uintptr_t mStart;
  uintptr_t mEnd;
  uintptr_t mBias;       // what is added to the addresses of its file
  uintptr_t mCodeStart;  // from its first instruction to behind its last
  uintptr_t mCodeEnd;
  const char *mPath;

  bool HasCodeAt(uintptr_t anAddress) const { return anAddress >= mCodeStart && anAddress < mCodeEnd; }
};

// The part on modules: those that there are, then which of them an address is in.
void FindModules();
const Module *ModuleAt(uintptr_t anAddress);
void TellModules(CrashFile &aFile);
void TellStamps(CrashFile &aFile);

}  // namespace zvos
