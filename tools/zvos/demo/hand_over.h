// A connection that goes from one process to another: a supervisor, of which there is one only, takes
// it and hands it to a worker.
#pragma once

#include "shared/network.h"

#include <sys/types.h>

namespace tool {

struct HandOver {
  std::string mProblem;  // empty when all went as it should
  std::string mLock;     // the name that the supervisor held
  std::string mPipe;     // the name of the pipe
  pid_t mSupervisor;
  pid_t mWorker;
  Endpoint mAddress;    // where the supervisor took the connection
  std::string mAnswer;  // what the worker said on it
};

// Starts both processes, connects, and talks to the worker. No other thread may be running: they are
// forked and go on in this program.
HandOver HandOverConnection();

}  // namespace tool
