// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "service/file_client.h"

#include "service/file_protocol.h"
#include "service/output_file.h"
#include "service/traffic.h"
#include "shared/checksum.h"
#include "shared/clock.h"
#include "shared/options.h"
#include "shared/text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

namespace tool {

namespace {

constexpr char kLabel[] = "zvos get";

// How long the server may take to close, once everything has arrived.
constexpr uint32 kTimeForEnd = 1000;

Problem SocketProblem(const char *aWhat) {
  const int theError = zvSocketGetLastError();
  return Problem(std::string(aWhat) + ": " + strerror(theError));
}

class FileClient {
 public:
  FileClient(const FetchSettings &aSettings, zvSocketSelect *aSelect, const std::function<bool()> &afStopped)
      : mSettings(aSettings), mSelect(aSelect), mfStopped(afStopped), mSocket(kLabel), mBuffer(kPieceSize) {}
  FileClient(const FileClient &) = delete;
  FileClient &operator=(const FileClient &) = delete;

  Fetching Fetch(Step &aStep);

 private:
  MaybeProblem Transfer(Step &aStep);
  MaybeProblem Connect();
  MaybeProblem Greet();
  MaybeProblem Request();
  MaybeProblem Receive(Step &aStep);
  MaybeProblem CheckEnd();
  void WaitForEnd();

  MaybeProblem Send(const std::string &aText);
  MaybeProblem ReadLine(std::string &aLine);
  MaybeProblem FillBuffer() { return FillBuffer(mSettings.mIdleTime); }
  MaybeProblem FillBuffer(int64 aTime);
  MaybeProblem Wait(bool afToSend, int64 aTime);
  Problem ProblemOfWord(const std::string &aLine) const;

  const FetchSettings &mSettings;
  zvSocketSelect *const mSelect;
  const std::function<bool()> &mfStopped;
  SocketOwner mSocket;
  std::vector<char> mBuffer;
  size_t mStart = 0;  // of what is in the buffer and not yet taken
  size_t mEnd = 0;
  uint64 mLength = 0;
  Fetching mFetching = {};
};

Fetching FileClient::Fetch(Step &aStep) {
  const int64 theStart = Milliseconds();
  mFetching.mProblem = Transfer(aStep);
  mSocket.Reset(kzvSocketInvalid);
  mFetching.mMilliseconds = Milliseconds() - theStart;
  return mFetching;
}

MaybeProblem FileClient::Transfer(Step &aStep) {
  if (MaybeProblem theProblem = Connect()) return theProblem;
  if (MaybeProblem theProblem = Greet()) return theProblem;
  if (MaybeProblem theProblem = Request()) return theProblem;
  if (MaybeProblem theProblem = Receive(aStep)) return theProblem;
  WaitForEnd();
  return {};
}

MaybeProblem FileClient::Connect() {
  mSocket.Reset(zvSocketOpen(AF_INET, SOCK_STREAM, 0, kLabel));
  if (!mSocket.IsOpen()) return SocketProblem("no socket");
  if (mSocket.Get() >= FD_SETSIZE) return Problem("too many descriptors are open already");
  if (zvSocketIOCtlSetBlock(mSocket.Get(), 0, kLabel) != 0) return SocketProblem("no socket");

  const std::string theStart = "cannot connect to " + EndpointText(mSettings.mServer) + ": ";
  int theError = 0;
  if (!mSocket.Connect(mSettings.mServer)) {
    theError = zvSocketGetLastError();
  } else if (const MaybeProblem theProblem = Wait(true, mSettings.mIdleTime)) {
    return Problem(theStart + theProblem->mText, theProblem->mStatus);
  } else {
    socklen_t theLength = sizeof(theError);
    getsockopt(mSocket.Get(), SOL_SOCKET, SO_ERROR, &theError, &theLength);
  }
  if (theError != 0) return BadInput(theStart + strerror(theError));

  if (mSettings.mfTrace && MakeTrafficFile(mSettings.mServer, mSocket.Get())) {
    mFetching.mTrafficFile = TrafficFile(mSettings.mServer, mSocket.Get());
  }
  return {};
}

MaybeProblem FileClient::Greet() {
  std::string theLine;
  std::string theText;
  if (MaybeProblem theProblem = ReadLine(theLine)) return theProblem;
  if (!BeginsWith(theLine, kGreeting)) return ProblemOfWord(theLine);
  theLine.erase(0, strlen(kGreeting));
  if (!HasWord(theLine, kWord_Ready, theText)) return ProblemOfWord(theLine);
  return {};
}

MaybeProblem FileClient::Request() {
  const std::string theRequest = std::string(kWord_Get) + " " + EncodeName(mSettings.mName) + "\n";
  if (theRequest.size() > kLineLimit) return BadInput("the name is too long");
  std::string theLine;
  std::string theText;
  if (MaybeProblem theProblem = Send(theRequest)) return theProblem;
  if (MaybeProblem theProblem = ReadLine(theLine)) return theProblem;
  if (!HasWord(theLine, kWord_Data, theText) || !ReadNumber(theText, 0, INT64_MAX, mLength))
    return ProblemOfWord(theLine);
  return {};
}

MaybeProblem FileClient::Receive(Step &aStep) {
  OutputFile theFile(mSettings.mFile);
  if (MaybeProblem theProblem = theFile.Begin()) return theProblem;
  uint64 &theDone = mFetching.mBytes;
  while (theDone < mLength) {
    if (mStart == mEnd) {
      if (const MaybeProblem theProblem = FillBuffer()) {
        return Problem(theProblem->mText + " after " + std::to_string(theDone) + " of " +
                           std::to_string(mLength) + " bytes",
                       theProblem->mStatus);
      }
    }
    const size_t theCount = static_cast<size_t>(std::min<uint64>(mEnd - mStart, mLength - theDone));
    const char *theData = mBuffer.data() + mStart;
    if (MaybeProblem theProblem = theFile.Write(theData, theCount)) return theProblem;
    mFetching.mChecksum = ContinueChecksum(mFetching.mChecksum, theData, theCount);
    theDone += theCount;
    mStart += theCount;
    aStep.Progress(theDone, mLength);
  }
  if (MaybeProblem theProblem = CheckEnd()) return theProblem;
  return theFile.Finish();
}

MaybeProblem FileClient::CheckEnd() {
  std::string theLine;
  std::string theChecksum;
  if (MaybeProblem theProblem = ReadLine(theLine)) return theProblem;
  if (!HasWord(theLine, kWord_Checksum, theChecksum)) return ProblemOfWord(theLine);
  const std::string theOwnChecksum = ChecksumText(mFetching.mChecksum);
  if (theChecksum == theOwnChecksum) return {};
  return Problem("wrong data: its CRC-32 is " + theOwnChecksum + ", the server says " +
                 Printable(theChecksum));
}

// The server counts this client until it has closed: the next one, started when this program ends,
// is to find its place free. What comes now does not change that the file is there.
void FileClient::WaitForEnd() {
  const int64 theEnd = Milliseconds() + kTimeForEnd;
  for (int64 theRest = kTimeForEnd; theRest > 0; theRest = theEnd - Milliseconds()) {
    if (FillBuffer(theRest)) return;
  }
}

MaybeProblem FileClient::Send(const std::string &aText) {
  size_t theSent = 0;
  while (theSent < aText.size()) {
    const int theCount = zvSocketSend(mSocket.Get(), aText.data() + theSent,
                                      static_cast<int>(aText.size() - theSent), 0, kLabel);
    if (theCount >= 0) {
      theSent += static_cast<size_t>(theCount);
    } else if (!zvSocketLastErrorIsWouldBlock()) {
      return SocketProblem("the connection broke");
    } else if (MaybeProblem theProblem = Wait(true, mSettings.mIdleTime)) {
      return theProblem;
    }
  }
  return {};
}

MaybeProblem FileClient::ReadLine(std::string &aLine) {
  aLine.clear();
  for (;;) {
    if (mStart == mEnd) {
      if (MaybeProblem theProblem = FillBuffer()) return theProblem;
    }
    const char theCharacter = mBuffer[mStart++];
    if (theCharacter == '\n') return {};
    aLine += theCharacter;
    if (aLine.size() >= kLineLimit) return ProblemOfWord(aLine);
  }
}

// Waits for data that many milliseconds. It replaces what the buffer has.
MaybeProblem FileClient::FillBuffer(int64 aTime) {
  for (;;) {
    const int theCount =
        zvSocketRecv(mSocket.Get(), mBuffer.data(), static_cast<int>(mBuffer.size()), 0, kLabel);
    if (theCount > 0) {
      mStart = 0;
      mEnd = static_cast<size_t>(theCount);
      if (!mfStopped()) return {};
      return Problem("stopped");
    }
    if (theCount == 0) return Problem("the server closed the connection");
    if (!zvSocketLastErrorIsWouldBlock()) return SocketProblem("the connection broke");
    if (MaybeProblem theProblem = Wait(false, aTime)) return theProblem;
  }
}

// Until the socket is ready, for that many milliseconds.
MaybeProblem FileClient::Wait(bool afToSend, int64 aTime) {
  const int64 theEnd = Milliseconds() + aTime;
  for (;;) {
    if (mfStopped()) return Problem("stopped");
    const int64 theRest = theEnd - Milliseconds();
    if (theRest <= 0) return Problem("no answer for " + std::to_string(aTime / 1000) + " s");
    fd_set theSet;
    FD_ZERO(&theSet);
    FD_SET(mSocket.Get(), &theSet);
    struct timeval theTimeOut = {static_cast<time_t>(theRest / 1000),
                                 static_cast<suseconds_t>(theRest % 1000 * 1000)};
    int afTriggered = 0;
    const int theCount =
        zvSocketSelect_Select(mSelect, afToSend ? nullptr : &theSet, afToSend ? &theSet : nullptr, nullptr,
                              mSocket.Get(), &theTimeOut, &afTriggered);
    if (theCount < 0 && zvSocketGetLastError() != EINTR) return SocketProblem("waiting failed");
    if (theCount > 0 && FD_ISSET(mSocket.Get(), &theSet)) return {};
  }
}

// Of a line that is not the one hoped for: a refusal, or no line of this protocol.
Problem FileClient::ProblemOfWord(const std::string &aLine) const {
  const std::string theServer = EndpointText(mSettings.mServer);
  std::string theText;
  if (HasWord(aLine, kWord_Busy, theText)) return Problem(theServer + " is busy: " + Printable(theText));
  if (HasWord(aLine, kWord_Denied, theText) || HasWord(aLine, kWord_Refused, theText))
    return Problem(theServer + " refuses: " + Printable(theText));
  if (HasWord(aLine, kWord_Missing, theText))
    return BadInput("'" + Printable(mSettings.mName) + "' on " + theServer + ": " + Printable(theText));
  return Problem(theServer + " is no server of 'zvos serve'");
}

}  // namespace

Fetching FetchFile(const FetchSettings &aSettings, zvSocketSelect *aSelect,
                   const std::function<bool()> &afStopped, Step &aStep) {
  return FileClient(aSettings, aSelect, afStopped).Fetch(aStep);
}

}  // namespace tool
