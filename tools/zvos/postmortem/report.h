// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A report of a crash as text: the crash file that the library writes, the trace file beside it, or a log in
// which the report stands. Whatever the text is, it is not trusted.
#pragma once

#include <zvOS/zvTypes.h>

#include <string>
#include <utility>
#include <vector>

namespace tool {

// Where an address is, as far as the report says.
struct Place {
  uint64 mAddress = 0;
  std::string mModule;  // its path, or empty
  std::string
      mSymbol;  // the offset counts from it when there is one, otherwise from the addresses of the file
  uint64 mOffset = 0;
};

enum class FrameRole {
  Report,   // of the library's report, in front of the crash
  Crash,    // what was interrupted
  Caller,   // an address that a call returns to
  OnStack,  // a word of the stack that may be such an address
};

struct Frame {
  int mNumber;
  FrameRole mRole;
  Place mPlace;
};

struct ReportModule {
  std::string mPath;
  std::string mBuildId;  // in lower-case hexadecimal digits, or empty
  std::string mRevision;
};

struct CrashReportText {
  enum class Kind { CrashFile, Trace, Log };

  Kind mKind = Kind::Trace;
  bool mfComplete = false;
  std::vector<std::pair<std::string, std::string>> mFacts;  // in their order
  std::vector<Frame> mFrames;
  std::vector<ReportModule> mModules;  // with the build ids, of a crash file only
};

const char *NameOf(CrashReportText::Kind aKind);

// All reports that a text holds, in their order.
std::vector<CrashReportText> ReadCrashReports(const std::string &aText);

}  // namespace tool
