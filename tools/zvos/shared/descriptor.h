// Descriptors, and bytes that go out through them as they are.
#pragma once

#include <unistd.h>

#include <cstddef>

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
  void Reset(int aDescriptor = -1) {
    if (mDescriptor >= 0) close(mDescriptor);
    mDescriptor = aDescriptor;
  }
  int Release() {
    const int theDescriptor = mDescriptor;
    mDescriptor = -1;
    return theDescriptor;
  }

 private:
  int mDescriptor;
};

// Writes bytes of any kind to standard output, at once. Complains and returns false when that fails.
bool WriteOutput(const char *aData, size_t aLength);

}  // namespace tool
