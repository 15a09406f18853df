// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Local pipes, and descriptors passed through them: zvPipe.h. Flags are sums of ZVPIPE_.... The status of an
// error is the negated error number.
#ifndef zvOS_cpp_Pipe_hpp
#define zvOS_cpp_Pipe_hpp

#include <zvOS/cpp/Label.hpp>
#include <zvOS/cpp/Owner.hpp>
#include <zvOS/zvPipe.h>
#include <zvOS/zvSocketLog.h>
#include <zvOS/zvSocketTracker.h>

namespace zv {

namespace detail {

inline int ClosePipe(int aPipe) {
  return zvPipe_Close(aPipe, 1);
}

// As ZVLOG_WILL_LOG, whose casts are those of C.
inline bool WantsDebug(int aModule) {
  return ZV_UNLIKELY(ZVLOGLEVEL_DEBUG < _zvLog_LevelNow()) &&
         zvLog_WillLog(ZVLOGLEVEL_DEBUG, static_cast<zvLogModule>(aModule)) != 0;
}

template <typename Owning>
Result<Owning> DescriptorOrNegatedErrno(int aDescriptor) {
  if (aDescriptor < 0) return Error(aDescriptor, -aDescriptor);
  return Owning(aDescriptor);
}

}  // namespace detail

struct PipePair;

// One end of a pipe.
class Pipe : public DescriptorOwner<detail::ClosePipe> {
 public:
  using DescriptorOwner::DescriptorOwner;

  // Two ends, which programs that the process starts inherit.
  static Result<PipePair> Pair(int someFlags = ZVPIPE_DEFAULT);
  // To whom listens under the name.
  static Result<Pipe> Connect(const char *aName, int someFlags = ZVPIPE_DEFAULT) {
    return detail::DescriptorOrNegatedErrno<Pipe>(zvPipe_Connect(aName, someFlags));
  }

  // The count of bytes, 0 at the end.
  Result<size_t> Read(void *aBuffer, size_t aSize) {
    return detail::CountOrNegatedErrno(zvPipe_Read(Descriptor(), aBuffer, aSize));
  }
  Result<size_t> Write(const void *aBuffer, size_t aSize) {
    return detail::CountOrNegatedErrno(zvPipe_Write(Descriptor(), aBuffer, aSize));
  }
  Result<size_t> Write(std::string_view aText) { return Write(aText.data(), aText.size()); }

  // Sends what the owner has, and empties the owner; when it cannot be sent, the owner keeps it. A socket
  // leaves the socket table in either case.
  template <typename Owning>
  Result<void> SendFD(Owning &&anOwner) {
    static_assert(!std::is_lvalue_reference_v<Owning>, "what is sent is given away: say std::move");
    // The call closes the descriptor, and tells neither the socket table nor the traffic files.
    constexpr bool kfSocket = std::is_constructible_v<Owning, int, Label>;
    const int theDescriptor = anOwner.Descriptor();
    if (kfSocket && detail::WantsDebug(ZVLOG_M_SOCKETTRACKER)) zvSocketTracker_Remove(theDescriptor);
    const int theAnswer = zvPipe_SendFD(Descriptor(), theDescriptor);
    if (theAnswer < 0) return Error(theAnswer, -theAnswer);
    if (kfSocket && detail::WantsDebug(ZVLOG_M_TCP) && detail::WantsDebug(ZVLOG_M_SOCKETTRAFFIC))
      _Log_Buffer_Close(theDescriptor);
    static_cast<void>(anOwner.Release());
    return {};
  }

  // Receives one as what it is: theWorker.RecvFD<zv::Socket>(). What goes by a label gets this one.
  template <typename Owning>
  Result<Owning> RecvFD(Label aLabel = Label::Here()) {
    const int theAnswer = zvPipe_RecvFD(Descriptor());
    if (theAnswer < 0) return Error(theAnswer, -theAnswer);
    if constexpr (std::is_constructible_v<Owning, int, Label>) {
      return Owning(theAnswer, aLabel);
    } else {
      return Owning(theAnswer);
    }
  }

  // Closes this end, by zvPipe_Close, and says what the destructor keeps to itself.
  Result<void> Close() { return detail::DoneOrNegatedErrno(detail::ClosePipe(Release())); }
};

// Both ends of a pipe.
struct PipePair {
  // One end.
  Pipe mFirst;
  // The other end.
  Pipe mSecond;
};

inline Result<PipePair> Pipe::Pair(int someFlags) {
  int theEnds[2];
  const int theAnswer = zvPipe_Pair(theEnds, someFlags);
  if (theAnswer < 0) return Error(theAnswer, -theAnswer);
  return PipePair{Pipe(theEnds[0]), Pipe(theEnds[1])};
}

// Listens under a name.
class PipeListener : public DescriptorOwner<detail::ClosePipe> {
 public:
  using DescriptorOwner::DescriptorOwner;

  static Result<PipeListener> Listen(const char *aName, int someFlags = ZVPIPE_DEFAULT) {
    return detail::DescriptorOrNegatedErrno<PipeListener>(zvPipe_Listener(aName, someFlags));
  }

  Result<Pipe> Accept(int someFlags = ZVPIPE_DEFAULT) {
    return detail::DescriptorOrNegatedErrno<Pipe>(zvPipe_Accept(Descriptor(), someFlags));
  }

  // Gives the name up, by zvPipe_Close, and says what the destructor keeps to itself.
  Result<void> Close() { return detail::DoneOrNegatedErrno(detail::ClosePipe(Release())); }
};

}  // namespace zv

#endif
