// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The owner of whatever a call gives and another call takes back: released on every path, or handed on with
// release().
#pragma once

#include <unistd.h>
#include <cstdlib>
#include <memory>
#include <utility>

namespace zvos {

template <auto kRelease>
struct ReleasedBy {
  template <typename Resource>
  void operator()(Resource *aResource) const {
    kRelease(aResource);
  }
};

// Of memory from malloc, as Owner<char>, unless the call that releases it is named: Owner<FILE, fclose>.
template <typename Resource, auto kRelease = free>
using Owner = std::unique_ptr<Resource, ReleasedBy<kRelease>>;

// Of a descriptor.
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
