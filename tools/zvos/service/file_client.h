// The client of the file service.
#pragma once

#include "service/file_protocol.h"
#include "shared/network.h"
#include "shared/owners.h"
#include "shared/terminal.h"

#include <functional>
#include <vector>

namespace tool {

struct FetchSettings {
  Endpoint mServer;
  std::string mName;  // below the folder of the server
  std::string mFile;  // where it is stored
  uint32 mIdleTime;   // milliseconds to wait for the server, each time
  bool mfTrace;
};

struct Fetching {
  MaybeProblem mProblem;  // why the file is not there
  uint64 mBytes;
  uint32 mChecksum;
  int64 mMilliseconds;
  std::string mTrafficFile;  // when there is a trace
};

// Fetches one file, and checks its length and checksum, before it appears under its name. Whoever
// wants it to end early makes afStopped() true and triggers the select object.
class FileClient {
 public:
  FileClient(const FetchSettings &aSettings, zvSocketSelect *aSelect, std::function<bool()> afStopped);
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
  MaybeProblem FillBuffer();
  MaybeProblem Wait(bool afToSend);
  Problem ProblemOfWord(const std::string &aLine) const;

  const FetchSettings mSettings;
  zvSocketSelect *const mSelect;
  const std::function<bool()> mfStopped;
  SocketOwner mSocket;
  std::vector<char> mBuffer;
  size_t mStart;  // of what is in the buffer and not yet taken
  size_t mEnd;
  uint64 mLength;
  Fetching mFetching;
};

}  // namespace tool
