// The network part of the demonstration: a wait that another thread ends, and a file that goes from
// one process to another.
#pragma once

#include "service/file_client.h"

#include <sys/types.h>

#include <string>

namespace tool {

struct WakeUp {
  std::string mProblem;  // empty when the wait ended as it should
  int64 mMicroseconds;   // from the trigger until the waiting thread ran
};

// Lets a thread wait in a select object, and triggers it from here.
WakeUp WakeSelect();

struct NetworkReport {
  std::string mProblem;  // why there was no server; empty when there was one
  pid_t mServer;
  Endpoint mAddress;
  int mServerStatus;            // as waitpid gives it
  std::string mServerOutput;    // what it printed
  Fetching mAdmitted;           // through 127.0.0.1
  Fetching mRefused;            // through 127.0.0.2
  bool mfSameFile;              // what was fetched is the file
  std::string mSocketTable;     // the server's, when it closed the connection that fetched the file
  std::string mTrafficFile;     // of that connection, counted from the server's folder
  std::string mTrafficOpening;  // the lines before the data
};

// Serves the folder of a file in a child process to this machine only, and fetches the file. No other
// thread may be running: the child is forked and goes on in this program.
NetworkReport ServeAndFetch(const std::string &aFile);

// Whether there is a loopback interface to do it through.
bool HasLoopback();

}  // namespace tool
