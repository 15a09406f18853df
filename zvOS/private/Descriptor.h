// Owner of a descriptor: closed on every path, or handed on with release().
#pragma once

#include <unistd.h>
#include <utility>

namespace zvos {

class Descriptor {
 public:
  explicit Descriptor(int aDescriptor) : mDescriptor(aDescriptor) {}
  ~Descriptor() {
    if (mDescriptor >= 0) close(mDescriptor);
  }
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;

  explicit operator bool() const { return mDescriptor >= 0; }
  int get() const { return mDescriptor; }
  int release() { return std::exchange(mDescriptor, -1); }

 private:
  int mDescriptor;
};

}  // namespace zvos
