// The server behind `zvos serve`.
//
// One thread waits in a select object for the listening socket, for all clients that have to wait, and
// for the trigger. What is ready goes into a queue, from which a few workers take it; a client that
// cannot go on goes back to the waiting thread, which a trigger tells. No thread ever waits for a
// single client, so that a slow one delays nobody.
#pragma once

#include "service/served_folder.h"
#include "service/server_connection.h"
#include "shared/network.h"
#include "shared/owners.h"
#include "shared/signals.h"

#include <deque>
#include <memory>
#include <vector>

namespace tool {

struct ServerSettings {
  std::string mFolder;
  Endpoint mAddress;                // port 0: the library chooses one
  int mPolicy;                      // kzvSocketPolicy_IP_...
  std::string mExcludedInterfaces;  // as the policy's key "exclude-if"; may be empty
  int mQOSClass;                    // kzvSocket_QOS_..., or kNoQOSClass
  uint32 mMostClients;
  uint32 mIdleTime;  // milliseconds after which a client that gets nowhere is given up
  bool mfTrace;
};

constexpr int kNoQOSClass = -1;

// Serves the files of a folder until a signal says stop, unless there is a problem. No other thread may be
// running, and broken pipes are ignored from now on.
MaybeProblem ServeFiles(ServerSettings aSettings);

class FileServer {
 public:
  explicit FileServer(const ServerSettings &aSettings);
  ~FileServer();
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
  int mDescriptorLimit;  // sockets have smaller numbers

  // Of the waiting thread.
  std::vector<Waiting> mWaiting;
  uint32 mClients;
  int64 mListenAgain;  // no accepting before that time
  Totals mTotals;

  const MutexOwner mMutex;
  const ConditionOwner mHasWork;
  // Guarded by mMutex.
  std::deque<ConnectionOwner> mQueue;
  std::vector<Waiting> mReturned;
  bool mfEnding;

  std::vector<ThreadOwner> mWorkers;
};

}  // namespace tool
