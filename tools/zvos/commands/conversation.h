// What goes on over a connected pipe: text both ways, or a descriptor one way.
#pragma once

#include "shared/descriptor.h"

#include <string>

namespace tool {

// A pipe of the library, closed as the library does it.
class PipeOwner {
 public:
  explicit PipeOwner(int aPipe) : mPipe(aPipe) {}
  ~PipeOwner();
  PipeOwner(const PipeOwner &) = delete;
  PipeOwner &operator=(const PipeOwner &) = delete;

  bool IsOpen() const { return mPipe >= 0; }
  int Get() const { return mPipe; }
  int Error() const { return mPipe < 0 ? -mPipe : 0; }  // pipes fail with negated error numbers

 private:
  const int mPipe;
};

// Standard input goes to the peer, what comes from the peer to standard output, until both directions
// have ended or the peer is gone. When a descriptor comes first instead, its contents are shown.
class Conversation {
 public:
  // The pipe is one that does not wait.
  explicit Conversation(int aPipe);

  // Returns the exit status; complains when something fails.
  int Hold();

 private:
  bool TakeInput();
  bool Send();
  bool Receive();
  bool ReceiveFirst();
  bool ShowDescriptor(int aDescriptor);
  void EndInput();

  const int mPipe;
  std::string mUnsent;
  bool mfInput;       // there may be more to send
  bool mfPeer;        // there may be more to receive
  bool mfFirst;       // nothing was received yet
  bool mfGone;        // the peer takes nothing any more
  bool mfEndIsKnown;  // the peer knows that nothing more is sent
};

}  // namespace tool
