// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The files that belong to the modules of a report: found by their build ids, never by a likeness of names.
#pragma once

#include "postmortem/report.h"

#include <map>
#include <string>
#include <vector>

namespace tool {

struct ModuleFile {
  enum class State {
    Matched,   // it is of the very build
    Unproven,  // the report has no build id: the file may be of another build
    Missing
  };

  State mState = State::Missing;
  std::string mPath;
  bool mfLines = false;
  std::vector<std::string> mRefused;   // files of the name that are of another build, with their build ids
  std::vector<std::string> mLookedAt;  // what else there might have been
};

class DebugFiles {
 public:
  explicit DebugFiles(const std::vector<std::string> &someFolders);

  ModuleFile Find(const ReportModule &aModule);

 private:
  static void Consider(const std::string &aPath, const std::string &aBuildId, ModuleFile &aResult);
  void Index(const std::string &aFolder, int aDepth);
  std::vector<std::string> PathsByBuildId(const ReportModule &aModule) const;
  std::vector<std::string> PathsByName(const ReportModule &aModule);

  const std::vector<std::string> mFolders;
  bool mfIndexed = false;
  size_t mEntries = 0;
  std::multimap<std::string, std::string> mByName;  // paths below the folders
};

}  // namespace tool
