// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Paths: what is made of relative ones, the standard directories, real paths. Where the program lives:
// path_program_test.cpp.

#include "paths_support.h"

using testing::ElementsAre;
using testing::IsEmpty;
using namespace zvtest;
using namespace zvtest::paths;

namespace {

//
// Absolute or relative
//

TEST_F(Path, OnlyEmptyPathsAndThoseThatBeginWithASeparatorAreAbsolute) {
  for (const char *thePath : {"", "/", "\\", "/a", "\\a", "//", "/."}) {
    EXPECT_EQ(1, zvPath_IsAbsolute(thePath)) << thePath;
  }
  for (const char *thePath : {"a", ".", "..", "./a", "a/b", "a\\b", " ", "c:\\a", "~/a"}) {
    EXPECT_EQ(0, zvPath_IsAbsolute(thePath)) << thePath;
  }
  EXPECT_EQ(0, zvPath_IsAbsolute(nullptr));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

// clang-format off
struct Normalization {
  const char *mPath;
  int mMode;
  const char *mAnchor;
  const char *mResult;
};

constexpr int kGeneric = kzvPathNormalizeMode_Generic;
constexpr int kSlash = kzvPathNormalizeMode_NativeSlash;
constexpr int kForm = kzvPathNormalizeMode_NativeForm;

constexpr Normalization kNormalizations[] = {
    // Bare names stand behind the anchor as they are.
    {"a/b", kNative, "/x/", "/x/a/b"},
    {"a", kNative, "/x/", "/x/a"},
    {"a//b", kNative, "/x/", "/x/a//b"},
    {"a/../b/.", kNative, "/x/", "/x/a/../b/."},
    {"a/", kNative, "/x/", "/x/a/"},
    {".hidden", kNative, "/x/", "/x/.hidden"},
    {".hidden/a", kNative, "/x/", "/x/.hidden/a"},
    {"..x", kNative, "/x/", "/x/..x"},
    {"...", kNative, "/x/", "/x/..."},
    {" ", kNative, "/x/", "/x/ "},
    // A dot and its separator are dropped, once.
    {"./a", kNative, "/x/", "/x/a"},
    {".\\a", kNative, "/x/", "/x/a"},
    {".\\a", kGeneric, "/x/", "/x/a"},
    {"././a", kNative, "/x/", "/x/./a"},
    {".//a", kNative, "/x/", "/x//a"},
    {"./", kNative, "/x/", "/x/"},
    {".\\", kNative, "/x/", "/x/"},
    {".\\", kGeneric, "/x/", "/x/"},
    {".", kNative, "/x/", "/x/"},
    {"./.", kNative, "/x/", "/x/."},
    {"./..", kNative, "/x/", "/x/.."},
    // Two dots stay.
    {"..", kNative, "/x/", "/x/.."},
    {"../", kNative, "/x/", "/x/../"},
    {"../a", kNative, "/x/", "/x/../a"},
    {"..\\a", kNative, "/x/", "/x/../a"},
    {"..\\a", kGeneric, "/x/", "/x/..\\a"},
    // The anchor gets no separator.
    {"a", kNative, "/x", "/xa"},
    {".", kNative, "/x", "/x"},
    {"../a", kNative, "/x", "/x../a"},
    {"a", kNative, "", "a"},
    {"./a", kNative, "", "a"},
    {".", kNative, "", ""},
    {"a", kNative, "x/", "x/a"},
    // Backslashes of anchor and path are turned, if asked for.
    {"a\\b", kNative, "/x/", "/x/a/b"},
    {"a\\b", kSlash, "/x/", "/x/a/b"},
    {"a\\b", kForm, "/x/", "/x/a\\b"},
    {"a\\b", kGeneric, "/x/", "/x/a\\b"},
    {"a\\b", kNative, "\\x\\", "/x/a/b"},
    {"a\\b", kGeneric, "\\x\\", "\\x\\a\\b"},
    // Absolute paths need no anchor.
    {"", kNative, "/x/", ""},
    {"", kNative, nullptr, ""},
    {"/", kNative, "/x/", "/"},
    {"/y\\z", kNative, nullptr, "/y/z"},
    {"/y\\z", kSlash, nullptr, "/y/z"},
    {"/y\\z", kForm, nullptr, "/y\\z"},
    {"/y\\z", kGeneric, nullptr, "/y\\z"},
    {"\\y\\z", kNative, "/x/", "/y/z"},
    {"\\y\\z", kGeneric, "/x/", "\\y\\z"},
    {"//a//./../b/", kNative, "/x/", "//a//./../b/"},
    {"\\", kNative, "/x/", "/"},
};
// clang-format on

TEST_F(Path, NormalizePutsRelativePathsBehindTheAnchorAndCopiesAbsoluteOnes) {
  for (const Normalization &theCase : kNormalizations) {
    for (const int afDir : {0, 1}) {
      SCOPED_TRACE(Format("'%s', mode %d, anchor '%s', afDir %d", theCase.mPath, theCase.mMode,
                          theCase.mAnchor != nullptr ? theCase.mAnchor : kNoText, afDir));
      char *theResult = zvPath_Normalize(theCase.mPath, afDir, theCase.mMode, theCase.mAnchor);
      EXPECT_NE(theCase.mPath, theResult);
      EXPECT_NE(theCase.mAnchor, theResult);
      EXPECT_EQ(theCase.mResult, Take(theResult));
    }
  }
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Path, NormalizeOfNoPathIsNothing) {
  EXPECT_EQ(nullptr, zvPath_Normalize(nullptr, 0, kNative, "/x/"));
  EXPECT_EQ(nullptr, zvPath_Normalize(nullptr, 0, kNative, nullptr));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Path, NormalizeWithoutAnAnchorTakesTheFolderOfTheProgram) {
  const std::string theProgram = zvtest::OwnProgram();
  const std::string theFolder = theProgram.substr(0, theProgram.rfind('/') + 1);
  EXPECT_EQ(theFolder + "a/b", Take(zvPath_Normalize("a\\b", 0, kNative, nullptr)));
  EXPECT_EQ(theFolder + "a", Take(zvPath_Normalize("./a", 0, kNative, nullptr)));
  EXPECT_EQ(theFolder, Take(zvPath_Normalize(".", 0, kNative, nullptr)));
  EXPECT_EQ(theFolder + "../a", Take(zvPath_Normalize("../a", 0, kNative, nullptr)));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Path, NormalizeWithoutMemoryIsNothing) {
  {
    Fault theFault("zvStrdup", 0, 0, -1);
    EXPECT_EQ(nullptr, zvPath_Normalize("/a\\b", 0, kNative, nullptr));
  }
  {
    Fault theFault("zvMalloc", 0, 0, -1);
    EXPECT_EQ(nullptr, zvPath_Normalize("a\\b", 0, kNative, "/x/"));
  }
}

TEST_F(Path, AFileWhosePathCannotBeNormalizedHasAnInvalidName) {
  zvFileFD theHandle = kzvFileFDInvalid;
  zvtimeval theTime = {1, 2};
  Fault theFault("zvStrdup", 0, 0, -1);
  EXPECT_EQ(kzvFileErrorUnknown, zvFile_Open("/a", zvFileOpenMode_Read, 0, &theHandle));
  EXPECT_EQ(0, zvFile_Access("/a", zvFileAccessMode_Read));
  EXPECT_EQ(kzvFileErrorUnknown, zvFile_Remove("/a"));
  EXPECT_EQ(0, zvFile_HasAttribute("/a", kzvFileAttribute_Hidden));
  EXPECT_EQ(0, zvFile_Exists("/a"));
  EXPECT_EQ(kzvFileErrorUnknown, zvFile_GetTimes("/a", nullptr, nullptr, nullptr));
  EXPECT_EQ(kzvFileErrorUnknown, zvFile_SetModificationTime("/a", &theTime));
  EXPECT_EQ(kzvFileErrorUnknown, zvFile_Rename("/a", "/b"));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(FileError("zvFile: Cannot open file: '/a' (invalid name)\n"),
                          FileError("zvFile: Cannot check access for file: '/a' (invalid name)\n"),
                          FileError("zvFile: Cannot remove file: '/a' (invalid name)\n"),
                          FileError("zvFile: Cannot check attribute for file '/a', (invalid name)\n"),
                          FileError("zvFile: Cannot check file: '/a' exists, (invalid name)\n"),
                          FileError("zvFile: Cannot get times for file: '/a' (invalid name)\n"),
                          FileError("zvFile: Cannot get times for file: '/a' (invalid name)\n"),
                          FileError("zvFile: Cannot rename file: '/a' to '/b' (invalid name)\n")));
}

//
// Standard directories
//

// Puts TMPDIR back at the end.
class TmpDirKeeper {
 public:
  TmpDirKeeper() {
    if (const char *theValue = getenv("TMPDIR")) {
      mValue = theValue;
      mfSet = true;
    }
  }
  ~TmpDirKeeper() {
    if (mfSet) {
      setenv("TMPDIR", mValue.c_str(), 1);
    } else {
      unsetenv("TMPDIR");
    }
  }
  TmpDirKeeper(const TmpDirKeeper &) = delete;
  TmpDirKeeper &operator=(const TmpDirKeeper &) = delete;

 private:
  std::string mValue;
  bool mfSet = false;
};

TEST_F(Path, TheTemporaryAndTheCacheDirectoryAreWhatTheEnvironmentSays) {
  const TmpDirKeeper theKeeper;
  for (const char *theValue : {"/some/where", "/with/slash/", "relative", "back\\slash", ""}) {
    SCOPED_TRACE(theValue);
    mLog.Clear();
    setenv("TMPDIR", theValue, 1);
    EXPECT_EQ(theValue, Take(zvPath_GetTempDirPath()));
    EXPECT_EQ(theValue, Take(zvPath_GetCacheDirPath()));
    const std::string theText =
        Format("Temporary directory is '%s' (TMPDIR is '%s', P_tmpdir is '/tmp')\n", theValue, theValue);
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(zvtest::Debug(kPathModule, theText), zvtest::Debug(kPathModule, theText)));
  }
}

TEST_F(Path, WithoutTmpdirTheTemporaryDirectoryIsTmp) {
  const TmpDirKeeper theKeeper;
  unsetenv("TMPDIR");
  EXPECT_EQ("/tmp", Take(zvPath_GetTempDirPath()));
  EXPECT_EQ("/tmp", Take(zvPath_GetCacheDirPath()));
  const std::string theText = "Temporary directory is '/tmp' (TMPDIR is '(null)', P_tmpdir is '/tmp')\n";
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(zvtest::Debug(kPathModule, theText), zvtest::Debug(kPathModule, theText)));
}

TEST_F(Path, TheTemporaryDirectoryIsLoggedAtDebugLevelOnly) {
  mLog.SetLevel(4);
  Take(zvPath_GetTempDirPath());
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(Path, TheConfigurationDirectoryIsTheCurrentOne) {
  char *theFirst = zvPath_GetDefaultConfigPath();
  char *theSecond = zvPath_GetDefaultConfigPath();
  EXPECT_NE(theFirst, theSecond);
  EXPECT_EQ("./", Take(theFirst));
  EXPECT_EQ("./", Take(theSecond));
}

TEST_F(Path, ThereAreNoSystemFonts) {
  EXPECT_EQ(nullptr, zvPath_GetSystemFontPath());
}

//
// Real paths and types
//

TEST_F(Path, RealPathIsACopyThatResolvesNothing) {
  TempFolder theFolder;
  const std::string theLink = theFolder.File("link");
  ASSERT_EQ(0, symlink("/usr", theLink.c_str()));
  for (const std::string &thePath :
       {theLink, std::string("/a/../b"), std::string("a/b"), std::string("a\\b"), std::string("./a"),
        std::string(""), std::string("a>b"), std::string("$HOME"), std::string("/no/such/file")}) {
    char *theResult = zvPath_RealPath(thePath.c_str());
    EXPECT_NE(thePath.c_str(), theResult);
    EXPECT_EQ(thePath, Take(theResult));
  }
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Path, RealPathOfAPlaceholderOrOfNothingIsNothing) {
  for (const char *thePath : {"<home>/a", "/a/<b>", "/a<b", "<", "a><"}) {
    EXPECT_EQ(nullptr, zvPath_RealPath(thePath)) << thePath;
  }
  EXPECT_EQ(nullptr, zvPath_RealPath(nullptr));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Path, TheTypeOfEveryPathIsUnknown) {
  for (const char *thePath : {"/", "/tmp", "", "/no/such/file", static_cast<const char *>(nullptr)}) {
    EXPECT_EQ(kzvPathType_Unknown, zvPath_GetType(thePath));
  }
}

}  // namespace
