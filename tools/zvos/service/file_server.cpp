// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// One thread waits in a select object for the listening socket, for all clients that have to wait, and
// for the trigger. What is ready goes into a queue, from which a few workers take it; a client that
// cannot go on goes back to the waiting thread, which a trigger tells. No thread ever waits for a
// single client, so that a slow one delays nobody.

#include "service/file_server.h"

#include "service/exclusion.h"
#include "service/served_folder.h"
#include "service/server_connection.h"
#include "service/traffic.h"
#include "shared/clock.h"
#include "shared/files.h"
#include "shared/owners.h"
#include "shared/signals.h"
#include "shared/terminal.h"

#include <zvLog/zvConfigFile.h>
#include <zvOS/zvSocketQOS.h>
#include <zvOS/zvSocketTracker.h>

#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstring>
#include <deque>
#include <memory>
#include <vector>

namespace tool {

namespace {

using ConfigFileOwner = Owner<zvConfigFile_t, zvConfigFile_Close>;

constexpr char kListenerLabel[] = "zvos serve: listener";
constexpr char kClientLabel[] = "zvos serve: client";
constexpr char kSection[] = "serve";

// The library's table of sockets has 50 places; a trace that shows only some would mislead.
constexpr uint32 kMostTracedClients = 40;

constexpr size_t kWorkerCount = 4;
constexpr int kMostAcceptsAtOnce = 64;
constexpr int64 kAcceptPause = 100;  // milliseconds

class FileServer {
 public:
  explicit FileServer(const ServerSettings &aSettings)
      : mSettings(aSettings),
        mSelect(zvSocketSelect_New()),
        mListener(kListenerLabel),
        mMutex(zvMutex_New()),
        mHasWork(zvCondition_New()) {}
  ~FileServer() { StopWorkers(); }
  FileServer(const FileServer &) = delete;
  FileServer &operator=(const FileServer &) = delete;

  // None when it listens.
  MaybeProblem Open();
  Endpoint Address() const { return OwnEndpoint(mListener.Get()); }
  zvSocketSelect *Select() const { return mSelect.get(); }

  // Serves until a signal says stop, unless there is a problem; prints a line per client and a summary.
  MaybeProblem Serve(const StopSignals &aSignals);

 private:
  using ConnectionOwner = std::unique_ptr<ServerConnection>;
  struct Waiting {
    ConnectionOwner mConnection;
    ServerConnection::Wants mWants;
  };
  struct Totals {
    uint64 mSent;
    uint64 mSentBytes;
    uint64 mRefused;
    uint64 mBroken;
  };

  MaybeProblem OpenPolicy();
  MaybeProblem OpenListener();
  bool StartWorkers();
  void StopWorkers();
  static void Work(void *aServer);
  bool Take(ConnectionOwner &aConnection);
  void HandOver(ConnectionOwner aConnection);
  void GiveBack(ConnectionOwner aConnection, ServerConnection::Wants aWants);

  MaybeProblem WaitAndHandOver();
  int FillSets(fd_set &aReadSet, fd_set &aWriteSet, struct timeval &aTimeOut, bool &afTimeOut);
  void TakeBack();
  void GiveUpIdle();
  void AcceptAll();
  bool AcceptOne();
  void Admit(zvSocket aSocket, const Endpoint &aPeer);
  void Keep(ConnectionOwner aConnection, ServerConnection::Wants aWants);
  void Account(const ServerConnection &aConnection);
  void ShowEnd(const StopSignals &aSignals);

  const ServerSettings mSettings;
  ServedFolder mFolder;
  PolicyOwner mPolicy;
  SelectOwner mSelect;
  SocketOwner mListener;
  int mDescriptorLimit = 0;  // sockets have smaller numbers

  // Of the waiting thread.
  std::vector<Waiting> mWaiting;
  uint32 mClients = 0;
  int64 mListenAgain = 0;  // no accepting before that time
  Totals mTotals = {};

  const MutexOwner mMutex;
  const ConditionOwner mHasWork;
  std::deque<ConnectionOwner> mQueue ZVOS_GUARDED_BY(mMutex);
  std::vector<Waiting> mReturned ZVOS_GUARDED_BY(mMutex);
  bool mfEnding ZVOS_GUARDED_BY(mMutex) = false;

  std::vector<ThreadOwner> mWorkers;
};

// ---- Beginning ----

MaybeProblem FileServer::Open() {
  if (!mSelect || !mMutex || !mHasWork) return BadInput("no locks or no select object could be made");
  WantDescriptors();
  if (const MaybeProblem theProblem = mFolder.Open(mSettings.mFolder))
    return BadInput("'" + mSettings.mFolder + "': " + theProblem->mText);
  if (MaybeProblem theProblem = OpenPolicy()) return theProblem;
  mDescriptorLimit = std::min(DescriptorLimit(), FD_SETSIZE);
  return OpenListener();
}

// A policy takes its settings from a configuration file, hence one is made for it.
MaybeProblem FileServer::OpenPolicy() {
  std::string theText = std::string("[") + kSection + "]\n";
  if (!mSettings.mExcludedInterfaces.empty()) {
    theText += "exclude-if = " + mSettings.mExcludedInterfaces + "\n";
  }
  std::string thePath = TemporaryPath("zvos-XXXXXX");
  const Descriptor theFile(mkostemp(&thePath[0], O_CLOEXEC));
  if (!theFile.IsOpen()) return BadInput(thePath + ": " + strerror(errno));
  const bool afWritten =
      write(theFile.Get(), theText.data(), theText.size()) == static_cast<ssize_t>(theText.size());
  const ConfigFileOwner theConfigFile(afWritten ? zvConfigFile_Open(thePath.c_str()) : nullptr);
  unlink(thePath.c_str());
  if (!afWritten) return BadInput(thePath + ": cannot be written");
  if (!theConfigFile) return BadInput("the settings of the policy cannot be read");
  mPolicy.reset(zvSocketPolicy_New(static_cast<uint32>(mSettings.mPolicy), nullptr));
  if (!mPolicy) return BadInput("no policy could be made");
  zvSocketPolicy_Configure(mPolicy.get(), theConfigFile.get(), kSection);
  // The policy tells nobody when it has no memory for the names, or cannot make sense of one: then everybody
  // would be served.
  return WhyNotExcluded(mPolicy.get(), mSettings.mExcludedInterfaces);
}

MaybeProblem FileServer::OpenListener() {
  uint16 thePort = mSettings.mAddress.mPort;
  zvSocketSetLastError(0);
  mListener.Reset(
      zvSocket_GetTCPSocket(static_cast<int32>(zvSocket_ntohl(mSettings.mAddress.mAddress)), &thePort));
  if (!mListener.IsOpen() || zvSocketListen(mListener.Get(), SOMAXCONN, kListenerLabel) != 0 ||
      zvSocketIOCtlSetBlock(mListener.Get(), 0, kListenerLabel) != 0) {
    const int theError = zvSocketGetLastError();
    return BadInput("cannot listen on " + EndpointText(mSettings.mAddress) + ": " +
                    (theError != 0 ? strerror(theError) : "the system refuses"));
  }
  if (mListener.Get() >= mDescriptorLimit) return BadInput("too many descriptors are open already");
  // Tried here, where a refusal can be told; connections are marked when they are accepted.
  if (mSettings.mQOSClass != kNoQOSClass &&
      zvSocketQOS_SetPriority(zvSocketPolicy_GetQOS(mPolicy.get()), mListener.Get(), mSettings.mQOSClass,
                              nullptr) != 0) {
    return BadInput("the system refuses that QoS class, which may take the privilege CAP_NET_ADMIN");
  }
  return {};
}

// ---- Workers ----

bool FileServer::StartWorkers() {
  for (size_t i = 0; i < kWorkerCount; ++i) {
    mWorkers.push_back(StartThread(Work, this));
    if (!mWorkers.back()) return false;
  }
  return true;
}

void FileServer::StopWorkers() {
  if (mWorkers.empty()) return;
  {
    const MutexHold theHold(mMutex);
    mfEnding = true;
    zvCondition_Broadcast(mHasWork.get());
  }
  mWorkers.clear();
}

void FileServer::Work(void *aServer) {
  FileServer &theServer = *static_cast<FileServer *>(aServer);
  std::vector<char> theBuffer(kPieceSize);
  ConnectionOwner theConnection;
  while (theServer.Take(theConnection)) {
    const ServerConnection::Wants theWants = theConnection->TakeTurn(theBuffer.data());
    if (theWants == ServerConnection::kTurn) {
      theServer.HandOver(std::move(theConnection));
    } else {
      theServer.GiveBack(std::move(theConnection), theWants);
    }
  }
}

bool FileServer::Take(ConnectionOwner &aConnection) {
  const MutexHold theHold(mMutex);
  while (mQueue.empty() && !mfEnding) {
    if (zvCondition_Wait(mHasWork.get(), mMutex.get()) != zvCondition_Status_NoError) return false;
  }
  if (mfEnding) return false;
  aConnection = std::move(mQueue.front());
  mQueue.pop_front();
  return true;
}

void FileServer::HandOver(ConnectionOwner aConnection) {
  const MutexHold theHold(mMutex);
  mQueue.push_back(std::move(aConnection));
  zvCondition_Signal(mHasWork.get());
}

void FileServer::GiveBack(ConnectionOwner aConnection, ServerConnection::Wants aWants) {
  {
    const MutexHold theHold(mMutex);
    mReturned.push_back({std::move(aConnection), aWants});
  }
  zvSocketSelect_Trigger(mSelect.get());
}

// ---- The waiting thread ----

MaybeProblem FileServer::Serve(const StopSignals &aSignals) {
  MaybeProblem theProblem;
  if (!StartWorkers()) theProblem.emplace("a thread could not be started");
  while (!theProblem && aSignals.First() == 0) {
    TakeBack();
    GiveUpIdle();
    FlushOutput();
    theProblem = WaitAndHandOver();
  }
  StopWorkers();
  ShowEnd(aSignals);
  return theProblem;
}

MaybeProblem FileServer::WaitAndHandOver() {
  fd_set theReadSet;
  fd_set theWriteSet;
  struct timeval theTimeOut = {};
  bool afTimeOut = false;
  const int theHighest = FillSets(theReadSet, theWriteSet, theTimeOut, afTimeOut);
  int afTriggered = 0;
  if (zvSocketSelect_Select(mSelect.get(), &theReadSet, &theWriteSet, nullptr, theHighest,
                            afTimeOut ? &theTimeOut : nullptr, &afTriggered) < 0) {
    const int theError = zvSocketGetLastError();
    if (theError == EINTR) return {};
    return Problem(std::string("waiting failed: ") + strerror(theError));
  }
  for (size_t i = 0; i < mWaiting.size();) {
    const zvSocket theSocket = mWaiting[i].mConnection->Socket();
    if (!FD_ISSET(theSocket, &theReadSet) && !FD_ISSET(theSocket, &theWriteSet)) {
      ++i;
      continue;
    }
    HandOver(std::move(mWaiting[i].mConnection));
    mWaiting[i] = std::move(mWaiting.back());
    mWaiting.pop_back();
  }
  if (FD_ISSET(mListener.Get(), &theReadSet)) AcceptAll();
  return {};
}

// Returns the highest descriptor of the sets, and until when to wait at most.
int FileServer::FillSets(fd_set &aReadSet, fd_set &aWriteSet, struct timeval &aTimeOut, bool &afTimeOut) {
  FD_ZERO(&aReadSet);
  FD_ZERO(&aWriteSet);
  const int64 theNow = Milliseconds();
  int64 theEnd = INT64_MAX;
  int theHighest = 0;
  if (theNow >= mListenAgain) {
    FD_SET(mListener.Get(), &aReadSet);
    theHighest = mListener.Get();
  } else {
    theEnd = mListenAgain;
  }
  for (const Waiting &theWaiting : mWaiting) {
    const zvSocket theSocket = theWaiting.mConnection->Socket();
    FD_SET(theSocket, theWaiting.mWants == ServerConnection::kToSend ? &aWriteSet : &aReadSet);
    theHighest = std::max(theHighest, theSocket);
    theEnd = std::min(theEnd, theWaiting.mConnection->LastProgress() + mSettings.mIdleTime);
  }
  afTimeOut = theEnd != INT64_MAX;
  if (afTimeOut) {
    const int64 theRest = std::max<int64>(theEnd - theNow, 0) + 1;
    aTimeOut.tv_sec = static_cast<time_t>(theRest / 1000);
    aTimeOut.tv_usec = static_cast<suseconds_t>(theRest % 1000 * 1000);
  }
  return theHighest;
}

void FileServer::TakeBack() {
  std::vector<Waiting> theReturned;
  {
    const MutexHold theHold(mMutex);
    theReturned.swap(mReturned);
  }
  for (Waiting &theWaiting : theReturned)
    Keep(std::move(theWaiting.mConnection), theWaiting.mWants);
}

void FileServer::Keep(ConnectionOwner aConnection, ServerConnection::Wants aWants) {
  if (aWants == ServerConnection::kEnd) {
    Account(*aConnection);
    --mClients;
  } else {
    mWaiting.push_back({std::move(aConnection), aWants});
  }
}

void FileServer::GiveUpIdle() {
  const int64 theNow = Milliseconds();
  for (size_t i = 0; i < mWaiting.size();) {
    ServerConnection &theConnection = *mWaiting[i].mConnection;
    if (theNow < theConnection.LastProgress() + mSettings.mIdleTime) {
      ++i;
      continue;
    }
    theConnection.GiveUp("too slow");
    Account(theConnection);
    --mClients;
    mWaiting[i] = std::move(mWaiting.back());
    mWaiting.pop_back();
  }
}

// ---- New clients ----

void FileServer::AcceptAll() {
  for (int i = 0; i < kMostAcceptsAtOnce; ++i) {
    if (!AcceptOne()) return;
  }
}

// False when there is nobody left to be accepted now.
bool FileServer::AcceptOne() {
  struct sockaddr_in thePeer = {};
  socklen_t theLength = sizeof(thePeer);
  const zvSocket theSocket = zvSocketAccept(mListener.Get(), reinterpret_cast<struct sockaddr *>(&thePeer),
                                            &theLength, kClientLabel);
  if (theSocket != kzvSocketInvalid) {
    Admit(theSocket, EndpointOf(thePeer));
    return true;
  }
  const int theError = zvSocketGetLastError();
  if (theError == ECONNABORTED || theError == EINTR) return true;
  // Anything else, such as a lack of memory, would come again at once.
  if (!zvSocketLastErrorIsWouldBlock()) mListenAgain = Milliseconds() + kAcceptPause;
  return false;
}

void FileServer::Admit(zvSocket aSocket, const Endpoint &aPeer) {
  if (mSettings.mfTrace) MakeTrafficFile(aPeer, aSocket);
  ConnectionOwner theConnection(new ServerConnection(aSocket, aPeer, mFolder));
  ++mClients;
  if (zvSocketIOCtlSetBlock(aSocket, 0, kClientLabel) != 0) {
    theConnection->GiveUp("cannot be served without waiting");
    Keep(std::move(theConnection), ServerConnection::kEnd);
    return;
  }
  const uint32 theOwnAddress = OwnEndpoint(aSocket).mAddress;
  std::optional<Refusal> theRefusal;
  if (!zvSocketPolicy_AcceptConnection(mPolicy.get(), aPeer.mAddress, theOwnAddress)) {
    theRefusal = {kWord_Denied, "the policy of the server does not admit this connection"};
  } else if (mClients > mSettings.mMostClients || aSocket >= mDescriptorLimit) {
    theRefusal = {kWord_Busy, "too many clients"};
  }
  if (theRefusal) {
    const ServerConnection::Wants theWants = theConnection->TurnAway(*theRefusal);
    Keep(std::move(theConnection), theWants);
    return;
  }
  zvSocketSetTCPNoDelay(aSocket, 1, kClientLabel);
  if (mSettings.mQOSClass != kNoQOSClass) {
    const struct sockaddr_in thePeer = SocketAddress(aPeer);
    zvSocketQOS_SetPriority(zvSocketPolicy_GetQOS(mPolicy.get()), aSocket, mSettings.mQOSClass,
                            reinterpret_cast<const struct sockaddr *>(&thePeer));
  }
  const ServerConnection::Wants theWants = theConnection->Greet();
  Keep(std::move(theConnection), theWants);
}

// ---- What is shown ----

void FileServer::Account(const ServerConnection &aConnection) {
  mTotals.mSentBytes += aConnection.SentBytes();
  switch (aConnection.Result()) {
    case ServerConnection::kSent:
      ++mTotals.mSent;
      break;
    case ServerConnection::kRefused:
      ++mTotals.mRefused;
      break;
    default:
      ++mTotals.mBroken;
      break;
  }
  Print("%s\n", aConnection.Description().c_str());
}

void FileServer::ShowEnd(const StopSignals &aSignals) {
  TakeBack();
  {
    const MutexHold theHold(mMutex);
    for (ConnectionOwner &theConnection : mQueue)
      mWaiting.push_back({std::move(theConnection), ServerConnection::kToSend});
    mQueue.clear();
  }
  SOCKETTRACKER_DUMP();
  for (Waiting &theWaiting : mWaiting) {
    theWaiting.mConnection->GiveUp("the server ends");
    Account(*theWaiting.mConnection);
  }
  mWaiting.clear();
  const char *const theName = aSignals.First() == SIGINT    ? " by Ctrl-C"
                              : aSignals.First() == SIGTERM ? " by SIGTERM"
                              : aSignals.First() == SIGHUP  ? " by SIGHUP"
                                                            : "";
  Print("ended%s: sent %" PRIu64 " (%" PRIu64 " bytes), refused %" PRIu64 ", broken off %" PRIu64 "\n",
        theName, mTotals.mSent, mTotals.mSentBytes, mTotals.mRefused, mTotals.mBroken);
  FlushOutput();
}

}  // namespace

MaybeProblem ServeFiles(ServerSettings aSettings) {
  if (aSettings.mfTrace) {
    aSettings.mMostClients = std::min(aSettings.mMostClients, kMostTracedClients);
    if (MaybeProblem theProblem = StartTrace()) return theProblem;
  }
  // Who reads the first line and goes away does not end the service.
  signal(SIGPIPE, SIG_IGN);

  FileServer theServer(aSettings);
  if (MaybeProblem theProblem = theServer.Open()) return theProblem;
  const StopSignals theSignals(theServer.Select());
  if (!theSignals.AreWatched()) return Problem("signals cannot be waited for");
  Print("serving %s on %s\n", aSettings.mFolder.c_str(), EndpointText(theServer.Address()).c_str());
  FlushOutput();
  return theServer.Serve(theSignals);
}

}  // namespace tool
