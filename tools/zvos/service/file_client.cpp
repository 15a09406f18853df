#include "service/file_client.h"

#include "shared/checksum.h"
#include "shared/command.h"
#include "shared/options.h"
#include "service/output_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace tool {

namespace {

constexpr char kLabel[] = "zvos get";

// How long the server may take to close, once everything has arrived.
constexpr uint32 kTimeForEnd = 1000;

std::string NumberOf(uint64 aDone, uint64 aTotal) {
  return std::to_string(aDone) + " of " + std::to_string(aTotal) + " bytes";
}

}  // namespace

FileClient::FileClient(const FetchSettings &aSettings, zvSocketSelect *aSelect,
                       std::function<bool()> afStopped)
    : mSettings(aSettings),
      mSelect(aSelect),
      mfStopped(std::move(afStopped)),
      mSocket(kLabel),
      mBuffer(kPieceSize),
      mStart(0),
      mEnd(0),
      mfAtEnd(false),
      mLength(0),
      mFetching() {}

Fetching FileClient::Fetch(Step &aStep) {
  const int64 theStart = Milliseconds();
  if (Connect() && Greet() && Request() && Receive(aStep)) WaitForEnd();
  mSocket.Reset(kzvSocketInvalid);
  mFetching.mMilliseconds = Milliseconds() - theStart;
  return mFetching;
}

bool FileClient::Connect() {
  mSocket.Reset(zvSocketOpen(AF_INET, SOCK_STREAM, 0, kLabel));
  if (!mSocket.IsOpen()) return FailOnSocket("no socket");
  if (mSocket.Get() >= FD_SETSIZE) return Fail(kStatus_CheckFailed, "too many descriptors are open already");
  if (zvSocketIOCtlSetBlock(mSocket.Get(), 0, kLabel) != 0) return FailOnSocket("no socket");

  const std::string theProblem = "cannot connect to " + EndpointText(mSettings.mServer);
  struct sockaddr_in theAddress = SocketAddress(mSettings.mServer);
  int theError = 0;
  if (zvSocketConnect(mSocket.Get(), reinterpret_cast<struct sockaddr *>(&theAddress), sizeof(theAddress),
                      kLabel) != 0) {
    theError = zvSocketGetLastError();
  } else if (!Wait(true, mSettings.mIdleTime)) {
    return Fail(mFetching.mStatus, theProblem + ": " + mFetching.mProblem);
  } else {
    socklen_t theLength = sizeof(theError);
    getsockopt(mSocket.Get(), SOL_SOCKET, SO_ERROR, &theError, &theLength);
  }
  if (theError != 0) return Fail(kStatus_BadInput, theProblem + ": " + strerror(theError));

  if (mSettings.mfTrace && MakeTrafficFile(mSettings.mServer, mSocket.Get())) {
    mFetching.mTrafficFile = TrafficFile(mSettings.mServer, mSocket.Get());
  }
  return true;
}

bool FileClient::Greet() {
  std::string theLine;
  std::string theText;
  if (!ReadLine(theLine)) return false;
  const size_t theLength = strlen(kGreeting);
  if (theLine.compare(0, theLength, kGreeting) != 0) return FailOnWord(theLine);
  theLine.erase(0, theLength);
  return HasWord(theLine, kWord_Ready, theText) || FailOnWord(theLine);
}

bool FileClient::Request() {
  const std::string theRequest = std::string(kWord_Get) + " " + EncodeName(mSettings.mName) + "\n";
  if (theRequest.size() > kLineLimit) return Fail(kStatus_BadInput, "the name is too long");
  std::string theLine;
  std::string theText;
  if (!Send(theRequest) || !ReadLine(theLine)) return false;
  if (!HasWord(theLine, kWord_Data, theText) || !ReadNumber(theText, 0, INT64_MAX, mLength)) {
    return FailOnWord(theLine);
  }
  return true;
}

bool FileClient::Receive(Step &aStep) {
  OutputFile theFile(mSettings.mFile);
  const std::string theProblem = "cannot write '" + mSettings.mFile + "': ";
  if (!theFile.Begin()) return Fail(kStatus_CheckFailed, theProblem + theFile.Problem());
  while (mFetching.mBytes < mLength) {
    if (mStart == mEnd && !FillBuffer()) {
      return Fail(mFetching.mStatus, mFetching.mProblem + " after " + NumberOf(mFetching.mBytes, mLength));
    }
    const size_t theCount = static_cast<size_t>(std::min<uint64>(mEnd - mStart, mLength - mFetching.mBytes));
    const char *theData = mBuffer.data() + mStart;
    if (!theFile.Write(theData, theCount)) return Fail(kStatus_CheckFailed, theProblem + theFile.Problem());
    mFetching.mChecksum = ContinueChecksum(mFetching.mChecksum, theData, theCount);
    mFetching.mBytes += theCount;
    mStart += theCount;
    aStep.Progress(mFetching.mBytes, mLength);
  }
  if (!CheckEnd()) return false;
  return theFile.Finish() || Fail(kStatus_CheckFailed, theProblem + theFile.Problem());
}

bool FileClient::CheckEnd() {
  std::string theLine;
  std::string theChecksum;
  if (!ReadLine(theLine)) return false;
  if (!HasWord(theLine, kWord_Checksum, theChecksum)) return FailOnWord(theLine);
  const std::string theOwnChecksum = ChecksumText(mFetching.mChecksum);
  return theChecksum == theOwnChecksum ||
         Fail(kStatus_CheckFailed,
              "wrong data: its CRC-32 is " + theOwnChecksum + ", the server says " + Printable(theChecksum));
}

// The server counts this client until it has closed: the next one, started when this program ends,
// is to find its place free. What comes now does not change that the file is there.
void FileClient::WaitForEnd() {
  const Fetching theResult = mFetching;
  const int64 theEnd = Milliseconds() + kTimeForEnd;
  while (!mfAtEnd && Milliseconds() < theEnd) {
    mStart = mEnd;
    if (!FillBuffer()) break;
  }
  mFetching = theResult;
}

bool FileClient::Send(const std::string &aText) {
  size_t theSent = 0;
  while (theSent < aText.size()) {
    const int theCount = zvSocketSend(mSocket.Get(), aText.data() + theSent,
                                      static_cast<int>(aText.size() - theSent), 0, kLabel);
    if (theCount >= 0) {
      theSent += static_cast<size_t>(theCount);
    } else if (!zvSocketLastErrorIsWouldBlock()) {
      return FailOnSocket("the connection broke");
    } else if (!Wait(true, mSettings.mIdleTime)) {
      return false;
    }
  }
  return true;
}

bool FileClient::ReadLine(std::string &aLine) {
  aLine.clear();
  for (;;) {
    if (mStart == mEnd && !FillBuffer()) return false;
    const char theCharacter = mBuffer[mStart++];
    if (theCharacter == '\n') return true;
    aLine += theCharacter;
    if (aLine.size() >= kLineLimit) return FailOnWord(aLine);
  }
}

// Waits for data; the buffer is empty before.
bool FileClient::FillBuffer() {
  for (;;) {
    const int theCount =
        zvSocketRecv(mSocket.Get(), mBuffer.data(), static_cast<int>(mBuffer.size()), 0, kLabel);
    if (theCount > 0) {
      mStart = 0;
      mEnd = static_cast<size_t>(theCount);
      return !mfStopped() || Fail(kStatus_CheckFailed, "stopped");
    }
    if (theCount == 0) {
      mfAtEnd = true;
      return Fail(kStatus_CheckFailed, "the server closed the connection");
    }
    if (!zvSocketLastErrorIsWouldBlock()) return FailOnSocket("the connection broke");
    if (!Wait(false, mSettings.mIdleTime)) return false;
  }
}

// Until the socket is ready.
bool FileClient::Wait(bool afToSend, uint32 aMilliseconds) {
  const int64 theEnd = Milliseconds() + aMilliseconds;
  for (;;) {
    if (mfStopped()) return Fail(kStatus_CheckFailed, "stopped");
    const int64 theRest = theEnd - Milliseconds();
    if (theRest <= 0) {
      return Fail(kStatus_CheckFailed, "no answer for " + std::to_string(aMilliseconds / 1000) + " s");
    }
    fd_set theSet;
    FD_ZERO(&theSet);
    FD_SET(mSocket.Get(), &theSet);
    struct timeval theTimeOut = {static_cast<time_t>(theRest / 1000),
                                 static_cast<suseconds_t>(theRest % 1000 * 1000)};
    int afTriggered = 0;
    const int theCount =
        zvSocketSelect_Select(mSelect, afToSend ? nullptr : &theSet, afToSend ? &theSet : nullptr, nullptr,
                              mSocket.Get(), &theTimeOut, &afTriggered);
    if (theCount < 0 && zvSocketGetLastError() != EINTR) return FailOnSocket("waiting failed");
    if (theCount > 0 && FD_ISSET(mSocket.Get(), &theSet)) return true;
  }
}

bool FileClient::Fail(int aStatus, const std::string &aProblem) {
  mFetching.mStatus = aStatus;
  mFetching.mProblem = aProblem;
  return false;
}

bool FileClient::FailOnSocket(const char *aWhat) {
  const int theError = zvSocketGetLastError();
  return Fail(kStatus_CheckFailed, std::string(aWhat) + ": " + strerror(theError));
}

// A line that is not the one hoped for: a refusal, or no line of this protocol.
bool FileClient::FailOnWord(const std::string &aLine) {
  const std::string theServer = EndpointText(mSettings.mServer);
  std::string theText;
  if (HasWord(aLine, kWord_Busy, theText)) {
    return Fail(kStatus_CheckFailed, theServer + " is busy: " + Printable(theText));
  }
  if (HasWord(aLine, kWord_Denied, theText)) {
    return Fail(kStatus_CheckFailed, theServer + " refuses: " + Printable(theText));
  }
  if (HasWord(aLine, kWord_Refused, theText)) {
    return Fail(kStatus_CheckFailed, theServer + " refuses: " + Printable(theText));
  }
  if (HasWord(aLine, kWord_Missing, theText)) {
    return Fail(kStatus_BadInput,
                "'" + Printable(mSettings.mName) + "' on " + theServer + ": " + Printable(theText));
  }
  return Fail(kStatus_CheckFailed, theServer + " is no server of 'zvos serve'");
}

}  // namespace tool
