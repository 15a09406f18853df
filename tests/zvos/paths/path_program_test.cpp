// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Paths: where the program and its functions live, also inside a Java virtual machine.

#include "paths_support.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace zvtest;
using namespace zvtest::paths;

namespace {

//
// The file of a function
//

void AFunctionOfTheProgram() {}

TEST_F(Path, TheFileOfAFunctionOfTheProgramIsTheProgram) {
  const std::string theFile = Take(zvPath_GetFunctionSharedLibraryPath(&AFunctionOfTheProgram));
  EXPECT_TRUE(std::filesystem::equivalent(theFile, zvtest::OwnProgram())) << theFile;
}

TEST_F(Path, TheFileOfAFunctionOfALibraryIsTheLibrary) {
  const auto theFunction = reinterpret_cast<zvDefaultFunctionPtr>(&zvPath_GetType);
  const std::string theFile = Take(zvPath_GetFunctionSharedLibraryPath(theFunction));
  EXPECT_TRUE(std::filesystem::equivalent(theFile, zvtest::BuiltLibrary("libzvOS.so"))) << theFile;
}

TEST_F(Path, AnAddressOfNoFileHasNone) {
  EXPECT_EQ(nullptr, zvPath_GetFunctionSharedLibraryPath(nullptr));
  EXPECT_EQ(nullptr, zvPath_GetFunctionSharedLibraryPath(
                         reinterpret_cast<zvDefaultFunctionPtr>(static_cast<uintptr_t>(16))));
  int theLocal = 0;
  EXPECT_EQ(nullptr, zvPath_GetFunctionSharedLibraryPath(reinterpret_cast<zvDefaultFunctionPtr>(&theLocal)));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

//
// The program
//

TEST_F(Path, TheProgramIsSplitBehindItsLastSeparator) {
  const std::string theProgram = zvtest::OwnProgram();
  const size_t theNameStart = theProgram.rfind('/') + 1;
  EXPECT_EQ(theProgram, Take(zvPath_GetApplicationFullPath()));
  for (const int afRemoveExtension : {0, 1}) {
    EXPECT_EQ(theProgram.substr(0, theNameStart), Take(zvPath_GetApplicationPath(afRemoveExtension)));
    EXPECT_EQ(theProgram.substr(theNameStart), Take(zvPath_GetApplicationName(afRemoveExtension)));
  }
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Path, EveryCallGivesTextOfItsOwn) {
  char *theFirst = zvPath_GetApplicationFullPath();
  ASSERT_NE(nullptr, theFirst);
  theFirst[0] = '\0';
  char *theSecond = zvPath_GetApplicationFullPath();
  EXPECT_NE(theFirst, theSecond);
  free(theFirst);
  EXPECT_EQ(zvtest::OwnProgram(), Take(theSecond));
}

// The library looks for its program once in the life of a process.
class PathFirstLook : public Path {
 protected:
  // The faulted readlink() answers this target, as the system would into a buffer that is large
  // enough to be told the whole length.
  static void Answer(Fault &aFault, const std::string &aTarget) {
    aFault.Returning(static_cast<long long>(aTarget.size())).Doing([aTarget](const long long *anArguments) {
      EXPECT_EQ(8192, anArguments[2]);
      const size_t theCount = std::min(aTarget.size(), static_cast<size_t>(anArguments[2]));
      memcpy(reinterpret_cast<void *>(static_cast<uintptr_t>(anArguments[1])), aTarget.data(), theCount);
    });
  }

  // A path of that length with a folder in it.
  static std::string PathOfLength(size_t aLength) {
    const std::string theFolder = "/opt/";
    return theFolder + std::string(aLength - theFolder.size(), 'p');
  }
};

TEST_F(PathFirstLook, TheProgramIsLookedUpOnceByItsProcessId) {
  if (!IsAlone()) return;
  std::string theLink;
  Fault theFault("readlink", 0, 0, -1);
  theFault.PassingThrough().Doing([&](const long long *anArguments) {
    theLink = reinterpret_cast<const char *>(static_cast<uintptr_t>(anArguments[0]));
  });
  EXPECT_EQ(zvtest::OwnProgram(), Take(zvPath_GetApplicationFullPath()));
  EXPECT_EQ(Format("/proc/%u/exe", static_cast<unsigned>(getpid())), theLink);
  Take(zvPath_GetApplicationFullPath());
  Take(zvPath_GetApplicationName(0));
  Take(zvPath_Normalize("a", 0, kNative, nullptr));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(PathFirstLook, AnAnchorOrAnAbsolutePathNeedsNoProgram) {
  if (!IsAlone()) return;
  Take(zvPath_Normalize("a", 0, kNative, "/x/"));
  Take(zvPath_Normalize("/a", 0, kNative, nullptr));
  EXPECT_EQ(0, CallsOf("readlink"));
}

TEST_F(PathFirstLook, AForkedChildKeepsTheValueOfItsParent) {
  if (!IsAlone()) return;
  {
    Fault theFault("readlink", 0);
    Answer(theFault, "/parents/program");
    EXPECT_EQ("/parents/program", Take(zvPath_GetApplicationFullPath()));
  }
  const auto theResult = zvtest::RunInChild([] {
    if (Take(zvPath_GetApplicationFullPath()) != "/parents/program") return 1;
    return CallsOf("readlink") == 1 ? 0 : 2;
  });
  EXPECT_FALSE(theResult.mfSignaled);
  EXPECT_EQ(0, theResult.mStatus);
}

TEST_F(PathFirstLook, AnExtensionStaysAndBackslashesAreTurned) {
  if (!IsAlone()) return;
  Fault theFault("readlink", 0);
  Answer(theFault, "/opt\\zv/media\\player.bin");
  EXPECT_EQ("/opt/zv/media/player.bin", Take(zvPath_GetApplicationFullPath()));
  EXPECT_EQ("/opt/zv/media/", Take(zvPath_GetApplicationPath(1)));
  EXPECT_EQ("player.bin", Take(zvPath_GetApplicationName(1)));
}

TEST_F(PathFirstLook, AProgramWithoutAFolderHasNeitherPathNorName) {
  if (!IsAlone()) return;
  Fault theFault("readlink", 0);
  Answer(theFault, "program");
  EXPECT_EQ("program", Take(zvPath_GetApplicationFullPath()));
  EXPECT_EQ(nullptr, zvPath_GetApplicationPath(0));
  EXPECT_EQ(nullptr, zvPath_GetApplicationName(0));
}

TEST_F(PathFirstLook, AnUnreadableLinkLeavesTheEmptyTextForGood) {
  if (!IsAlone()) return;
  {
    Fault theFault("readlink", EACCES);
    theFault.Doing([](const long long *anArguments) {
      memset(reinterpret_cast<void *>(static_cast<uintptr_t>(anArguments[1])), '/', 8);
    });
    EXPECT_EQ("", Take(zvPath_GetApplicationFullPath()));
  }
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(PathError(Format("Cannot get application file name (error = %d)\n", EACCES))));
  mLog.Clear();
  EXPECT_EQ("", Take(zvPath_GetApplicationFullPath()));
  EXPECT_EQ(nullptr, zvPath_GetApplicationPath(0));
  EXPECT_EQ(nullptr, zvPath_GetApplicationName(0));
  EXPECT_EQ(1, CallsOf("readlink"));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(PathFirstLook, AFailureThatLeavesNoErrorIsOneAllTheSame) {
  if (!IsAlone()) return;
  Fault theFault("readlink", 0);
  EXPECT_EQ("", Take(zvPath_GetApplicationFullPath()));
  EXPECT_THAT(mLog.Messages(), ElementsAre(PathError("Cannot get application file name (error = 0)\n")));
}

TEST_F(PathFirstLook, WithoutAProgramRelativePathsHaveNoAnchor) {
  if (!IsAlone()) return;
  Fault theFault("readlink", ENOENT);
  EXPECT_EQ(nullptr, zvPath_Normalize("./a\\b", 0, kNative, nullptr));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(PathError(Format("Cannot get application file name (error = %d)\n", ENOENT)),
                  PathError("zvPath: Cannot get an anchor path (or none specified) to build an absolute path "
                            "for './a\\b'\n")));
  EXPECT_EQ("/x/a", Take(zvPath_Normalize("./a", 0, kNative, "/x/")));
  EXPECT_EQ("/a", Take(zvPath_Normalize("/a", 0, kNative, nullptr)));
}

TEST_F(PathFirstLook, WithoutAProgramFilesOfRelativePathsHaveInvalidNames) {
  if (!IsAlone()) return;
  {
    Fault theFault("readlink", ENOENT);
    Take(zvPath_GetApplicationFullPath());
  }
  const auto theNoAnchor =
      PathError("zvPath: Cannot get an anchor path (or none specified) to build an absolute path for 'a'\n");
  mLog.Clear();
  zvFileFD theHandle = kzvFileFDInvalid;
  EXPECT_EQ(kzvFileErrorUnknown, zvFile_Open("a", zvFileOpenMode_Read, 0, &theHandle));
  EXPECT_EQ(kzvFileErrorUnknown, zvFile_Rename("/b", "a"));
  EXPECT_THAT(
      mLog.Messages(),
      ElementsAre(theNoAnchor, FileError("zvFile: Cannot open file: 'a' (invalid name)\n"), theNoAnchor,
                  FileError("zvFile: Cannot rename file: '/b' to 'a' (invalid name)\n")));
}

TEST_F(PathFirstLook, TheLongestPathThatFitsIsTaken) {
  if (!IsAlone()) return;
  const std::string thePath = PathOfLength(kBufferSize - 1);
  Fault theFault("readlink", 0);
  Answer(theFault, thePath);
  // The library asks for less than fits; what it did not ask for is filled in behind its back.
  theFault.Doing([&](const long long *anArguments) {
    memcpy(reinterpret_cast<void *>(static_cast<uintptr_t>(anArguments[1])), thePath.data(), thePath.size());
  });
  EXPECT_EQ(thePath, Take(zvPath_GetApplicationFullPath()));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(PathFirstLook, APathThatJustDoesNotFitIsEmpty) {
  if (!IsAlone()) return;
  Fault theFault("readlink", 0);
  Answer(theFault, PathOfLength(kBufferSize));
  EXPECT_EQ("", Take(zvPath_GetApplicationFullPath()));
  EXPECT_EQ(nullptr, zvPath_GetApplicationPath(0));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(PathError("Cannot get application file name (buffer too small)\n")));
}

TEST_F(PathFirstLook, APathFarTooLongIsEmpty) {
  if (!IsAlone()) return;
  Fault theFault("readlink", 0);
  Answer(theFault, PathOfLength(20000));
  EXPECT_EQ("", Take(zvPath_GetApplicationFullPath()));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(PathError("Cannot get application file name (buffer too small)\n")));
}

//
// Inside a Java virtual machine
//

TEST_F(PathFirstLook, InAJavaHostTheApplicationLivesInTheCurrentFolder) {
  if (getenv(zvtest::kAloneVariable) == nullptr) {
    // The program finds its libraries in "lib" beside its own folder.
    TempFolder theFolder;
    const std::string thePrograms = theFolder.File("java-8") + "/bin";
    ASSERT_TRUE(std::filesystem::create_directories(thePrograms));
    const std::string theCopy =
        thePrograms + "/" + std::filesystem::path(zvtest::OwnProgram()).filename().string();
    std::filesystem::copy_file(zvtest::OwnProgram(), theCopy);
    const auto theLibraries = std::filesystem::path(zvtest::BuiltLibrary("libzvOS.so")).parent_path();
    std::filesystem::create_directory_symlink(theLibraries, theFolder.File("java-8") + "/lib");
    RunAlone(theCopy);
    return;
  }
  ASSERT_THAT(zvtest::OwnProgram(), HasSubstr("java"));
  const std::string theCurrent = LinkTarget("/proc/self/cwd");
  EXPECT_EQ(theCurrent + "/java", Take(zvPath_GetApplicationFullPath()));
  EXPECT_EQ(theCurrent + "/", Take(zvPath_GetApplicationPath(0)));
  EXPECT_EQ("java", Take(zvPath_GetApplicationName(0)));
  EXPECT_EQ(theCurrent + "/a", Take(zvPath_Normalize("a", 0, kNative, nullptr)));
  EXPECT_EQ(2, CallsOf("readlink"));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(PathFirstLook, AnyPathWithTheHostsNameCountsAsAJavaHost) {
  if (!IsAlone()) return;
  std::string theLink;
  Fault theCurrentFault("readlink", 0);
  Answer(theCurrentFault, "/home\\someone");
  Fault theProgramFault("readlink", 0);
  Answer(theProgramFault, "/opt/myjavascript/tool");
  EXPECT_EQ("/home/someone/java", Take(zvPath_GetApplicationFullPath()));
  EXPECT_EQ("/home/someone/", Take(zvPath_GetApplicationPath(0)));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(PathFirstLook, TheCurrentFolderIsAskedByTheProcessId) {
  if (!IsAlone()) return;
  std::string theLink;
  Fault theCurrentFault("readlink", EACCES);
  theCurrentFault.Doing([&](const long long *anArguments) {
    theLink = reinterpret_cast<const char *>(static_cast<uintptr_t>(anArguments[0]));
  });
  Fault theProgramFault("readlink", 0);
  Answer(theProgramFault, "/usr/bin/java");
  Take(zvPath_GetApplicationFullPath());
  EXPECT_EQ(Format("/proc/%u/cwd", static_cast<unsigned>(getpid())), theLink);
}

TEST_F(PathFirstLook, AnotherSpellingIsNoJavaHost) {
  if (!IsAlone()) return;
  Fault theProgramFault("readlink", 0);
  Answer(theProgramFault, "/opt/Java/jav/a");
  EXPECT_EQ("/opt/Java/jav/a", Take(zvPath_GetApplicationFullPath()));
  EXPECT_EQ(1, CallsOf("readlink"));
}

TEST_F(PathFirstLook, AJavaHostWhoseCurrentFolderIsUnreadableStaysTheProgram) {
  if (!IsAlone()) return;
  Fault theCurrentFault("readlink", EACCES);
  Fault theProgramFault("readlink", 0);
  Answer(theProgramFault, "/usr/bin/java");
  EXPECT_EQ("/usr/bin/java", Take(zvPath_GetApplicationFullPath()));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(PathError(Format("Cannot get application file name (error = %d)\n", EACCES))));
}

TEST_F(PathFirstLook, AJavaHostWhoseCurrentFolderDoesNotFitStaysTheProgram) {
  if (!IsAlone()) return;
  Fault theCurrentFault("readlink", 0);
  Answer(theCurrentFault, PathOfLength(kBufferSize));
  Fault theProgramFault("readlink", 0);
  Answer(theProgramFault, "/usr/bin/java");
  EXPECT_EQ("/usr/bin/java", Take(zvPath_GetApplicationFullPath()));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(PathError("Cannot get application file name (buffer too small)\n")));
}

TEST_F(PathFirstLook, ACurrentFolderThatLeavesNoRoomForTheHostsNameIsCut) {
  if (!IsAlone()) return;
  const std::string theCurrent = PathOfLength(kBufferSize - 1);
  Fault theCurrentFault("readlink", 0);
  Answer(theCurrentFault, theCurrent);
  theCurrentFault.Doing([&](const long long *anArguments) {
    memcpy(reinterpret_cast<void *>(static_cast<uintptr_t>(anArguments[1])), theCurrent.data(),
           theCurrent.size());
  });
  Fault theProgramFault("readlink", 0);
  Answer(theProgramFault, "/usr/bin/java");
  EXPECT_EQ(theCurrent, Take(zvPath_GetApplicationFullPath()));
}

}  // namespace
