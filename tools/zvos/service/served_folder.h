// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The folder that is served: files below it can be opened, and nothing else.
#pragma once

#include "service/file_protocol.h"
#include "shared/descriptor.h"
#include "shared/problem.h"

namespace tool {

// Raises the limit of open descriptors, as far as the system lets us, to what sockets that fit into an
// fd_set and a file for each of them take.
void WantDescriptors();

// Descriptors from this number on are left to what needs one for a moment.
int DescriptorLimit();

// An open file with its size at that moment. Descriptors are kept out of the numbers that fit into an
// fd_set as far as the system's limits allow, which leaves these to sockets.
class ServedFile {
 public:
  // Takes the descriptor over; false, without it, when there are too many.
  bool Take(Descriptor &aFile, uint64 aSize, int aDescriptorLimit);
  void Close() { mFile.Reset(); }
  uint64 Size() const { return mSize; }

  // Reads a piece at an offset; the count of bytes, 0 at the end, -1 on failure.
  int ReadAt(uint64 anOffset, char *aBuffer, size_t aSize) const;

 private:
  Descriptor mFile;
  uint64 mSize = 0;
};

class ServedFolder {
 public:
  MaybeProblem Open(const std::string &aPath);

  // Opens a regular file by its name below the folder. A name that leads out of it, also by a symbolic
  // link on its way, is answered with kWord_Missing and the reason. Any thread may call it.
  [[nodiscard]] std::optional<Refusal> OpenFile(const std::string &aName, ServedFile &aFile) const;

 private:
  Descriptor mFolder;
  int mDescriptorLimit = 0;
};

}  // namespace tool
