// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// `zvos get`: the options, and what is shown of a transfer.

#include "commands/commands.h"
#include "service/file_client.h"
#include "service/file_protocol.h"
#include "service/output_file.h"
#include "service/traffic.h"
#include "shared/files.h"
#include "shared/library_log.h"
#include "shared/options.h"
#include "shared/owners.h"
#include "shared/signals.h"
#include "shared/text.h"

#include <cinttypes>

namespace tool {

namespace {

struct GetOptions {
  std::string mFile;
  std::string mIdle = "30";
  bool mfFile = false;
  bool mfTrace = false;
};

MaybeProblem ReadServer(const std::string &aText, Endpoint &aServer) {
  const size_t theColon = aText.rfind(':');
  uint64 thePort = 0;
  if (theColon == std::string::npos || theColon == 0 ||
      !ReadNumber(aText.substr(theColon + 1), 1, 65535, thePort)) {
    return BadInput("'" + aText + "' is not of the form HOST:PORT");
  }
  aServer.mPort = static_cast<uint16>(thePort);
  return FindAddress(aText.substr(0, theColon), aServer.mAddress);
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
  aSettings.mFile = theOptions.mfFile ? theOptions.mFile : PathParts(aSettings.mName).mName;
  if (aSettings.mName.empty()) {
    Complain("get: the NAME is empty");
    return false;
  }
  MaybeProblem theProblem = OutputFile::WhyImpossible(aSettings.mFile);
  if (!theProblem) theProblem = ReadServer(theOperands[0], aSettings.mServer);
  if (theProblem) ComplainOf(kCommand_Get, *theProblem);
  return !theProblem;
}

int ShowFetching(const FetchSettings &aSettings, const Fetching &aFetching, Step &aStep) {
  if (aFetching.mProblem) {
    aStep.Withdraw();
    return ComplainOf(kCommand_Get, *aFetching.mProblem);
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
  if (theSettings.mfTrace) {
    if (const MaybeProblem theProblem = StartTrace()) return ComplainOf(kCommand_Get, *theProblem);
  }

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
    const Fetching theFetching = FetchFile(
        theSettings, theSelect.get(), [&] { return theSignals.First() != 0; }, theStep);
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
