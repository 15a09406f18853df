// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the tests of back-traces share: known return addresses in place of the real ones, and the lines
// that they become.
#pragma once

#include "support/Alone.h"
#include "support/Faults.h"
#include "support/RecordingLog.h"
#include "support/Support.h"

#include <zvOS/zvBinaryRevision.h>
#include <zvOS/zvDebug.h>
#include <zvOS/zvPath.h>
#include <zvOS/zvThread.h>

#include <execinfo.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace zvtest {
namespace debug {

inline std::vector<std::string> Lines(const std::string &aText) {
  std::vector<std::string> theLines;
  std::istringstream theStream(aText);
  for (std::string theLine; std::getline(theStream, theLine);)
    theLines.push_back(theLine + "\n");
  return theLines;
}

inline std::string Joined(const std::vector<std::string> &aLines, const std::string &aPrefix = "") {
  std::string theText;
  for (const std::string &theLine : aLines)
    theText += aPrefix + theLine;
  return theText;
}

// Return addresses of real functions, so that they have symbols.
inline std::vector<void *> SomeAddresses(size_t aCount) {
  std::vector<void *> theAddresses;
  for (size_t i = 0; i < aCount; ++i) {
    char *theFunction = reinterpret_cast<char *>(i % 2 == 0 ? reinterpret_cast<void *>(&zvDebug_Break)
                                                            : reinterpret_cast<void *>(&zvThread_GetPID));
    theAddresses.push_back(theFunction + 1 + i % 3);
  }
  return theAddresses;
}

// Lines as the trace writes them for these addresses.
inline std::vector<std::string> FrameLines(const std::vector<void *> &anAddresses) {
  std::vector<std::string> theLines;
  if (anAddresses.empty()) return theLines;
  char **theSymbols = backtrace_symbols(anAddresses.data(), static_cast<int>(anAddresses.size()));
  for (size_t i = 0; i < anAddresses.size(); ++i) {
    theLines.push_back(Format("%02d: ", static_cast<int>(i)) + theSymbols[i] + "\n");
  }
  free(theSymbols);
  return theLines;
}

// Lets the library capture these addresses instead of the real ones.
class CapturedAddresses {
 public:
  explicit CapturedAddresses(const std::vector<void *> &anAddresses)
      : mAddresses(anAddresses), mFault("backtrace", 0, 0, -1) {
    mFault.Returning(static_cast<long long>(mAddresses.size())).Doing([this](const long long *anArguments) {
      mCapacity = static_cast<int>(anArguments[1]);
      if (mAddresses.empty() || static_cast<size_t>(mCapacity) < mAddresses.size()) return;
      memcpy(reinterpret_cast<void *>(static_cast<intptr_t>(anArguments[0])), mAddresses.data(),
             mAddresses.size() * sizeof(void *));
    });
  }
  int Capacity() const { return mCapacity; }

 private:
  std::vector<void *> mAddresses;
  int mCapacity = 0;
  Fault mFault;
};

}  // namespace debug
}  // namespace zvtest
