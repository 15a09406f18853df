// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "service/output_file.h"

#include "shared/file_status.h"
#include "shared/files.h"
#include "shared/owners.h"

#include <zvLog/zvLog.h>

#include <sys/stat.h>

#include <cstring>

namespace tool {

namespace {

constexpr int kMostNames = 100;

std::string TextOf(const std::string &aPath, const std::string &aReason) {
  return "cannot write '" + aPath + "': " + aReason;
}

}  // namespace

OutputFile::OutputFile(const std::string &aPath)
    : mName(aPath), mPath(TakeText(realpath(aPath.c_str(), nullptr), aPath)) {}

OutputFile::~OutputFile() {
  if (!mTemporaryPath.empty()) unlink(mTemporaryPath.c_str());
}

MaybeProblem OutputFile::WhyImpossible(const std::string &aPath) {
  FileStatus theStatus = {};
  if (aPath.empty()) return BadInput(TextOf(aPath, "it has no name"));
  const bool afNamed = aPath.back() != '/';
  if (afNamed && !GetStatus(aPath, theStatus)) {
    if (errno == ENOENT) return {};
    return BadInput(TextOf(aPath, strerror(errno)));
  }
  if (!afNamed || S_ISDIR(theStatus.mMode)) return BadInput(TextOf(aPath, "it is a directory"));
  // Replacing a device, a pipe or the like would take it away from everybody.
  if (!S_ISREG(theStatus.mMode)) return BadInput(TextOf(aPath, "it is not a regular file"));
  return {};
}

MaybeProblem OutputFile::Begin() {
  const std::string theFolder = PathParts(mPath).mFolder;
  for (int i = 0; i < kMostNames; ++i) {
    char theName[16];
    zv_snprintf(theName, sizeof(theName), ".zvos-%04x%04x", zvRand_MinMaxUInt16(0, UINT16_MAX),
                zvRand_MinMaxUInt16(0, UINT16_MAX));
    const std::string thePath = theFolder + theName;
    mFile.Reset(open(thePath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (mFile.IsOpen()) {
      mTemporaryPath = thePath;
      return {};
    }
    if (errno != EEXIST) break;
  }
  return Failed();
}

MaybeProblem OutputFile::Write(const char *aData, size_t aLength) {
  while (aLength > 0) {
    const ssize_t theCount = write(mFile.Get(), aData, aLength);
    if (theCount == -1 && errno == EINTR) continue;
    if (theCount == -1) return Failed();
    aData += theCount;
    aLength -= static_cast<size_t>(theCount);
  }
  return {};
}

MaybeProblem OutputFile::Finish() {
  // The name must not reach the disk before the data.
  if (fsync(mFile.Get()) == -1 && errno != EINVAL) return Failed();
  if (close(mFile.Release()) == -1) return Failed();
  if (rename(mTemporaryPath.c_str(), mPath.c_str()) == -1) return Failed();
  mTemporaryPath.clear();
  return {};
}

Problem OutputFile::Failed() const {
  return Problem(TextOf(mName, strerror(errno)));
}

}  // namespace tool
