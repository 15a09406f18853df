// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Owners of descriptors.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

namespace tool {

// A descriptor, closed at the end; -1 for none.
class Descriptor {
 public:
  explicit Descriptor(int aDescriptor = -1) : mDescriptor(aDescriptor) {}
  ~Descriptor() { Reset(); }
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;

  bool IsOpen() const { return mDescriptor >= 0; }
  int Get() const { return mDescriptor; }
  int Release() { return std::exchange(mDescriptor, -1); }
  void Reset(int aDescriptor = -1) {
    if (IsOpen()) close(mDescriptor);
    mDescriptor = aDescriptor;
  }

  // Appends a piece of what there is to read; false at the end, and on failure.
  bool ReadPiece(std::string &aText) const {
    char theBuffer[4096];
    const ssize_t theCount = read(mDescriptor, theBuffer, sizeof(theBuffer));
    if (theCount > 0) aText.append(theBuffer, static_cast<size_t>(theCount));
    return theCount > 0 || (theCount == -1 && errno == EINTR);
  }

 private:
  int mDescriptor;
};

// Both ends of a pipe of the system.
struct PipeEnds {
  bool Open() {
    int theEnds[2];
    if (pipe2(theEnds, O_CLOEXEC) == -1) return false;
    mRead.Reset(theEnds[0]);
    mWrite.Reset(theEnds[1]);
    return true;
  }

  Descriptor mRead;
  Descriptor mWrite;
};

}  // namespace tool
