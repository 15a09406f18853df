// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the system says of files, whenever they were written. (The source file is compiled with 64-bit times,
// which the rest of the program cannot be: it hands times of 32 bits to the library.)
#pragma once

#include <zvOS/zvTypes.h>

#include <sys/types.h>

#include <string>

namespace tool {

struct FileStatus {
  mode_t mMode;
  uint64 mSize;
  dev_t mDevice;
  ino_t mNode;
};

// False with the reason in errno. Links are followed.
bool GetStatus(const std::string &aPath, FileStatus &aStatus);
bool GetStatus(int aDescriptor, FileStatus &aStatus);

// Removes a folder with all that is in it.
void RemoveFolder(const std::string &aPath);

}  // namespace tool
