// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Files named on the command line, and temporary ones.
#pragma once

#include "shared/problem.h"

#include <zvOS/zvDirTraverser.h>
#include <zvOS/zvFile.h>

#include <sys/types.h>

#include <functional>
#include <string>

namespace tool {

// The path counted from the caller's current folder, as people expect it: the library counts
// relative paths from the folder of the program. An absolute path is returned as it is, and so is
// any path when the current folder is gone.
std::string AbsolutePath(const std::string &aPath);

// A path with its folder, up to and with the last '/', and the name behind.
struct PathParts {
  explicit PathParts(const std::string &aPath);

  std::string mFolder;
  std::string mName;
};

// The folder for temporary files, as the library knows it; and a path in it, or in /tmp when it has no name.
std::string TemporaryFolder();
std::string TemporaryPath(const std::string &aName);

// The file of this program.
std::string OwnExecutable();

// What is said of a file that is no regular one.
const char *WhyNotRegular(mode_t aMode);

// None when the path is a regular file that can be read and has a size. Asked before the library is,
// which would log failures in its own words.
MaybeProblem WhyUnreadable(const std::string &aPath);

// None when the path is a folder that can be read.
MaybeProblem WhyNoFolder(const std::string &aPath);

// WhyUnreadable with its answer as a complaint that names the file; true when it can be read.
bool IsReadable(const std::string &aPath);

// What can be read of a file, up to the first piece that reaches the limit; absolute paths only.
std::string ReadFile(const std::string &aPath, size_t aLimit = SIZE_MAX);

// Calls the function for every entry of a folder, until its end or a problem. Absolute paths only.
MaybeProblem WalkThrough(const std::string &aFolder, const std::string &aPattern, int aFlags,
                         const std::function<void(const zvDirEntry &)> &aVisit);

// A file opened for reading, closed at the end. Absolute paths only.
class InputFile {
 public:
  explicit InputFile(const std::string &aPath);
  ~InputFile();
  InputFile(const InputFile &) = delete;
  InputFile &operator=(const InputFile &) = delete;

  bool IsOpen() const { return mFD != kzvFileFDInvalid; }
  zvFileFD FD() const { return mFD; }

 private:
  zvFileFD mFD;
};

}  // namespace tool
