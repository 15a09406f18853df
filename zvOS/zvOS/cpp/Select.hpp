// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Waiting for descriptors, with a wake-up that any thread can send: zvSocketSelect.h.
#ifndef zvOS_cpp_Select_hpp
#define zvOS_cpp_Select_hpp

#include <zvOS/cpp/Delay.hpp>
#include <zvOS/cpp/Owner.hpp>
#include <zvOS/zvSocketTypes.h>

#include <sys/select.h>
#include <sys/time.h>

// Where a 32-bit program is compiled with 64-bit time, the flat functions are declared with the time that
// they take, so that no other can be given to them, and the header need not refuse the program as a whole.
#if defined(__USE_TIME_BITS64) && __SIZEOF_LONG__ == 4
namespace zv {
namespace detail {

struct SelectTime {
  long tv_sec;
  long tv_usec;
};

}  // namespace detail
}  // namespace zv

#define timeval zv::detail::SelectTime
#include <zvOS/zvSocketSelect.h>
#undef timeval
#else
#include <zvOS/zvSocketSelect.h>

namespace zv {
namespace detail {

using SelectTime = struct timeval;

}  // namespace detail
}  // namespace zv
#endif

namespace zv {

namespace detail {

template <typename Owning, typename = void>
inline constexpr bool kHasDescriptor = false;
template <typename Owning>
inline constexpr bool
    kHasDescriptor<Owning, std::void_t<decltype(std::declval<const Owning &>().Descriptor())>> = true;

template <typename Owning>
int DescriptorOf(const Owning &anOwner) {
  static_assert(kHasDescriptor<Owning>, "the flat interface gives no descriptor of this: see docs/cpp.md");
  if constexpr (kHasDescriptor<Owning>) return anOwner.Descriptor();
  return -1;
}

}  // namespace detail

// A set of descriptors below FD_SETSIZE. Whatever has a Descriptor() can be given itself.
class DescriptorSet {
 public:
  // The empty set.
  DescriptorSet() { Clear(); }

  // Removes all.
  void Clear() {
    FD_ZERO(&mSet);
    mHighest = -1;
  }
  // Adds a descriptor. False, and the set as it was, for one that has no place in it.
  [[nodiscard]] bool Add(int aDescriptor) {
    if (!HasPlace(aDescriptor)) return false;
    FD_SET(aDescriptor, &mSet);
    if (aDescriptor > mHighest) mHighest = aDescriptor;
    return true;
  }
  // Removes a descriptor, if it is in the set.
  void Remove(int aDescriptor) {
    if (HasPlace(aDescriptor)) FD_CLR(aDescriptor, &mSet);
  }
  // Whether the descriptor is in the set.
  bool Contains(int aDescriptor) const { return HasPlace(aDescriptor) && FD_ISSET(aDescriptor, &mSet); }

  // Adds the descriptor of an owner.
  template <typename Owning>
  [[nodiscard]] bool Add(const Owning &anOwner) {
    return Add(detail::DescriptorOf(anOwner));
  }
  // Removes the descriptor of an owner.
  template <typename Owning>
  void Remove(const Owning &anOwner) {
    Remove(detail::DescriptorOf(anOwner));
  }
  // Whether the descriptor of the owner is in the set.
  template <typename Owning>
  bool Contains(const Owning &anOwner) const {
    return Contains(detail::DescriptorOf(anOwner));
  }

  // Not below any descriptor in the set.
  int Highest() const { return mHighest; }
  // What the flat functions take.
  fd_set *Handle() { return &mSet; }

 private:
  static constexpr bool HasPlace(int aDescriptor) { return aDescriptor >= 0 && aDescriptor < FD_SETSIZE; }

  fd_set mSet;
  int mHighest;
};

// What a wait has found.
struct Ready {
  int mCount;        // 0 when the time was over
  bool mfTriggered;  // counts as one
};

// Waits for descriptors, and to be woken: one thread waits, any number trigger. False after it was made: it
// could not be made.
class SelectObject : public Owner<zvSocketSelect, zvSocketSelect_Delete> {
 public:
  SelectObject() : Owner(zvSocketSelect_New()) {}
  // Takes over what the flat interface has made.
  explicit SelectObject(zvSocketSelect *aHandle) : Owner(aHandle) {}

  // Any thread may do so.
  void Trigger() { zvSocketSelect_Trigger(Handle()); }

  // Waits without limit. The sets come back with what is ready.
  Result<Ready> Select(DescriptorSet *aReadSet, DescriptorSet *aWriteSet = nullptr,
                       DescriptorSet *anErrorSet = nullptr) {
    return Wait(aReadSet, aWriteSet, anErrorSet, nullptr);
  }
  // Waits for a time, of any unit.
  template <typename Unit, typename Period>
  Result<Ready> SelectFor(std::chrono::duration<Unit, Period> aDelay, DescriptorSet *aReadSet,
                          DescriptorSet *aWriteSet = nullptr, DescriptorSet *anErrorSet = nullptr) {
    constexpr uint64 kMicrosecondsPerSecond = 1000000;
    const uint64 theDelay = detail::Cut<std::chrono::microseconds>(aDelay);
    detail::SelectTime theTime = {};
    theTime.tv_sec = static_cast<long>(theDelay / kMicrosecondsPerSecond);
    theTime.tv_usec = static_cast<long>(theDelay % kMicrosecondsPerSecond);
    return Wait(aReadSet, aWriteSet, anErrorSet, &theTime);
  }

  // The set learns how high the trigger is, whose descriptor is the answer. After the wait comes Reset.
  int Prepare(DescriptorSet *aReadSet) {
    const int theTrigger = zvSocketSelect_Prepare(Handle(), aReadSet->Handle());
    static_cast<void>(aReadSet->Add(theTrigger));  // a place it has; the set learns how high that is
    return theTrigger;
  }
  // Answers whether the set held the trigger.
  bool Reset(DescriptorSet *aReadSet) { return zvSocketSelect_Reset(Handle(), aReadSet->Handle()) != 0; }

 private:
  static fd_set *SetOf(DescriptorSet *aSet, int &aHighest) {
    if (aSet == nullptr) return nullptr;
    if (aSet->Highest() > aHighest) aHighest = aSet->Highest();
    return aSet->Handle();
  }

  Result<Ready> Wait(DescriptorSet *aReadSet, DescriptorSet *aWriteSet, DescriptorSet *anErrorSet,
                     detail::SelectTime *aTime) {
    int theHighest = -1;
    fd_set *const theReadSet = SetOf(aReadSet, theHighest);
    fd_set *const theWriteSet = SetOf(aWriteSet, theHighest);
    fd_set *const theErrorSet = SetOf(anErrorSet, theHighest);
    // To the flat function 0 is no descriptor: below 1 it waits for the trigger alone, and clears the sets.
    if (theHighest == 0) theHighest = 1;
    int afTriggered = 0;
    const int theCount = zvSocketSelect_Select(Handle(), theReadSet, theWriteSet, theErrorSet, theHighest,
                                               aTime, &afTriggered);
    if (theCount < 0) return Error::Last(theCount);
    return Ready{theCount, afTriggered != 0};
  }
};

}  // namespace zv

#endif
