// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "shared/file_status.h"

#include <ftw.h>
#include <sys/stat.h>

#include <cstdio>

namespace tool {

namespace {

static_assert(sizeof(time_t) == 8, "a file may be written after January 2038");

bool Take(int aResult, const struct stat &aStatus, FileStatus &anOther) {
  if (aResult != 0) return false;
  anOther = {aStatus.st_mode, static_cast<uint64>(aStatus.st_size), aStatus.st_dev, aStatus.st_ino};
  return true;
}

int Remove(const char *aPath, const struct stat *, int, struct FTW *) {
  return remove(aPath);
}

}  // namespace

bool GetStatus(const std::string &aPath, FileStatus &aStatus) {
  struct stat theStatus = {};
  return Take(stat(aPath.c_str(), &theStatus), theStatus, aStatus);
}

bool GetStatus(int aDescriptor, FileStatus &aStatus) {
  struct stat theStatus = {};
  return Take(fstat(aDescriptor, &theStatus), theStatus, aStatus);
}

void RemoveFolder(const std::string &aPath) {
  constexpr int kMostOpen = 4;
  nftw(aPath.c_str(), Remove, kMostOpen, FTW_DEPTH | FTW_PHYS);
}

}  // namespace tool
