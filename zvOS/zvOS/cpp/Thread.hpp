// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Threads that run anything callable and report a crash before the process dies: zvThread.h.
#ifndef zvOS_cpp_Thread_hpp
#define zvOS_cpp_Thread_hpp

#include <zvOS/cpp/Sync.hpp>
#include <zvOS/zvThread.h>

#include <cstddef>
#include <new>
#include <type_traits>

namespace zv {

// A thread that is waited for, in join() or at the latest by the destructor: what the callable refers to
// lives as long as it runs. One that is to go on alone is started by StartDetached and has no object.
//
// The callable is copied or moved into memory of its own, run once, and destroyed in the thread.
class Thread : private Owner<zvOSThread, zvThread_Delete> {
 public:
  // No thread.
  Thread() = default;
  // Takes over a joinable thread that the flat interface has made; one that was not run ends without it.
  explicit Thread(zvOSThread *aHandle) : Owner(aHandle) {}
  // Waits for the thread, if there is one.
  ~Thread() { join(); }
  // Takes over the thread of the other.
  Thread(Thread &&) = default;
  // Takes over the thread of the other; the one that is replaced is waited for.
  Thread &operator=(Thread &&anOther) noexcept {
    Owner theNew(std::move(anOther));
    join();
    Owner::swap(theNew);
    return *this;
  }

  // Starts a thread that runs the callable. aStackSize is as in zvOSThread_Data: 0 gives 128 KiB, 1 the
  // system's default.
  template <typename Callable>
  static Result<Thread> Start(Callable &&aCallable, size_t aStackSize = 0) {
    using Work = Task<std::decay_t<Callable>>;
    Thread theThread;
    Work *const theWork = Work::New(std::forward<Callable>(aCallable));
    if (theWork == nullptr) return Error(zvThread_Status_Error, ENOMEM);
    Owner theOwner(New(theWork, zvThread_Kind_Joinable, aStackSize));
    const Error theError = Run(theOwner.Handle());
    // A thread that did not begin ends here, before its work is released.
    if (theError) {
      theOwner = Owner();
      Work::Delete(theWork);
      return theError;
    }
    theThread.swap(theOwner);
    return theThread;
  }

  // Starts one for which nobody waits; what it uses is its own or lasts.
  template <typename Callable>
  static Result<void> StartDetached(Callable &&aCallable, size_t aStackSize = 0) {
    using Work = Task<std::decay_t<Callable>>;
    Work *const theWork = Work::New(std::forward<Callable>(aCallable));
    if (theWork == nullptr) return Error(zvThread_Status_Error, ENOMEM);
    // One that did not begin waits for ever: there is no call that ends it.
    const Error theError = Run(New(theWork, zvThread_Kind_Detached, aStackSize));
    if (!theError) return {};
    Work::Delete(theWork);
    return theError;
  }

  // Whether there is a thread to wait for.
  bool joinable() const { return Handle() != nullptr; }
  void join() {
    if (!joinable()) return;
    zvThread_Wait(Handle());
    Owner::operator=(Owner());
  }
  // 0 when there is no thread.
  uint32 get_id() const { return joinable() ? zvThread_GetID(Handle()) : 0; }

  using Owner::Handle;
  // Hands the thread over: the caller waits for it and deletes it.
  using Owner::Release;
  using Owner::operator bool;

 private:
  template <typename Callable>
  struct Task {
    static_assert(std::is_invocable_v<Callable &>, "a thread runs what can be called without arguments");

    Callable mCallable;

    template <typename Given>
    static Task *New(Given &&aCallable) {
      static_assert(alignof(Task) <= alignof(std::max_align_t), "memory from malloc is not aligned for this");
      Owner<void, std::free> theMemory(std::malloc(sizeof(Task)));
      if (!theMemory) return nullptr;
      // Where there are exceptions, the callable may throw one when it is copied.
      new (theMemory.Handle()) Task{std::forward<Given>(aCallable)};
      return static_cast<Task *>(theMemory.Release());
    }
    static void Delete(Task *aTask) {
      aTask->~Task();
      std::free(aTask);
    }
    static void Body(void *aTask) {
      const Owner<Task, Delete> theTask(static_cast<Task *>(aTask));
      static_cast<void>(theTask.Handle()->mCallable());
    }
  };

  template <typename Work>
  static zvOSThread *New(Work *aWork, int aKind, size_t aStackSize) {
    errno = 0;
    const zvOSThread_Data theData = {Work::Body, nullptr, aWork,
                                     aStackSize, aKind,   zvThread_Scheduling_Default};
    return zvThread_New(&theData);
  }

  static Error Run(zvOSThread *aThread) {
    if (aThread == nullptr) return Error::Last(zvThread_Status_Error);
    const int theStatus = zvThread_Run(aThread);
    return theStatus == zvThread_Status_NoError ? Error() : Error::Last(theStatus);
  }
};

// What a thread asks for itself.
namespace this_thread {

// A signal may end it early. The flat sleep wraps around at 71 minutes: longer ones are several.
template <typename Unit, typename Period>
void sleep_for(std::chrono::duration<Unit, Period> aDelay) {
  constexpr uint32 kLongestSleep = UINT32_MAX / 1000;
  uint32 theRest = detail::Delay(aDelay);
  for (; ZV_UNLIKELY(theRest > kLongestSleep); theRest -= kLongestSleep)
    zvThread_Sleep(kLongestSleep);
  zvThread_Sleep(theRest);
}

inline uint32 get_id() {
  return zvThread_GetCurrentThreadID();
}

}  // namespace this_thread

}  // namespace zv

#endif
