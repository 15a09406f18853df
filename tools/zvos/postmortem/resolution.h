// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A report of a crash with its frames resolved to functions, files and lines.
#pragma once

#include "postmortem/debug_files.h"
#include "postmortem/line_lookup.h"
#include "postmortem/report.h"

#include <string>
#include <vector>

namespace tool {

struct ResolvedModule {
  ReportModule mModule;
  ModuleFile mFile;
};

struct ResolvedFrame {
  Frame mFrame;
  int mModule = -1;       // its index, or -1 when the address is in none
  SourceLines mLines;     // empty when the file does not tell, or there is none
  std::string mFunction;  // from a table of symbols, when there are no lines
};

struct Resolution {
  CrashReportText mReport;
  std::vector<ResolvedFrame> mFrames;
  std::vector<ResolvedModule> mModules;  // those that frames are in
  std::string mMissing;                  // what would have to be installed, or empty

  // Whether a line was found for anything but the report itself.
  bool HasLines() const;
};

Resolution Resolve(const CrashReportText &aReport, DebugFiles &someFiles);

}  // namespace tool
