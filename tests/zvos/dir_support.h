// What the tests of directories share: a folder to work in, and children that may move about.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <zvLog/zvLog.h>

#include "support/RecordingLog.h"
#include "support/Support.h"

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>

namespace zvtest {

constexpr zvLogModule kDirModule = 43;

inline auto DirError(const std::string &aText) {
  return Error(kDirModule, aText);
}

// A folder of its own, known by its real path, and what is made in it. Names may contain '/'.
class Tree {
 public:
  Tree() {
    char theRealPath[PATH_MAX] = "";
    if (realpath(mFolder.Path().c_str(), theRealPath) == nullptr) ADD_FAILURE() << strerror(errno);
    mPath = theRealPath;
  }

  const std::string &Path() const { return mPath; }
  std::string At(const std::string &aName) const { return mPath + "/" + aName; }

  std::string MakeDir(const std::string &aName) const {
    std::filesystem::create_directories(At(aName));
    return At(aName);
  }
  std::string MakeFile(const std::string &aName) const {
    WriteWholeFile(At(aName), "");
    return At(aName);
  }
  std::string MakeLink(const std::string &aName, const std::string &aTarget) const {
    if (symlink(aTarget.c_str(), At(aName).c_str()) != 0) ADD_FAILURE() << aName << ": " << strerror(errno);
    return At(aName);
  }

 private:
  TempFolder mFolder;
  std::string mPath;
};

inline bool IsDir(const std::string &aPath) {
  struct stat theData = {};
  return stat(aPath.c_str(), &theData) == 0 && S_ISDIR(theData.st_mode);
}

// The text that an argument of a faulted call points to.
inline const char *TextOf(long long anArgument) {
  return reinterpret_cast<const char *>(static_cast<uintptr_t>(anArgument));
}

inline std::string Replaced(std::string aText, char anOld, char aNew) {
  for (char &theChar : aText)
    if (theChar == anOld) theChar = aNew;
  return aText;
}

// In a child: the superuser, whom no permission stops, becomes somebody else.
inline void BecomeAnybody() {
  constexpr unsigned kAnybody = 65534;
  if (geteuid() != 0) return;
  ASSERT_EQ(0, setgroups(0, nullptr));
  ASSERT_EQ(0, setgid(kAnybody));
  ASSERT_EQ(0, setuid(kAnybody));
}

// Runs the current test, and it alone, in the test program started anew, where the library has not
// looked for its program yet. Returns true in that process.
inline bool IsAlone() {
  constexpr char kAloneVariable[] = "ZVTEST_FIRST_LOOK";
  if (getenv(kAloneVariable) != nullptr) return true;
  const auto *theTest = testing::UnitTest::GetInstance()->current_test_info();
  const std::string theName = std::string(theTest->test_suite_name()) + "." + theTest->name();
  const ChildResult theResult =
      RunProgram(std::filesystem::read_symlink("/proc/self/exe").string(), {"--gtest_filter=" + theName},
                 {std::string(kAloneVariable) + "=1"});
  const std::string theReport = theResult.mOutput + theResult.mError;
  EXPECT_FALSE(theResult.mfSignaled || theResult.mfTimedOut) << theReport;
  EXPECT_EQ(0, theResult.mStatus) << theReport;
  EXPECT_THAT(theResult.mOutput, testing::HasSubstr("[  PASSED  ] 1 test.")) << theReport;
  return false;
}

}  // namespace zvtest
