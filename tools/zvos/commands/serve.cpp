// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// `zvos serve`: the options.

#include "commands/commands.h"
#include "service/file_server.h"
#include "shared/library_log.h"
#include "shared/options.h"
#include "shared/terminal.h"

#include <zvOS/zvSocketPolicy.h>
#include <zvOS/zvSocketQOS.h>

#include <algorithm>

namespace tool {

namespace {

struct ServeOptions {
  std::string mBind = "0.0.0.0";
  std::string mPort = "0";
  std::string mPolicy = "all";
  std::string mExcludedInterfaces;
  std::string mQOS;
  std::string mClients = "1024";
  std::string mIdle = "30";
  bool mfQOS = false;
  bool mfTrace = false;
};

// In the order of the values.
const std::vector<const char *> kPolicies = {"all", "not-local", "local"};
const std::vector<const char *> kQOSClasses = {"none",        "best-effort", "background", "excellent-effort",
                                               "audio-video", "voice",       "control"};

bool IsSafeText(const std::string &aText) {
  return std::none_of(aText.begin(), aText.end(), [](char aCharacter) {
    return static_cast<unsigned char>(aCharacter) < 0x20 || aCharacter == 0x7f;
  });
}

bool ReadSettings(const Arguments &anArguments, ServerSettings &aSettings) {
  ServeOptions theOptions;
  Arguments theFolders;
  if (!TakeOptions(kCommand_Serve, anArguments,
                   {{"--bind", nullptr, &theOptions.mBind},
                    {"--port", nullptr, &theOptions.mPort},
                    {"--policy", nullptr, &theOptions.mPolicy},
                    {"--exclude-if", nullptr, &theOptions.mExcludedInterfaces},
                    {"--qos", &theOptions.mfQOS, &theOptions.mQOS},
                    {"--clients", nullptr, &theOptions.mClients},
                    {"--idle", nullptr, &theOptions.mIdle},
                    {"--trace", &theOptions.mfTrace, nullptr}},
                   theFolders)) {
    return false;
  }
  if (theFolders.size() != 1) {
    Complain("serve: one DIR, see 'zvos help serve'");
    return false;
  }
  uint32 thePort = 0;
  uint32 theSeconds = 0;
  int thePolicy = 0;
  aSettings.mQOSClass = kNoQOSClass;
  if (!ReadOption(kCommand_Serve, "--port", theOptions.mPort, 0, 65535, thePort) ||
      !ReadOption(kCommand_Serve, "--clients", theOptions.mClients, 1, FD_SETSIZE, aSettings.mMostClients) ||
      !ReadOption(kCommand_Serve, "--idle", theOptions.mIdle, 1, 86400, theSeconds) ||
      !ReadChoice(kCommand_Serve, "--policy", theOptions.mPolicy, kPolicies, thePolicy) ||
      (theOptions.mfQOS &&
       !ReadChoice(kCommand_Serve, "--qos", theOptions.mQOS, kQOSClasses, aSettings.mQOSClass))) {
    return false;
  }
  if (!IsSafeText(theOptions.mExcludedInterfaces)) {
    Complain("serve: --exclude-if takes names of interfaces, without control characters");
    return false;
  }
  if (const MaybeProblem theProblem = FindAddress(theOptions.mBind, aSettings.mAddress.mAddress)) {
    ComplainOf(kCommand_Serve, *theProblem);
    return false;
  }
  aSettings.mAddress.mPort = static_cast<uint16>(thePort);
  aSettings.mFolder = theFolders[0];
  aSettings.mPolicy = kzvSocketPolicy_IP_All + thePolicy;
  aSettings.mExcludedInterfaces = theOptions.mExcludedInterfaces;
  aSettings.mIdleTime = theSeconds * 1000;
  aSettings.mfTrace = theOptions.mfTrace;
  return true;
}

int RunServe(const Arguments &anArguments) {
  KeepNetworkQuiet();
  ServerSettings theSettings = {};
  if (!ReadSettings(anArguments, theSettings)) return kStatus_BadInput;
  const MaybeProblem theProblem = ServeFiles(theSettings);
  return theProblem ? ComplainOf(kCommand_Serve, *theProblem) : kStatus_Good;
}

}  // namespace

const Command kCommand_Serve = {
    "serve",
    "[OPTION...] DIR",
    "serve the files of a folder over the network",
    "Lets 'zvos get' fetch the files below DIR, until Ctrl-C or SIGTERM. The first line says where\n"
    "the service is; each client gets a line, and the end a summary. Names that lead out of DIR are\n"
    "refused. Everybody who reaches the port and whom the policy admits can read the files.\n"
    "\n"
    "  --bind ADDR        the address to listen on; all by default\n"
    "  --port N           the port; by default the library draws one from 50000 to 65000, with\n"
    "                     --bind the system chooses\n"
    "  --policy WHICH     all, not-local (nobody through the loopback interface), or local (nobody\n"
    "                     but this machine); by default all\n"
    "  --exclude-if LIST  interfaces through which nobody is served: names or patterns, separated by\n"
    "                     blanks or commas, in double quotes where needed\n"
    "  --qos CLASS        how the traffic is marked: none, best-effort, background,\n"
    "                     excellent-effort, audio-video, voice or control\n"
    "  --clients N        at most so many at a time, 1024 by default; the others are told 'busy'\n"
    "  --idle SECONDS     a client that gets nowhere for so long is given up; by default 30\n"
    "  --trace            log the library's live table of sockets, and write what each connection\n"
    "                     sends and receives into a file of the folder 'socket' in the current\n"
    "                     folder; 40 clients at most\n"
    "\n"
    "Exit status: 0 ended by a signal, 1 the service failed, 2 wrong usage, no such folder, an\n"
    "address that cannot be used, or a name of --exclude-if that cannot be excluded.\n"
    "\n"
    "Examples:\n"
    "  zvos serve /var/log\n"
    "  zvos serve --policy local --port 50505 .\n"
    "  zvos serve --exclude-if 'wlan*' --qos background /media\n",
    RunServe,
};

}  // namespace tool
