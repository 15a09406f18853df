// `zvos get`: the options, and what is shown of a transfer.

#include "shared/command.h"
#include "service/file_client.h"
#include "shared/library_log.h"
#include "shared/options.h"
#include "service/output_file.h"
#include "shared/stop_signals.h"
#include "shared/terminal.h"

#include <cinttypes>
#include <csignal>

namespace tool {

namespace {

struct GetOptions {
  std::string mFile;
  std::string mIdle = "30";
  bool mfFile = false;
  bool mfTrace = false;
};

bool ReadServer(const std::string &aText, Endpoint &aServer) {
  const size_t theColon = aText.rfind(':');
  uint64 thePort = 0;
  if (theColon == std::string::npos || theColon == 0 ||
      !ReadNumber(aText.substr(theColon + 1), 1, 65535, thePort)) {
    Complain("get: '%s' is not of the form HOST:PORT", aText.c_str());
    return false;
  }
  aServer.mPort = static_cast<uint16>(thePort);
  const std::string theHost = aText.substr(0, theColon);
  std::string theProblem;
  if (FindAddress(theHost, aServer.mAddress, theProblem)) return true;
  Complain("get: cannot find '%s': %s", theHost.c_str(), theProblem.c_str());
  return false;
}

bool ReadSettings(const Arguments &anArguments, FetchSettings &aSettings) {
  GetOptions theOptions;
  Arguments theOperands;
  if (!TakeOptions(kCommand_Get, anArguments,
                   {{"-o", &theOptions.mfFile, &theOptions.mFile},
                    {"--idle", nullptr, &theOptions.mIdle},
                    {"--trace", &theOptions.mfTrace, nullptr}},
                   theOperands)) {
    return false;
  }
  if (theOperands.size() != 2) {
    Complain("get: HOST:PORT and one NAME, see 'zvos help get'");
    return false;
  }
  uint32 theSeconds = 0;
  if (!ReadOption(kCommand_Get, "--idle", theOptions.mIdle, 1, 86400, theSeconds)) return false;
  aSettings.mIdleTime = theSeconds * 1000;
  aSettings.mfTrace = theOptions.mfTrace;
  aSettings.mName = theOperands[1];
  aSettings.mFile =
      theOptions.mfFile ? theOptions.mFile : aSettings.mName.substr(aSettings.mName.rfind('/') + 1);
  if (aSettings.mName.empty()) {
    Complain("get: the NAME is empty");
    return false;
  }
  const std::string theProblem = OutputFile::WhyImpossible(aSettings.mFile);
  if (!theProblem.empty()) {
    Complain("get: cannot write '%s': %s", aSettings.mFile.c_str(), theProblem.c_str());
    return false;
  }
  return ReadServer(theOperands[0], aSettings.mServer);
}

bool StartTrace() {
  SwitchTraceOn();
  const std::string theProblem = MakeTrafficFolder();
  if (!theProblem.empty()) Complain("get: cannot make the folder 'socket': %s", theProblem.c_str());
  return theProblem.empty();
}

int ShowFetching(const FetchSettings &aSettings, const Fetching &aFetching, Step &aStep) {
  if (aFetching.mStatus != kStatus_Good) {
    aStep.Withdraw();
    Complain("get: %s", aFetching.mProblem.c_str());
    return aFetching.mStatus;
  }
  aStep.Passed("%" PRIu64 " bytes, CRC-32 %s, %" PRId64 " ms, stored in '%s'", aFetching.mBytes,
               ChecksumText(aFetching.mChecksum).c_str(), aFetching.mMilliseconds, aSettings.mFile.c_str());
  if (!aFetching.mTrafficFile.empty()) Print("%-26straffic in '%s'\n", "", aFetching.mTrafficFile.c_str());
  return kStatus_Good;
}

// Who waits for the program learns that it was a signal.
void DieBy(int aSignal) {
  FlushOutput();
  signal(aSignal, SIG_DFL);
  raise(aSignal);
}

int RunGet(const Arguments &anArguments) {
  KeepNetworkQuiet();
  FetchSettings theSettings = {};
  if (!ReadSettings(anArguments, theSettings)) return kStatus_BadInput;
  if (theSettings.mfTrace && !StartTrace()) return kStatus_CheckFailed;

  const SelectOwner theSelect(zvSocketSelect_New());
  if (!theSelect) {
    Complain("get: no select object could be made");
    return kStatus_CheckFailed;
  }
  int theStatus = kStatus_CheckFailed;
  int theSignal = 0;
  {
    const StopSignals theSignals(theSelect.get());
    if (!theSignals.AreWatched()) {
      Complain("get: signals cannot be waited for");
      return kStatus_CheckFailed;
    }
    const std::string theShownName = Printable(theSettings.mName);
    Step theStep(theShownName.c_str());
    const Fetching theFetching =
        FileClient(theSettings, theSelect.get(), [&] { return theSignals.First() != 0; }).Fetch(theStep);
    theStatus = ShowFetching(theSettings, theFetching, theStep);
    // A signal that came when the file was there already has stopped nothing.
    if (theStatus != kStatus_Good) theSignal = theSignals.First();
  }
  if (theSignal != 0) DieBy(theSignal);
  return theStatus;
}

}  // namespace

const Command kCommand_Get = {
    "get",
    "[OPTION...] HOST:PORT NAME",
    "fetch a file from 'zvos serve'",
    "Fetches the file NAME, counted from the folder that 'zvos serve' serves at HOST:PORT, and checks\n"
    "its length and its CRC-32. The file appears under its name when it is complete and right, not\n"
    "before; one that is there already is replaced.\n"
    "\n"
    "  -o FILE            where to store it; by default the last part of NAME, in the current folder\n"
    "  --idle SECONDS     how long to wait for the server each time; by default 30\n"
    "  --trace            log the library's live table of sockets, and write what the connection\n"
    "                     sends and receives into a file of the folder 'socket' in the current\n"
    "                     folder\n"
    "\n"
    "Exit status: 0 the file is there, 1 the server refused or was busy, the transfer broke off, the\n"
    "data is wrong or cannot be stored, 2 wrong usage, no server there, or no such file.\n"
    "\n"
    "Examples:\n"
    "  zvos get 192.168.1.20:53211 syslog\n"
    "  zvos get device:50505 music/song.mp3 -o /tmp/song.mp3\n",
    RunGet,
};

}  // namespace tool
