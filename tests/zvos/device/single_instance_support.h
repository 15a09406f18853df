// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A checker, its answers and its messages; for the tests of single instances.
#pragma once

#include <zvOS/zvSingleInstanceChecker.h>

#include "support/HandleChecks.h"
#include "support/Support.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <set>
#include <string>

namespace zvtest {
namespace single_instance {

constexpr zvLogModule kModule = 0;
constexpr zvLogLevel kWithoutDebug = 4;
constexpr char kName[] = "media-server";

inline auto Failed(const std::string &aText) {
  return Error(kModule, "zvOSSingleInstanceChecker: " + aText + "\n");
}
inline auto Told(const std::string &aText) {
  return Info(kModule, "zvOSSingleInstanceChecker: " + aText + "\n");
}
inline auto Owned() {
  return Told("Successful checked !");
}
inline auto Locked() {
  return Told("File locked");
}
inline auto NotOpened(const std::string &aPath) {
  return Told("Unable to open file (" + aPath + ")");
}

class Checker {
 public:
  explicit Checker(const char *aName = kName) {
    const std::set<int> theFormer = OpenDescriptors();
    mChecker = zvSingleInstanceChecker_New(aName);
    const std::set<int> theOpened = DescriptorsBesides(theFormer);
    EXPECT_LE(theOpened.size(), 1u);
    if (!theOpened.empty()) mDescriptor = *theOpened.begin();
  }
  explicit Checker(const std::string &aName) : Checker(aName.c_str()) {}
  ~Checker() { Delete(); }
  Checker(const Checker &) = delete;
  Checker &operator=(const Checker &) = delete;

  void Delete() {
    zvSingleInstanceChecker_Delete(mChecker);
    mChecker = nullptr;
  }
  bool IsThere() const { return mChecker != nullptr; }

  // The lock file's, or -1.
  int Descriptor() const { return mDescriptor; }

  // What it answers: "free", "taken" or "taken, error".
  std::string State() const {
    if (mChecker == nullptr) return "none";
    const int theExists = zvSingleInstanceChecker_Exists(mChecker);
    const int theError = zvSingleInstanceChecker_Error(mChecker);
    if (theExists == 0 && theError == 0) return "free";
    if (theExists == 1 && theError == 0) return "taken";
    if (theExists == 1 && theError == 1) return "taken, error";
    return Format("exists %d, error %d", theExists, theError);
  }

 private:
  zvOSSingleInstanceChecker *mChecker;
  int mDescriptor = -1;
};

// The folder of the test is the one for temporary files.
class SingleInstanceTest : public ::testing::Test {
 protected:
  SingleInstanceTest() {
    const char *const theFolder = getenv("TMPDIR");
    mfHadFolder = theFolder != nullptr;
    if (mfHadFolder) mFormerFolder = theFolder;
    SetFolder(mFolder.Path());
    mLog.SetLevel(kWithoutDebug);
  }
  ~SingleInstanceTest() override {
    if (mfHadFolder)
      SetFolder(mFormerFolder);
    else
      unsetenv("TMPDIR");
  }

  static void SetFolder(const std::string &aFolder) { setenv("TMPDIR", aFolder.c_str(), 1); }
  std::string LockFile(const std::string &aName = kName) const { return mFolder.File(aName); }
  bool LockFileExists() const { return Exists(LockFile()); }

  TempFolder mFolder;
  RecordingLog mLog;

 private:
  bool mfHadFolder;
  std::string mFormerFolder;
};

}  // namespace single_instance
}  // namespace zvtest
