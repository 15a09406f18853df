// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Fetching a file with the program `zvos`, beside the least that moves the same bytes: a thread that
// sends with sendfile(), and a receiver that writes what it gets.

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <sys/prctl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "support/Network.h"
#include "support/Rows.h"

namespace zvbench {
namespace {

constexpr size_t kFileSize = 64 * 1024 * 1024;
constexpr size_t kPieceSize = 64 * 1024;  // as the program receives
constexpr char kName[] = "file";

class Descriptor {
 public:
  explicit Descriptor(int aDescriptor) : mDescriptor(aDescriptor) {
    if (mDescriptor < 0) Fail("cannot open a file or a socket");
  }
  ~Descriptor() { close(mDescriptor); }
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;

  int Get() const { return mDescriptor; }

 private:
  const int mDescriptor;
};

int OpenToRead(const std::string &aPath) {
  return open(aPath.c_str(), O_RDONLY | O_CLOEXEC);
}

int OpenToWrite(const std::string &aPath) {
  return open(aPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
}

bool WriteAll(int aDescriptor, const char *aData, size_t aLength) {
  while (aLength > 0) {
    const ssize_t theCount = write(aDescriptor, aData, aLength);
    if (theCount <= 0) return false;
    aData += theCount;
    aLength -= static_cast<size_t>(theCount);
  }
  return true;
}

// The folder that is served, with the file in it, and beside it the copies.
class Files {
 public:
  Files() {
    if (mkdir(ServedFolder().c_str(), 0700) != 0) Fail("cannot make the folder to be served");
    const Descriptor theFile(OpenToWrite(ServedFile()));
    std::vector<char> thePiece(kPieceSize);
    uint32 theNumber = 1;
    for (size_t theDone = 0; theDone < kFileSize; theDone += kPieceSize) {
      for (char &theByte : thePiece) {
        theNumber = theNumber * 1664525 + 1013904223;
        theByte = static_cast<char>(theNumber >> 24);
      }
      if (!WriteAll(theFile.Get(), thePiece.data(), kPieceSize)) Fail("cannot make the file to be served");
    }
  }
  std::string ServedFolder() const { return mFolder / "served"; }
  std::string ServedFile() const { return ServedFolder() + "/" + kName; }
  std::string Copy(const char *aName) const { return mFolder / aName; }

 private:
  const ScratchFolder mFolder;
};

// ---- The bare side ----

class BareServer {
 public:
  explicit BareServer(const std::string &aPath)
      : mFile(OpenToRead(aPath)), mListener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    mAddress = LoopbackAddress(0);
    socklen_t theLength = sizeof(mAddress);
    if (bind(mListener.Get(), Generic(&mAddress), theLength) != 0 || listen(mListener.Get(), 8) != 0 ||
        getsockname(mListener.Get(), Generic(&mAddress), &theLength) != 0 ||
        pthread_create(&mThread, nullptr, Start, this) != 0) {
      Fail("cannot start the bare server");
    }
  }
  ~BareServer() {
    shutdown(mListener.Get(), SHUT_RDWR);
    pthread_join(mThread, nullptr);
  }
  BareServer(const BareServer &) = delete;
  BareServer &operator=(const BareServer &) = delete;

  const struct sockaddr_in &Address() const { return mAddress; }

 private:
  // Until the listening socket is shut down.
  void Serve() const {
    for (;;) {
      const int theClient = accept4(mListener.Get(), nullptr, nullptr, SOCK_CLOEXEC);
      if (theClient < 0) return;
      off_t theDone = 0;
      while (theDone < static_cast<off_t>(kFileSize)) {
        if (sendfile(theClient, mFile.Get(), &theDone, kFileSize - static_cast<size_t>(theDone)) <= 0) break;
      }
      close(theClient);
    }
  }
  static void *Start(void *aServer) {
    static_cast<const BareServer *>(aServer)->Serve();
    return nullptr;
  }

  const Descriptor mFile;
  const Descriptor mListener;
  struct sockaddr_in mAddress;
  pthread_t mThread{};
};

int FetchBare(struct sockaddr_in anAddress, const std::string &aCopy, std::vector<char> &aPiece) {
  const Descriptor theSocket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (connect(theSocket.Get(), Generic(&anAddress), sizeof(anAddress)) != 0) return 1;
  const Descriptor theFile(OpenToWrite(aCopy));
  size_t theDone = 0;
  for (;;) {
    const ssize_t theCount = recv(theSocket.Get(), aPiece.data(), aPiece.size(), 0);
    if (theCount <= 0) break;
    if (!WriteAll(theFile.Get(), aPiece.data(), static_cast<size_t>(theCount))) return 1;
    theDone += static_cast<size_t>(theCount);
  }
  return theDone != kFileSize;
}

// ---- Our side ----

// The program of the same build.
std::string Program() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "zvos";
}

// Runs the program; it does not outlive this one.
pid_t Start(const std::vector<std::string> &anArguments, int anOutput) {
  std::vector<char *> theArguments;
  for (const std::string &theArgument : anArguments)
    theArguments.push_back(const_cast<char *>(theArgument.c_str()));
  theArguments.push_back(nullptr);
  const pid_t theProcess = fork();
  if (theProcess < 0) Fail("cannot start a process");
  if (theProcess == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(anOutput, STDOUT_FILENO);
    execv(theArguments[0], theArguments.data());
    _exit(127);
  }
  return theProcess;
}

// 0 when it ended well.
int WaitFor(pid_t aProcess) {
  int theStatus = 1;
  while (waitpid(aProcess, &theStatus, 0) < 0)
    continue;
  return theStatus;
}

class OurServer {
 public:
  OurServer(const std::string &aProgram, const std::string &aFolder) {
    int thePipe[2];
    if (pipe2(thePipe, O_CLOEXEC) != 0) Fail("cannot make a pipe");
    mProcess = Start({aProgram, "serve", "--bind", "127.0.0.1", aFolder}, thePipe[1]);
    close(thePipe[1]);
    mOutput = thePipe[0];
    mAddress = ReadAddress();
    if (fcntl(mOutput, F_SETFL, O_NONBLOCK) != 0) Fail("cannot use a pipe");
  }
  ~OurServer() {
    kill(mProcess, SIGTERM);
    fcntl(mOutput, F_SETFL, 0);
    DropOutput();
    close(mOutput);
    if (WaitFor(mProcess) != 0) Fail("zvos serve did not end well");
  }
  OurServer(const OurServer &) = delete;
  OurServer &operator=(const OurServer &) = delete;

  const std::string &Address() const { return mAddress; }

  // It has a line for every client and one for the end, and must not wait for a reader.
  void DropOutput() const {
    char theBytes[4096];
    while (read(mOutput, theBytes, sizeof(theBytes)) > 0)
      continue;
  }

 private:
  // The end of "serving DIR on ADDR:PORT".
  std::string ReadAddress() const {
    std::string theLine;
    char theByte = 0;
    while (read(mOutput, &theByte, 1) == 1 && theByte != '\n')
      theLine += theByte;
    const size_t thePlace = theLine.rfind(" on ");
    if (theByte != '\n' || thePlace == std::string::npos) Fail("zvos serve does not say where it is");
    return theLine.substr(thePlace + 4);
  }

  pid_t mProcess;
  int mOutput;
  std::string mAddress;
};

struct Service {
  const std::string mProgram = Program();
  const Files mFiles;
  const BareServer mBare{mFiles.ServedFile()};
  const OurServer mOurs{mProgram, mFiles.ServedFolder()};
  const Descriptor mNoOutput{open("/dev/null", O_WRONLY | O_CLOEXEC)};
  std::vector<char> mPiece = std::vector<char>(kPieceSize);

  int FetchBare() { return zvbench::FetchBare(mBare.Address(), mFiles.Copy("bare"), mPiece); }

  // The program checks what it has received.
  int FetchOurs() const {
    mOurs.DropOutput();
    return WaitFor(
        Start({mProgram, "get", mOurs.Address(), kName, "-o", mFiles.Copy("ours")}, mNoOutput.Get()));
  }
};

Sides Fetching() {
  auto theService = std::make_shared<Service>();
  return {Repeat([aService = theService.get()] { return aService->FetchBare(); }),
          Repeat([aService = theService.get()] { return aService->FetchOurs(); }),
          {theService}};
}

}  // namespace

// Where the processor multiplies polynomials.
#ifdef __i386__
constexpr Target kTarget = RatioAtMost(1.2);
#else
constexpr Target kTarget = NoTarget();
#endif

std::vector<Row> ServiceRows() {
  if (access(Program().c_str(), X_OK) != 0) {
    fprintf(stderr, "zvos_bench: no row of the file service, for there is no program zvos beside this one\n");
    return {};
  }
  return {
      {"file service: get 64 MiB", "connect; sendfile in one thread, recv of 64 KiB and write in another",
       "a new process zvos get and a running zvos serve, which both compute the CRC-32", kTarget, Fetching},
  };
}

}  // namespace zvbench
