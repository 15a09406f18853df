// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Sending, receiving, and the life of a connection. One thread plays both ends, and both sides of a
// row use the same sockets, so that only the calls differ.

#include <fcntl.h>
#include <netinet/tcp.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <zvLog/zvLogSettings.h>
#include <zvOS/zvLogDefines.h>

#include "support/Network.h"
#include "support/Rows.h"

namespace zvbench {
namespace {

constexpr char kLabel[] = "zvos_bench";
constexpr int kSmall = 64;
constexpr int kLarge = 64 * 1024;

// ---- The calls of a side ----

struct BareCalls {
  static int Open() { return socket(AF_INET, SOCK_STREAM, IPPROTO_TCP); }
  static int Connect(int aSocket, struct sockaddr *anAddress, socklen_t aLength) {
    return connect(aSocket, anAddress, aLength);
  }
  static int Accept(int aSocket, struct sockaddr *anAddress, socklen_t *aLength) {
    return accept(aSocket, anAddress, aLength);
  }
  static int Close(int aSocket) { return close(aSocket); }
  // With the flag that the library adds.
  static int Send(int aSocket, const char *aBuffer, int aLength) {
    return static_cast<int>(send(aSocket, aBuffer, static_cast<size_t>(aLength), MSG_NOSIGNAL));
  }
  static int Recv(int aSocket, char *aBuffer, int aLength) {
    return static_cast<int>(recv(aSocket, aBuffer, static_cast<size_t>(aLength), MSG_WAITALL));
  }
  static int SendTo(int aSocket, const char *aBuffer, int aLength, struct sockaddr *anAddress,
                    socklen_t anAddressLength) {
    return static_cast<int>(
        sendto(aSocket, aBuffer, static_cast<size_t>(aLength), 0, anAddress, anAddressLength));
  }
  static int RecvFrom(int aSocket, char *aBuffer, int aLength, struct sockaddr *anAddress,
                      socklen_t *anAddressLength) {
    return static_cast<int>(
        recvfrom(aSocket, aBuffer, static_cast<size_t>(aLength), 0, anAddress, anAddressLength));
  }
};

struct NoDebugCalls {
  static int Open() { return zvSocketOpen_NoDebug(AF_INET, SOCK_STREAM, 0); }
  static int Connect(int aSocket, struct sockaddr *anAddress, socklen_t aLength) {
    return zvSocketConnect_NoDebug(aSocket, anAddress, aLength);
  }
  static int Accept(int aSocket, struct sockaddr *anAddress, socklen_t *aLength) {
    return zvSocketAccept_NoDebug(aSocket, anAddress, aLength);
  }
  static int Close(int aSocket) { return zvSocketClose_NoDebug(aSocket); }
  static int Send(int aSocket, const char *aBuffer, int aLength) {
    return zvSocketSend_NoDebug(aSocket, aBuffer, aLength, 0);
  }
  static int Recv(int aSocket, char *aBuffer, int aLength) {
    return zvSocketRecv_NoDebug(aSocket, aBuffer, aLength, MSG_WAITALL);
  }
  static int SendTo(int aSocket, const char *aBuffer, int aLength, struct sockaddr *anAddress,
                    socklen_t anAddressLength) {
    return zvSocketSendUDP_NoDebug(aSocket, anAddress, anAddressLength, aBuffer, aLength, 0);
  }
  static int RecvFrom(int aSocket, char *aBuffer, int aLength, struct sockaddr *anAddress,
                      socklen_t *anAddressLength) {
    return zvSocketRecvUDP_NoDebug(aSocket, aBuffer, aLength, 0, anAddress, anAddressLength);
  }
};

struct DebugCalls {
  static int Open() { return zvSocketOpen_Debug(AF_INET, SOCK_STREAM, 0, kLabel, 0); }
  static int Connect(int aSocket, struct sockaddr *anAddress, socklen_t aLength) {
    return zvSocketConnect_Debug(aSocket, anAddress, aLength, kLabel);
  }
  static int Accept(int aSocket, struct sockaddr *anAddress, socklen_t *aLength) {
    return zvSocketAccept_Debug(aSocket, anAddress, aLength, kLabel);
  }
  static int Close(int aSocket) { return zvSocketClose_Debug(aSocket, kLabel, 0); }
  static int Send(int aSocket, const char *aBuffer, int aLength) {
    return zvSocketSend_Debug(aSocket, aBuffer, aLength, 0, kLabel);
  }
  static int Recv(int aSocket, char *aBuffer, int aLength) {
    return zvSocketRecv_Debug(aSocket, aBuffer, aLength, MSG_WAITALL, kLabel);
  }
  static int SendTo(int aSocket, const char *aBuffer, int aLength, struct sockaddr *anAddress,
                    socklen_t anAddressLength) {
    return zvSocketSendUDP_Debug(aSocket, anAddress, anAddressLength, aBuffer, aLength, 0, kLabel);
  }
  static int RecvFrom(int aSocket, char *aBuffer, int aLength, struct sockaddr *anAddress,
                      socklen_t *anAddressLength) {
    return zvSocketRecvUDP_Debug(aSocket, aBuffer, aLength, 0, anAddress, anAddressLength, kLabel);
  }
};

// ---- The sockets ----

class StreamPair {
 public:
  StreamPair() : mSender(OpenSocket(SOCK_STREAM)), mReceiver(ConnectTo(Listener(), mSender)) {
    // A transfer is not to wait for the acknowledgement of the one before.
    SetOption(mSender.Get(), IPPROTO_TCP, TCP_NODELAY, 1);
  }
  const Socket &Sender() const { return mSender; }
  const Socket &Receiver() const { return mReceiver; }

  template <typename Calls, int kLength>
  auto Transfer(char *aBuffer) const {
    return [theSender = mSender.Get(), theReceiver = mReceiver.Get(), aBuffer] {
      const int theSent = Calls::Send(theSender, aBuffer, kLength);
      return (theSent != kLength) | (Calls::Recv(theReceiver, aBuffer, kLength) != kLength);
    };
  }

 private:
  static zvSocket ConnectTo(const Listener &aListener, const Socket &aSocket) {
    struct sockaddr_in theAddress = aListener.Address();
    if (zvSocketConnect(aSocket.Get(), Generic(&theAddress), sizeof(theAddress), kLabel) != 0) {
      Fail("zvSocketConnect failed");
    }
    socklen_t theLength = sizeof(theAddress);
    const zvSocket theAccepted = zvSocketAccept(aListener.Get(), Generic(&theAddress), &theLength, kLabel);
    if (theAccepted == kzvSocketInvalid) Fail("zvSocketAccept failed");
    return theAccepted;
  }

  const Socket mSender;
  const Socket mReceiver;
};

class DatagramPair {
 public:
  template <typename Calls, int kLength>
  auto Transfer(char *aBuffer) const {
    return [theSender = mSender.Get(), theReceiver = mReceiver.Get(), theTarget = mReceiver.Address(),
            aBuffer]() mutable {
      const int theSent = Calls::SendTo(theSender, aBuffer, kLength, Generic(&theTarget), sizeof(theTarget));
      struct sockaddr_in theSource;
      socklen_t theSourceLength = sizeof(theSource);
      return (theSent != kLength) | (Calls::RecvFrom(theReceiver, aBuffer, kLength, Generic(&theSource),
                                                     &theSourceLength) != kLength);
    };
  }

 private:
  const BoundSocket mSender{SOCK_DGRAM};
  const BoundSocket mReceiver{SOCK_DGRAM};
};

// ---- What the library writes down meanwhile ----

enum class Tracing { kNone, kTable, kTraffic };

// While it lives the library keeps its socket table, and copies of what is transferred on request. The
// log goes into a file of its own: it gets the table whenever a socket opens or closes, and nothing
// from the transfers.
class Trace {
 public:
  explicit Trace(Tracing aTracing) : mTracing(aTracing) {
    if (ZVLOGLEVEL_DEBUG < _zvLog_LevelNow()) Fail("the log level lets debug messages through");
    if (mTracing == Tracing::kNone) return;
    if (zvLog_SetSinkFile((mFolder / "log").c_str()) == 0) Fail("cannot log into a file");
    zvLog_SetModuleLevel(ZVLOG_M_SOCKETTRACKER, kzvLogLevel_Debug);
    if (mTracing == Tracing::kTraffic) {
      zvLog_SetModuleLevel(ZVLOG_M_TCP, kzvLogLevel_Debug);
      zvLog_SetModuleLevel(ZVLOG_M_SOCKETTRAFFIC, kzvLogLevel_Debug);
    }
    // The library looks for its files in the working directory.
    char *theFolder = getcwd(nullptr, 0);
    if (theFolder == nullptr) Fail("cannot tell the working directory");
    mFolderBefore = theFolder;
    free(theFolder);
    if (chdir(mFolder.Path().c_str()) != 0 || mkdir("socket", 0700) != 0) {
      Fail("cannot make the folder of the traffic files");
    }
  }
  ~Trace() {
    if (mTracing == Tracing::kNone) return;
    if (chdir(mFolderBefore.c_str()) != 0) Fail("cannot go back to the working directory");
    for (int theModule : {ZVLOG_M_SOCKETTRACKER, ZVLOG_M_TCP, ZVLOG_M_SOCKETTRAFFIC})
      zvLog_ResetModuleLevel(static_cast<zvLogModule>(theModule));
    zvLog_SetSinkStandardError();
  }
  Trace(const Trace &) = delete;
  Trace &operator=(const Trace &) = delete;

  // The library writes into a traffic file that is there, and makes none.
  void MakeTrafficFile(const Socket &aSocket) {
    struct sockaddr_in thePeer = aSocket.PeerAddress();
    char theName[64];
    snprintf(theName, sizeof(theName), "socket/%u.%u.%u.%u-%u-[%d].txt",
             zvSocket_IPPrintf(thePeer.sin_addr.s_addr), ntohs(thePeer.sin_port), aSocket.Get());
    mFiles.push_back(mFolder / theName);
    Empty(mFiles.back());
  }

  // One that the library does not know, for the bare side, which also says where it is from the working
  // directory.
  static std::string MakeFile(const char *aName) {
    const std::string thePath = std::string("socket/") + aName;
    Empty(thePath);
    return thePath;
  }
  const std::vector<std::string> &TrafficFiles() const { return mFiles; }

  static void Empty(const std::string &aPath) {
    FILE *theFile = fopen(aPath.c_str(), "w");
    if (theFile == nullptr) Fail("cannot make a traffic file");
    fclose(theFile);
  }

  // Ends the program unless what the row measures is on.
  void CheckThatItWrites() const {
    if (mTracing == Tracing::kNone) return;
    if (SizeOf(mFolder / "log") == 0) Fail("the socket table is not written");
    for (const std::string &theFile : mFiles) {
      if (SizeOf(theFile) == 0) Fail("a traffic file is not written");
    }
  }

 private:
  static off_t SizeOf(const std::string &aPath) {
    struct stat theState = {};
    return stat(aPath.c_str(), &theState) == 0 ? theState.st_size : 0;
  }

  const Tracing mTracing;
  const ScratchFolder mFolder;
  std::string mFolderBefore;
  std::vector<std::string> mFiles;
};

// ---- Rows ----

template <typename Pair>
struct TracedPair {
  Trace mTrace;  // before the sockets, which are to be in the table
  Pair mPair;
  std::vector<char> mBuffer;

  explicit TracedPair(Tracing aTracing) : mTrace(aTracing), mBuffer(kLarge, 'x') {}
};

template <typename Pair, typename Calls, int kLength, Tracing kTracing = Tracing::kNone>
Sides Transferring() {
  auto theSockets = std::make_shared<TracedPair<Pair>>(kTracing);
  char *theBuffer = theSockets->mBuffer.data();
  const auto theBare = theSockets->mPair.template Transfer<BareCalls, kLength>(theBuffer);
  auto theOurs = theSockets->mPair.template Transfer<Calls, kLength>(theBuffer);
  theOurs();
  theSockets->mTrace.CheckThatItWrites();
  return {Repeat(theBare), Repeat(theOurs), {theSockets}};
}

// Copies what was transferred, into a file that is complete at any moment, as the library's are.
bool AppendTo(const std::string &aPath, const char *aBuffer, int aLength) {
  const int theFile = open(aPath.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  if (theFile < 0) return false;
  const ssize_t theCount = write(theFile, aBuffer, static_cast<size_t>(aLength));
  return close(theFile) == 0 && theCount == aLength;
}

// The files grow with every transfer, and are emptied before they take too much memory.
template <int kLength, typename Operation>
Loop RepeatWithFiles(Operation anOperation, const std::vector<std::string> &someFiles) {
  constexpr uint32 kTransfersPerFile = 4 * 1024 * 1024 / kLength;

  return Repeat([anOperation, &someFiles, theLeft = 0u]() mutable {
    if (theLeft == 0) {
      for (const std::string &theFile : someFiles)
        Trace::Empty(theFile);
      theLeft = kTransfersPerFile;
    }
    --theLeft;
    return anOperation();
  });
}

template <int kLength>
Sides TransferringWithTraffic() {
  auto theSockets = std::make_shared<TracedPair<StreamPair>>(Tracing::kTraffic);
  char *theBuffer = theSockets->mBuffer.data();
  Trace *const theTrace = &theSockets->mTrace;
  theTrace->MakeTrafficFile(theSockets->mPair.Sender());
  theTrace->MakeTrafficFile(theSockets->mPair.Receiver());
  auto theOurs = theSockets->mPair.Transfer<DebugCalls, kLength>(theBuffer);
  theOurs();
  theTrace->CheckThatItWrites();

  const auto theFiles = std::make_shared<const std::vector<std::string>>(
      std::initializer_list<std::string>{Trace::MakeFile("sent"), Trace::MakeFile("received")});
  const int theSender = theSockets->mPair.Sender().Get();
  const int theReceiver = theSockets->mPair.Receiver().Get();
  const auto theBare = [theSender, theReceiver, theBuffer, theNames = theFiles->data()] {
    return BareCalls::Send(theSender, theBuffer, kLength) != kLength ||
           !AppendTo(theNames[0], theBuffer, kLength) ||
           BareCalls::Recv(theReceiver, theBuffer, kLength) != kLength ||
           !AppendTo(theNames[1], theBuffer, kLength);
  };
  return {RepeatWithFiles<kLength>(theBare, *theFiles),
          RepeatWithFiles<kLength>(theOurs, theTrace->TrafficFiles()),
          {theFiles, theSockets}};
}

// The accepted end is closed first: the one that does not linger.
template <typename Calls>
auto Connection(const Listener &aListener) {
  return [theListener = aListener.Get(), theTarget = aListener.Address()]() mutable {
    const int theClient = Calls::Open();
    int theFailures = Calls::Connect(theClient, Generic(&theTarget), sizeof(theTarget));
    struct sockaddr_in thePeer;
    socklen_t theLength = sizeof(thePeer);
    const int theAccepted = Calls::Accept(theListener, Generic(&thePeer), &theLength);
    theFailures |= Calls::Close(theAccepted);
    return theFailures | Calls::Close(theClient);
  };
}

template <typename Calls>
Sides Connecting() {
  auto theListener = std::make_shared<Listener>();
  return {
      Repeat(Connection<BareCalls>(*theListener)), Repeat(Connection<Calls>(*theListener)), {theListener}};
}

constexpr char kStream[] = "send and recv over TCP on loopback";
constexpr char kStreamWithFiles[] =
    "send and recv over TCP on loopback, and open, write and close of a file in memory for each of the two";
constexpr char kDatagram[] = "sendto and recvfrom over UDP on loopback";
constexpr char kConnection[] = "socket, connect, accept, close of both ends, over loopback";
constexpr char kStreamNoDebug[] = "zvSocketSend_NoDebug, zvSocketRecv_NoDebug";
constexpr char kStreamSilent[] = "zvSocketSend_Debug, zvSocketRecv_Debug; the log below debug level";
constexpr char kStreamTable[] =
    "the same with module SOCKETTRACKER at debug level; log: a file in memory, idle during transfers";
constexpr char kStreamTraffic[] =
    "the same with modules TCP and SOCKETTRAFFIC at debug level too and both traffic files in memory "
    "(emptied after each 4 MiB)";
constexpr char kDatagramTraffic[] =
    "the same with modules TCP and SOCKETTRAFFIC at debug level too (they do not have datagrams)";

}  // namespace

std::vector<Row> SocketRows() {
  const Target theTarget = RatioAtMost(1.02);
  return {
      {"TCP 64 B, _NoDebug", kStream, kStreamNoDebug, theTarget,
       Transferring<StreamPair, NoDebugCalls, kSmall>},
      {"TCP 64 B, silent log", kStream, kStreamSilent, theTarget,
       Transferring<StreamPair, DebugCalls, kSmall>},
      {"TCP 64 B, socket table", kStream, kStreamTable, NoTarget(),
       Transferring<StreamPair, DebugCalls, kSmall, Tracing::kTable>},
      {"TCP 64 B, table and traffic", kStreamWithFiles, kStreamTraffic, RatioAtMost(1.05),
       TransferringWithTraffic<kSmall>},
      {"TCP 64 KiB, _NoDebug", kStream, kStreamNoDebug, theTarget,
       Transferring<StreamPair, NoDebugCalls, kLarge>},
      {"TCP 64 KiB, silent log", kStream, kStreamSilent, theTarget,
       Transferring<StreamPair, DebugCalls, kLarge>},
      {"TCP 64 KiB, socket table", kStream, kStreamTable, NoTarget(),
       Transferring<StreamPair, DebugCalls, kLarge, Tracing::kTable>},
      {"TCP 64 KiB, table and traffic", kStreamWithFiles, kStreamTraffic, RatioAtMost(1.05),
       TransferringWithTraffic<kLarge>},
      {"UDP 64 B, _NoDebug", kDatagram, "zvSocketSendUDP_NoDebug, zvSocketRecvUDP_NoDebug", theTarget,
       Transferring<DatagramPair, NoDebugCalls, kSmall>},
      {"UDP 64 B, silent log", kDatagram,
       "zvSocketSendUDP_Debug, zvSocketRecvUDP_Debug; the log below debug level", theTarget,
       Transferring<DatagramPair, DebugCalls, kSmall>},
      {"UDP 64 B, socket table", kDatagram, kStreamTable, NoTarget(),
       Transferring<DatagramPair, DebugCalls, kSmall, Tracing::kTable>},
      {"UDP 64 B, table and traffic", kDatagram, kDatagramTraffic, NoTarget(),
       Transferring<DatagramPair, DebugCalls, kSmall, Tracing::kTraffic>},
      {"TCP connection, _NoDebug", kConnection, "the _NoDebug twins of the same", theTarget,
       Connecting<NoDebugCalls>},
      {"TCP connection, silent log", kConnection, "the _Debug twins of the same; the log below debug level",
       theTarget, Connecting<DebugCalls>},
  };
}

}  // namespace zvbench
