// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Who has a handle, a descriptor or a text releases it; it can be moved, and handed over, but not copied.
#ifndef zvOS_cpp_Owner_hpp
#define zvOS_cpp_Owner_hpp

#include <zvOS/cpp/Result.hpp>
#include <zvOS/zvDefines.h>

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

namespace zv {

// Owns a handle of the flat interface: Owner<zvPtrList, zvPtrList_Delete>. The types below are made of it.
template <typename Record, auto kDelete>
class Owner {
 public:
  constexpr Owner() = default;
  // Takes over what the flat interface has made.
  constexpr explicit Owner(Record *aHandle) : mHandle(aHandle) {}
  ~Owner() {
    if (mHandle != nullptr) kDelete(mHandle);
  }
  constexpr Owner(Owner &&anOther) noexcept : mHandle(anOther.Release()) {}
  Owner &operator=(Owner &&anOther) noexcept {
    Owner theFormer(std::move(anOther));
    swap(theFormer);
    return *this;
  }
  Owner(const Owner &) = delete;
  Owner &operator=(const Owner &) = delete;

  constexpr explicit operator bool() const { return mHandle != nullptr; }
  constexpr Record *Handle() const { return mHandle; }
  // From now on the caller's.
  [[nodiscard]] constexpr Record *Release() { return std::exchange(mHandle, nullptr); }
  void swap(Owner &anOther) noexcept { std::swap(mHandle, anOther.mHandle); }

 private:
  Record *mHandle = nullptr;
};

// Owns a descriptor, which kClose closes.
template <auto kClose = ::close>
class DescriptorOwner {
 public:
  constexpr DescriptorOwner() = default;
  constexpr explicit DescriptorOwner(int aDescriptor) : mDescriptor(aDescriptor) {}
  ~DescriptorOwner() {
    if (mDescriptor >= 0) kClose(mDescriptor);
  }
  constexpr DescriptorOwner(DescriptorOwner &&anOther) noexcept : mDescriptor(anOther.Release()) {}
  DescriptorOwner &operator=(DescriptorOwner &&anOther) noexcept {
    DescriptorOwner theFormer(std::move(anOther));
    swap(theFormer);
    return *this;
  }
  DescriptorOwner(const DescriptorOwner &) = delete;
  DescriptorOwner &operator=(const DescriptorOwner &) = delete;

  constexpr explicit operator bool() const { return mDescriptor >= 0; }
  constexpr int Descriptor() const { return mDescriptor; }
  // From now on the caller's.
  [[nodiscard]] constexpr int Release() { return std::exchange(mDescriptor, -1); }
  void swap(DescriptorOwner &anOther) noexcept { std::swap(mDescriptor, anOther.mDescriptor); }

 private:
  int mDescriptor = -1;
};

// A text that a flat function has handed over: zv::Text theFolder(zvPath_GetTempDirPath());
class Text : public Owner<char, std::free> {
 public:
  using Owner::Owner;

  // The empty text where there is none.
  const char *c_str() const { return Handle() != nullptr ? Handle() : ""; }
  std::string_view View() const { return c_str(); }
  operator std::string_view() const & { return View(); }
  // The view of a text that is gone at the end of the line.
  operator std::string_view() const && = delete;
};

// A list that a flat function has handed over.
template <typename Element>
class List {
 public:
  using value_type = Element;
  using const_iterator = const Element *;
  using iterator = const_iterator;

  List() = default;
  List(Element *someElements, int aCount) : mElements(someElements), mCount(static_cast<size_t>(aCount)) {}

  const Element *begin() const { return mElements.Handle(); }
  const Element *end() const { return begin() + size(); }
  size_t size() const { return mElements ? mCount : 0; }
  bool empty() const { return size() == 0; }
  const Element &operator[](size_t anIndex) const { return begin()[anIndex]; }

 private:
  Owner<Element, std::free> mElements;
  size_t mCount = 0;
};

}  // namespace zv

#endif
