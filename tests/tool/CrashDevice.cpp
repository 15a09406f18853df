// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "CrashDevice.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <vector>

namespace zvtest {

namespace fs = std::filesystem;

namespace {

// Sanitizers shall leave the signals to the library.
const std::vector<std::string> kSanitizerOptions = {
    "ASAN_OPTIONS=handle_segv=0:handle_sigfpe=0:handle_sigbus=0:handle_sigill=0:handle_abort=0:"
    "allow_user_segv_handler=1:detect_leaks=0:use_sigaltstack=0",
    "TSAN_OPTIONS=handle_segv=0:handle_sigfpe=0:handle_sigbus=0:handle_sigill=0:handle_abort=0:"
    "allow_user_segv_handler=1:report_bugs=0"};

void Objcopy(const std::vector<std::string> &anArguments) {
  std::string theCommand = ZVTEST_OBJCOPY;
  for (const std::string &theArgument : anArguments)
    theCommand += " '" + theArgument + "'";
  ASSERT_EQ(0, system(theCommand.c_str())) << theCommand;
}

}  // namespace

std::string Output(const std::string &aCommand) {
  FILE *const thePipe = popen(aCommand.c_str(), "r");
  std::string theText;
  char theBuffer[4096];
  for (size_t theCount; (theCount = fread(theBuffer, 1, sizeof(theBuffer), thePipe)) > 0;)
    theText.append(theBuffer, theCount);
  pclose(thePipe);
  return theText;
}

std::string BuildIdPath(const std::string &aFile) {
  const std::string theText = Output("readelf -n '" + aFile + "' 2>/dev/null");
  const size_t thePlace = theText.find("Build ID: ");
  if (thePlace == std::string::npos) {
    ADD_FAILURE() << aFile << " has no build id\n" << theText;
    return "none";
  }
  const std::string theId = theText.substr(thePlace + 10, theText.find('\n', thePlace) - thePlace - 10);
  return ".build-id/" + theId.substr(0, 2) + "/" + theId.substr(2) + ".debug";
}

Device::Device() {
  fs::create_directories(mFolder.File("device/bin"));
  fs::create_directories(mFolder.File("device/lib"));
  Install(BuiltProgram("crash_child"), "bin/crash_child");
  for (const char *theName : {"libzvOS.so", "libzvLog.so"}) {
    const fs::path theFile = fs::canonical(BuiltLibrary(theName));
    Install(theFile.string(), "lib/" + theFile.filename().string());
    fs::create_symlink(theFile.filename(), mFolder.File("device/lib/") + theName + ".1");
  }
}

std::string Device::Crash(const std::string &aMode) {
  const std::string theFolder = mFolder.File("reports");
  fs::create_directory(theFolder);
  std::vector<std::string> theEnvironment = kSanitizerOptions;
  theEnvironment.push_back("ZVLOG=debug,to=file:" + mFolder.File("log"));
  theEnvironment.push_back("ZVOS_CRASH_DIR=" + theFolder);
  mChild = RunProgram(mFolder.File("device/bin/crash_child"), {aMode}, theEnvironment, 60);
  EXPECT_TRUE(mChild.mfSignaled) << mChild.mError;
  mTrace = ReadWholeFile("/tmp/backtrace_" + std::to_string(mChild.mPid) + ".txt");
  RemoveCrashFiles(mChild.mPid);
  return theFolder + "/zvos_crash_" + std::to_string(mChild.mPid) + ".txt";
}

std::string Device::InstallLines() const {
  const std::string theProgram = mFolder.File("device/bin/crash_child");
  fs::remove(theProgram);
  fs::copy_file(BuiltProgram("crash_child"), theProgram);
  return theProgram;
}

void Device::Remove() const {
  fs::remove_all(mFolder.File("device"));
}

void Device::Install(const std::string &aFile, const std::string &aName) const {
  const std::string theDebug = DebugFolder() + "/" + BuildIdPath(aFile);
  fs::create_directories(fs::path(theDebug).parent_path());
  Objcopy({"--only-keep-debug", aFile, theDebug});
  Objcopy({"--strip-all", aFile, mFolder.File("device/" + aName)});
}

}  // namespace zvtest
