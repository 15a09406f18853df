// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Who has a handle, a descriptor or a text releases it; it can be moved, and handed over, but not copied.
#ifndef zvOS_cpp_Owner_hpp
#define zvOS_cpp_Owner_hpp

#include <zvOS/cpp/Result.hpp>
#include <zvOS/zvDefines.h>

#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

namespace zv {

// Owns a handle of the flat interface: Owner<zvPtrList, zvPtrList_Delete>. Most types are made of it.
template <typename Record, auto kDelete>
class Owner {
 public:
  // Owns nothing.
  constexpr Owner() = default;
  // Takes over what the flat interface has made.
  constexpr explicit Owner(Record *aHandle) : mHandle(aHandle) {}
  // Releases what it owns by kDelete.
  ~Owner() {
    if (mHandle != nullptr) kDelete(mHandle);
  }
  // Takes over what the other owns.
  constexpr Owner(Owner &&anOther) noexcept : mHandle(anOther.Release()) {}
  // Takes over what the other owns, and releases what was owned here.
  Owner &operator=(Owner &&anOther) noexcept {
    Owner theFormer(std::move(anOther));
    swap(theFormer);
    return *this;
  }
  Owner(const Owner &) = delete;
  Owner &operator=(const Owner &) = delete;

  // Whether it owns something.
  constexpr explicit operator bool() const { return mHandle != nullptr; }
  // What the flat functions take; still owned.
  constexpr Record *Handle() const { return mHandle; }
  // Hands it over: from now on it is the caller's.
  [[nodiscard]] constexpr Record *Release() { return std::exchange(mHandle, nullptr); }
  // Each has what the other had.
  void swap(Owner &anOther) noexcept { std::swap(mHandle, anOther.mHandle); }

 private:
  Record *mHandle = nullptr;
};

// Owns a descriptor, which kClose closes.
template <auto kClose = ::close>
class DescriptorOwner {
 public:
  // Owns nothing.
  constexpr DescriptorOwner() = default;
  // Takes over a descriptor; a negative one is none.
  constexpr explicit DescriptorOwner(int aDescriptor) : mDescriptor(aDescriptor) {}
  // Closes what it owns by kClose.
  ~DescriptorOwner() {
    if (mDescriptor >= 0) kClose(mDescriptor);
  }
  // Takes over what the other owns.
  constexpr DescriptorOwner(DescriptorOwner &&anOther) noexcept : mDescriptor(anOther.Release()) {}
  // Takes over what the other owns, and closes what was owned here.
  DescriptorOwner &operator=(DescriptorOwner &&anOther) noexcept {
    DescriptorOwner theFormer(std::move(anOther));
    swap(theFormer);
    return *this;
  }
  DescriptorOwner(const DescriptorOwner &) = delete;
  DescriptorOwner &operator=(const DescriptorOwner &) = delete;

  // Whether it owns something.
  constexpr explicit operator bool() const { return mDescriptor >= 0; }
  // The descriptor, still owned, or -1.
  constexpr int Descriptor() const { return mDescriptor; }
  // Hands it over: from now on it is the caller's.
  [[nodiscard]] constexpr int Release() { return std::exchange(mDescriptor, -1); }
  // Each has what the other had.
  void swap(DescriptorOwner &anOther) noexcept { std::swap(mDescriptor, anOther.mDescriptor); }

 private:
  int mDescriptor = -1;
};

// A text that a flat function has handed over, as the folder in zv::Text theFolder(zvPath_GetTempDirPath()).
class Text : public Owner<char, std::free> {
 public:
  using Owner::Owner;

  // The empty text where there is none.
  const char *c_str() const { return Handle() != nullptr ? Handle() : ""; }
  // The same as a view, which is of use as long as this owns the text.
  std::string_view View() const & { return c_str(); }
  // As View().
  operator std::string_view() const & { return View(); }
  // No view of a text that is gone at the end of the line. That an argument would not outlive it cannot be
  // told; c_str() serves there, as that of a std::string does.
  std::string_view View() const && = delete;
  // No view of a text that is gone at the end of the line.
  operator std::string_view() const && = delete;

  // Whether both say the same; no text is the empty one.
  friend bool operator==(const Text &aText, const Text &anOther) { return aText.View() == anOther.View(); }
  // Whether both say the same.
  friend bool operator==(const Text &aText, std::string_view anOther) { return aText.View() == anOther; }
  // Whether both say the same.
  friend bool operator==(std::string_view aText, const Text &anOther) { return aText == anOther.View(); }
  // Whether they differ.
  friend bool operator!=(const Text &aText, const Text &anOther) { return !(aText == anOther); }
  // Whether they differ.
  friend bool operator!=(const Text &aText, std::string_view anOther) { return !(aText == anOther); }
  // Whether they differ.
  friend bool operator!=(std::string_view aText, const Text &anOther) { return !(aText == anOther); }
  // Its truth says whether there is a text.
  friend bool operator==(const Text &aText, std::nullptr_t) = delete;
  friend bool operator!=(const Text &aText, std::nullptr_t) = delete;
};

// A list that a flat function has handed over, and its elements when they are texts, as names of interfaces.
template <typename Element>
class List {
 public:
  // What algorithms ask for.
  using value_type = Element;
  // A pointer into the list.
  using const_iterator = const Element *;
  // The elements do not change.
  using iterator = const_iterator;

  // The empty list.
  List() = default;
  // Takes over what the flat interface has made, and how many there are.
  List(Element *someElements, int aCount) : mElements(someElements), mCount(static_cast<size_t>(aCount)) {}

  // Releases the list, and what is in it.
  ~List() {
    if constexpr (std::is_same_v<Element, char *>) {
      for (char *const theText : *this)
        std::free(theText);
    }
  }
  // Takes over what the other has.
  List(List &&anOther) noexcept
      : mElements(std::move(anOther.mElements)), mCount(std::exchange(anOther.mCount, 0)) {}
  // Takes over what the other has, and releases what was here.
  List &operator=(List &&anOther) noexcept {
    List theFormer(std::move(anOther));
    mElements.swap(theFormer.mElements);
    std::swap(mCount, theFormer.mCount);
    return *this;
  }
  List(const List &) = delete;
  List &operator=(const List &) = delete;

  // The first element.
  const Element *begin() const { return mElements.Handle(); }
  // Behind the last element.
  const Element *end() const { return begin() + size(); }
  // The count of elements.
  size_t size() const { return mElements ? mCount : 0; }
  // Whether there are none.
  bool empty() const { return size() == 0; }
  // An element; the index is less than size().
  const Element &operator[](size_t anIndex) const { return begin()[anIndex]; }

 private:
  Owner<Element, std::free> mElements;
  size_t mCount = 0;
};

}  // namespace zv

#endif
