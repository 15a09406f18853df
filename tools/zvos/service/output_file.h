// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A file that appears under its name only when it is complete.
#pragma once

#include "shared/descriptor.h"
#include "shared/problem.h"

namespace tool {

// The data goes into a file of another name in the same folder, which is removed unless Finish was
// called with success.
class OutputFile {
 public:
  // The path may name a regular file, which Finish replaces (one behind a symbolic link as well), or
  // nothing.
  explicit OutputFile(const std::string &aPath);
  ~OutputFile();
  OutputFile(const OutputFile &) = delete;
  OutputFile &operator=(const OutputFile &) = delete;

  // None when the path can be written to; nothing is changed.
  static MaybeProblem WhyImpossible(const std::string &aPath);

  MaybeProblem Begin();
  MaybeProblem Write(const char *aData, size_t aLength);
  MaybeProblem Finish();

 private:
  Problem Failed() const;

  const std::string mName;
  const std::string mPath;
  std::string mTemporaryPath;  // empty when there is none
  Descriptor mFile;
};

}  // namespace tool
