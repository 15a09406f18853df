// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Plug-ins: loading good and bad ones, symbols, unloading. The plug-ins themselves: plugins/.

#include <zvOS/zvPlugin.h>

#include "support/Faults.h"
#include "support/RecordingLog.h"
#include "support/Support.h"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace zvtest;

namespace {

constexpr zvLogModule kPluginModule = 29;
constexpr char kNoText[] = "(no text)";

// An argument or a result of a faulted call.
long long ValueOf(const void *aPointer) {
  return AsArgument(aPointer);
}

auto PluginError(const std::string &aText) {
  return zvtest::Error(kPluginModule, aText);
}

auto LoadError(const std::string &aPath, const std::string &aReason) {
  return PluginError("zvPlugin_Load failed for '" + aPath + "', error: '" + aReason + "'\n");
}

auto MissingError(const std::string &aPath) {
  return LoadError(aPath, "Missing library dependencie(s) or binary missmatch (e.g: ARM->x86)");
}

auto SymbolError(const std::string &aSymbol, const std::string &aReason) {
  return PluginError("zvPlugin_GetSymbol failed for symbol '" + aSymbol + "', error: '" + aReason + "'\n");
}

// What the loader itself says, in words and in errno.
std::string LoaderTextOfLoad(const std::string &aPath, int *anErrno = nullptr) {
  errno = 0;
  void *theHandle = dlopen(aPath.c_str(), RTLD_NOW);
  if (anErrno != nullptr) *anErrno = errno;
  EXPECT_EQ(nullptr, theHandle) << aPath;
  const char *theText = dlerror();
  return theText != nullptr ? theText : kNoText;
}

std::string LoaderTextOfSymbol(void *aHandle, const char *aSymbol) {
  dlerror();
  EXPECT_EQ(nullptr, dlsym(aHandle, aSymbol)) << aSymbol;
  const char *theText = dlerror();
  return theText != nullptr ? theText : kNoText;
}

bool IsLoaded(const std::string &aPath) {
  void *theHandle = dlopen(aPath.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (theHandle != nullptr) dlclose(theHandle);
  return theHandle != nullptr;
}

class Plugin : public testing::Test {
 protected:
  static std::string Built(const std::string &aName) {
    const std::string thePath = zvtest::BuiltLibrary(
        "plugins/zvtest_" + aName + zvPlugin_GetDebugReleaseSuffix() + zvPlugin_GetExtension());
    EXPECT_TRUE(std::filesystem::exists(thePath)) << thePath;
    return thePath;
  }

  // A load with that in errno before.
  static zvOSPluginHandle Load(const std::string &aPath, int anErrno = 0) {
    errno = anErrno;
    return zvPlugin_Load(aPath.c_str());
  }

  // The loader says why it failed in words; what it leaves in errno differs between loaders. Many leave it
  // alone, so that what the caller left there decides.
  void ExpectMissingWhenErrnoSaysSo(const std::string &aPath) {
    EXPECT_EQ(nullptr, Load(aPath, ENOENT));
    EXPECT_THAT(mLog.Messages(), ElementsAre(MissingError(aPath)));
    mLog.Clear();
    int theErrno = 0;
    const std::string theText = LoaderTextOfLoad(aPath, &theErrno);
    EXPECT_EQ(nullptr, Load(aPath));
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(theErrno == ENOENT ? MissingError(aPath) : LoadError(aPath, theText)));
  }

  RecordingLog mLog;
};

//
// Names
//

TEST_F(Plugin, NamesOfPluginsEndInSoWithoutASuffix) {
  EXPECT_STREQ(".so", zvPlugin_GetExtension());
  EXPECT_STREQ(".so", kzvPlugin_Extension);
  EXPECT_STREQ(".so", PLUGIN_EXTENSION);
  EXPECT_STREQ("", zvPlugin_GetDebugReleaseSuffix());
  EXPECT_EQ(zvPlugin_GetExtension(), zvPlugin_GetExtension());
  EXPECT_EQ(zvPlugin_GetDebugReleaseSuffix(), zvPlugin_GetDebugReleaseSuffix());
}

TEST_F(Plugin, TheDefaultPathIsANewCopyEachTime) {
  char *theFirst = zvPlugin_GetDefaultPath();
  char *theSecond = zvPlugin_GetDefaultPath();
  EXPECT_STREQ("./Plugins", theFirst);
  EXPECT_STREQ("./Plugins", theSecond);
  EXPECT_NE(theFirst, theSecond);
  free(theFirst);
  free(theSecond);
  Fault theFault("zvStrdup", ENOMEM);
  EXPECT_EQ(nullptr, zvPlugin_GetDefaultPath());
}

//
// Good plug-ins
//

TEST_F(Plugin, APluginIsLoadedAskedAndUnloaded) {
  const std::string thePath = Built("good");
  EXPECT_FALSE(IsLoaded(thePath));
  zvOSPluginHandle thePlugin = Load(thePath);
  ASSERT_NE(nullptr, thePlugin);
  EXPECT_TRUE(IsLoaded(thePath));
  const auto theFunction =
      reinterpret_cast<int (*)(int)>(zvPlugin_GetSymbol(thePlugin, "zvTestPlugin_Double"));
  ASSERT_NE(nullptr, theFunction);
  EXPECT_EQ(42, theFunction(21));
  const auto theNumber = static_cast<int *>(zvPlugin_GetSymbol(thePlugin, "zvTestPlugin_Number"));
  ASSERT_NE(nullptr, theNumber);
  EXPECT_EQ(4711, *theNumber);
  int theFarewells = 0;
  *static_cast<int **>(zvPlugin_GetSymbol(thePlugin, "zvTestPlugin_Farewells")) = &theFarewells;
  EXPECT_EQ(0, theFarewells);
  zvPlugin_Unload(thePlugin);
  EXPECT_EQ(1, theFarewells);
  EXPECT_FALSE(IsLoaded(thePath));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Plugin, APluginLoadedTwiceStaysUntilItIsUnloadedTwice) {
  const std::string thePath = Built("good");
  zvOSPluginHandle theFirst = Load(thePath);
  zvOSPluginHandle theSecond = Load(thePath);
  EXPECT_EQ(theFirst, theSecond);
  zvPlugin_Unload(theFirst);
  EXPECT_TRUE(IsLoaded(thePath));
  zvPlugin_Unload(theSecond);
  EXPECT_FALSE(IsLoaded(thePath));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(Plugin, TheNameGoesToTheLoaderAsItIsAndAllIsBoundAtOnce) {
  std::string theName;
  long long theFlags = 0;
  Fault theFault("dlopen", 0);
  theFault.Doing([&](const long long *anArguments) {
    theName = reinterpret_cast<const char *>(static_cast<uintptr_t>(anArguments[0]));
    theFlags = anArguments[1];
  });
  EXPECT_EQ(nullptr, zvPlugin_Load("./Plugins\\a.so"));
  EXPECT_EQ("./Plugins\\a.so", theName);
  EXPECT_EQ(RTLD_NOW, theFlags);
}

TEST_F(Plugin, TheNamesOfAPluginStayItsOwn) {
  zvOSPluginHandle thePlugin = Load(Built("good"));
  ASSERT_NE(nullptr, thePlugin);
  EXPECT_EQ(nullptr, dlsym(RTLD_DEFAULT, "zvTestPlugin_Double"));
  zvPlugin_Unload(thePlugin);
}

TEST_F(Plugin, ARelativeNameCountsFromTheWorkingFolder) {
  const std::filesystem::path thePath = Built("good");
  const ChildResult theResult = zvtest::RunInChild([&] {
    if (chdir(thePath.parent_path().c_str()) != 0) return 1;
    const std::string theName = "./" + thePath.filename().string();
    zvOSPluginHandle thePlugin = Load(theName);
    if (thePlugin == nullptr) return 2;
    zvPlugin_Unload(thePlugin);
    return mLog.Messages().empty() ? 0 : 3;
  });
  EXPECT_FALSE(theResult.mfSignaled);
  EXPECT_EQ(0, theResult.mStatus);
}

TEST_F(Plugin, ThreadsMayLoadAndUnloadAtTheSameTime) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "ThreadSanitizer does not see the locks of the system's loader";
#endif
  const std::string thePath = Built("good");
  std::vector<std::thread> theThreads;
  for (int i = 0; i < 4; ++i) {
    theThreads.emplace_back([&] {
      for (int theRound = 0; theRound < 50; ++theRound) {
        zvOSPluginHandle thePlugin = zvPlugin_Load(thePath.c_str());
        const auto theFunction =
            reinterpret_cast<int (*)(int)>(zvPlugin_GetSymbol(thePlugin, "zvTestPlugin_Double"));
        EXPECT_EQ(2 * theRound, theFunction(theRound));
        zvPlugin_Unload(thePlugin);
      }
    });
  }
  for (std::thread &theThread : theThreads)
    theThread.join();
  EXPECT_FALSE(IsLoaded(thePath));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

//
// Plug-ins that cannot be loaded
//

TEST_F(Plugin, AMissingPluginIsReportedInTheWordsOfTheLoader) {
  TempFolder theFolder;
  for (const std::string &thePath :
       {theFolder.File("missing.so"), std::string("zvtest_missing_everywhere.so")}) {
    for (const int theErrno : {0, ENOENT}) {
      mLog.Clear();
      const std::string theText = LoaderTextOfLoad(thePath);
      EXPECT_THAT(theText, HasSubstr(thePath));
      EXPECT_EQ(nullptr, Load(thePath, theErrno));
      EXPECT_THAT(mLog.Messages(), ElementsAre(LoadError(thePath, theText)));
    }
  }
}

TEST_F(Plugin, ADirectoryIsNoPlugin) {
  TempFolder theFolder;
  EXPECT_EQ(nullptr, Load(theFolder.Path(), ENOENT));
  EXPECT_THAT(mLog.Messages(), ElementsAre(LoadError(theFolder.Path(), LoaderTextOfLoad(theFolder.Path()))));
}

TEST_F(Plugin, AFileThatIsNoLibraryIsReportedInTheWordsOfTheLoader) {
  TempFolder theFolder;
  for (const std::string &theContents : {std::string(), std::string("no library"), std::string(5000, 'x')}) {
    mLog.Clear();
    const std::string thePath = theFolder.File(std::to_string(theContents.size()) + ".so");
    zvtest::WriteWholeFile(thePath, theContents);
    const std::string theText = LoaderTextOfLoad(thePath);
    EXPECT_EQ(nullptr, Load(thePath));
    EXPECT_THAT(mLog.Messages(), ElementsAre(LoadError(thePath, theText)));
  }
}

TEST_F(Plugin, APluginWithAnUnknownNameIsRefusedAtOnce) {
  const std::string thePath = Built("unresolved");
  const std::string theText = LoaderTextOfLoad(thePath);
  EXPECT_THAT(theText, HasSubstr("zvTestPlugin_DefinedNowhere"));
  EXPECT_EQ(nullptr, Load(thePath));
  EXPECT_THAT(mLog.Messages(), ElementsAre(LoadError(thePath, theText)));
  EXPECT_FALSE(IsLoaded(thePath));
}

TEST_F(Plugin, WhatTheCallerLeftInErrnoDecidesTheMessageUnlessTheLoaderDoes) {
  const std::string thePath = Built("unresolved");
  for (const int theErrno : {ENOENT, EACCES, 0}) {
    mLog.Clear();
    Fault theFault("dlopen", 0);
    theFault.Returning(0);  // and errno is left alone
    Fault theWords("dlerror", 0, 0, -1);
    EXPECT_EQ(nullptr, Load(thePath, theErrno));
    EXPECT_THAT(mLog.Messages(), ElementsAre(theErrno == ENOENT ? MissingError(thePath)
                                                                : LoadError(thePath, "Unknown error")));
  }
}

TEST_F(Plugin, APluginWhoseLibraryIsMissingIsReportedAsSuchWhenErrnoSaysSo) {
  const std::string thePath = Built("needy");
  EXPECT_THAT(LoaderTextOfLoad(thePath), HasSubstr("libzvtest_nowhere.so"));
  ExpectMissingWhenErrnoSaysSo(thePath);
  EXPECT_FALSE(IsLoaded(thePath));
}

// A copy of a good plug-in, with something written over a place in its header.
std::string CopyOfGoodPlugin(const TempFolder &aFolder, size_t aPlace, const std::string &aPatch) {
  std::string theContents = zvtest::ReadWholeFile(zvtest::BuiltLibrary("plugins/zvtest_good.so"));
  theContents.replace(aPlace, aPatch.size(), aPatch);
  zvtest::WriteWholeFile(aFolder.File("copy.so"), theContents);
  return aFolder.File("copy.so");
}

std::string ForeignMachine() {
#if defined(__arm__) || defined(__aarch64__)
  constexpr ElfW(Half) kMachine = sizeof(void *) == 8 ? EM_X86_64 : EM_386;
#else
  constexpr ElfW(Half) kMachine = sizeof(void *) == 8 ? EM_AARCH64 : EM_ARM;
#endif
  return std::string(reinterpret_cast<const char *>(&kMachine), sizeof(kMachine));
}

TEST_F(Plugin, APluginForAnotherProcessorIsReportedAsSuchWhenErrnoSaysSo) {
  TempFolder theFolder;
  zvOSPluginHandle thePlugin = Load(CopyOfGoodPlugin(theFolder, 0, ""));
  ASSERT_NE(nullptr, thePlugin);  // nothing but the processor is wrong with the next one
  zvPlugin_Unload(thePlugin);
  const std::string thePath = CopyOfGoodPlugin(theFolder, offsetof(ElfW(Ehdr), e_machine), ForeignMachine());
  ExpectMissingWhenErrnoSaysSo(thePath);
}

TEST_F(Plugin, APluginThatWasBuiltForAnotherMachineIsReportedAsSuchWhenErrnoSaysSo) {
  const std::string thePath = Built("foreign");
  EXPECT_THAT(LoaderTextOfLoad(thePath),
              testing::AnyOf(HasSubstr("wrong ELF class"), HasSubstr("cannot open shared object file")));
  ExpectMissingWhenErrnoSaysSo(thePath);
}

struct FailureCase {
  int mErrno;
  bool mfExists;
  bool mfMissingText;
};

TEST_F(Plugin, OnlyAFileThatExistsAndIsYetNotFoundLacksALibrary) {
  TempFolder theFolder;
  const std::string theFile = theFolder.File("plugin.so");
  const std::string theMissing = theFolder.File("missing.so");
  zvtest::WriteWholeFile(theFile, "");
  constexpr FailureCase kCases[] = {{ENOENT, true, true}, {ENOENT, false, false}, {EACCES, true, false},
                                    {0, true, false},     {EINVAL, true, false},  {ENOEXEC, true, false},
                                    {EIO, false, false}};
  mLog.SpoilErrno(ENOENT);
  for (const FailureCase &theCase : kCases) {
    SCOPED_TRACE(theCase.mErrno);
    mLog.Clear();
    const std::string &thePath = theCase.mfExists ? theFile : theMissing;
    char theText[] = "the loader's words";
    Fault theFault("dlopen", theCase.mErrno);
    Fault theWords("dlerror", 0, 0, -1);
    theWords.Returning(ValueOf(theText));
    EXPECT_EQ(nullptr, zvPlugin_Load(thePath.c_str()));
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(theCase.mfMissingText ? MissingError(thePath) : LoadError(thePath, theText)));
  }
}

TEST_F(Plugin, AFailureThatTheLoaderDoesNotExplainIsUnknown) {
  Fault theFault("dlopen", EACCES);
  Fault theWords("dlerror", 0, 0, -1);
  EXPECT_EQ(nullptr, zvPlugin_Load("/a.so"));
  EXPECT_THAT(mLog.Messages(), ElementsAre(LoadError("/a.so", "Unknown error")));
}

// The loader counts a relative name from the working folder; whether the file exists is asked from the
// folder of the program.
TEST_F(Plugin, AFileInTheFolderOfTheProgramMakesAMissingPluginAppearWithoutItsLibraries) {
  TempFolder theFolder;
  const ChildResult theResult = zvtest::RunInChild([&] {
    if (chdir(theFolder.Path().c_str()) != 0) return 1;
    EXPECT_EQ(nullptr, Load("../lib/libzvOS.so", ENOENT));
    EXPECT_THAT(mLog.Messages(), ElementsAre(MissingError("../lib/libzvOS.so")));
    return testing::Test::HasFailure() ? 2 : 0;
  });
  EXPECT_EQ(0, theResult.mStatus) << theResult.mOutput;
}

//
// Symbols
//

TEST_F(Plugin, AMissingSymbolIsReportedInTheWordsOfTheLoader) {
  zvOSPluginHandle thePlugin = Load(Built("good"));
  ASSERT_NE(nullptr, thePlugin);
  for (const char *theName : {"zvTestPlugin_Missing", "", "SayFarewell", "zvTestPlugin_double"}) {
    mLog.Clear();
    const std::string theText = LoaderTextOfSymbol(thePlugin, theName);
    EXPECT_EQ(nullptr, zvPlugin_GetSymbol(thePlugin, theName));
    EXPECT_THAT(theText, HasSubstr("undefined symbol"));
    EXPECT_THAT(mLog.Messages(), ElementsAre(SymbolError(theName, theText)));
  }
  zvPlugin_Unload(thePlugin);
}

TEST_F(Plugin, ASymbolThatIsReallyNothingIsReportedAsMissing) {
  zvOSPluginHandle thePlugin = Load(Built("good"));
  ASSERT_NE(nullptr, thePlugin);
  ASSERT_EQ(kNoText, LoaderTextOfSymbol(thePlugin, "zvTestPlugin_Nothing"));
  EXPECT_EQ(nullptr, zvPlugin_GetSymbol(thePlugin, "zvTestPlugin_Nothing"));
  EXPECT_THAT(mLog.Messages(), ElementsAre(SymbolError("zvTestPlugin_Nothing", "Unknown")));
  zvPlugin_Unload(thePlugin);
}

// The words of an earlier failure are not those of a symbol that is there and NULL.
TEST_F(Plugin, AnEarlierFailureDoesNotExplainALaterOne) {
  zvOSPluginHandle thePlugin = Load(Built("good"));
  ASSERT_NE(nullptr, thePlugin);
  EXPECT_EQ(nullptr, Load(Built("needy")));
  mLog.Clear();
  EXPECT_EQ(nullptr, zvPlugin_GetSymbol(thePlugin, "zvTestPlugin_Nothing"));
  EXPECT_THAT(mLog.Messages(), ElementsAre(SymbolError("zvTestPlugin_Nothing", "Unknown")));
  zvPlugin_Unload(thePlugin);
}

TEST_F(Plugin, ALookUpGoesToTheLoaderAsItIs) {
  Fault theFault("dlsym", 0);
  const int theHandle = 0;
  const int theSymbol = 0;
  theFault.Returning(ValueOf(&theSymbol)).Doing([&](const long long *anArguments) {
    EXPECT_EQ(ValueOf(&theHandle), anArguments[0]);
    EXPECT_STREQ("a name", reinterpret_cast<const char *>(static_cast<uintptr_t>(anArguments[1])));
  });
  EXPECT_EQ(&theSymbol, zvPlugin_GetSymbol(const_cast<int *>(&theHandle), "a name"));
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

//
// Unloading
//

TEST_F(Plugin, WhatWasNotLoadedCannotBeUnloaded) {
  // The handle of a library that nobody opened: the loader refuses it. Not that of the library under test,
  // which the loader keeps without a word.
  Dl_info theInfo = {};
  link_map *theLibrary = nullptr;
  ASSERT_NE(0, dladdr1(reinterpret_cast<void *>(&zvPtrList_New), &theInfo,
                       reinterpret_cast<void **>(&theLibrary), RTLD_DL_LINKMAP));
  ASSERT_NE(0, dlclose(theLibrary));
  const std::string theText = dlerror();
  zvPlugin_Unload(theLibrary);
  EXPECT_THAT(mLog.Messages(), ElementsAre(PluginError("zvPlugin_Unload failed: '" + theText + "'\n")));
}

TEST_F(Plugin, EveryResultButZeroIsAFailureToUnload) {
  int thePlugin;
  for (const int theResult : {1, -1}) {
    mLog.Clear();
    Fault theFault("dlclose", 0);
    theFault.Returning(theResult);
    Fault theWords("dlerror", 0);
    zvPlugin_Unload(&thePlugin);
    EXPECT_EQ(1, theFault.Hits());
    EXPECT_THAT(mLog.Messages(), ElementsAre(PluginError("zvPlugin_Unload failed: 'Unknown'\n")));
  }
  Fault theFault("dlclose", 0);
  theFault.Returning(0);
  mLog.Clear();
  zvPlugin_Unload(&thePlugin);
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

// The loader, which would crash, is not asked, and what it has said of an earlier failure is not repeated.
TEST_F(Plugin, NoHandleIsNothingToUnloadAndNoNameIsNoSymbol) {
  EXPECT_EQ(nullptr, Load(Built("needy"), ENOENT));
  mLog.Clear();
  zvPlugin_Unload(nullptr);
  int thePlugin;
  EXPECT_EQ(nullptr, zvPlugin_GetSymbol(&thePlugin, nullptr));
  EXPECT_THAT(mLog.Messages(),
              ElementsAre(PluginError("zvPlugin_Unload failed: 'Unknown'\n"),
                          PluginError("zvPlugin_GetSymbol failed for symbol '(null)', error: 'Unknown'\n")));
}

TEST_F(Plugin, WithoutAHandleTheLoaderSearchesTheProcess) {
  EXPECT_EQ(dlsym(RTLD_DEFAULT, "puts"), zvPlugin_GetSymbol(nullptr, "puts"));
  EXPECT_NE(nullptr, zvPlugin_GetSymbol(nullptr, "zvPlugin_GetSymbol"));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
  EXPECT_EQ(nullptr, zvPlugin_GetSymbol(nullptr, "zvTestPlugin_Missing"));
  EXPECT_THAT(mLog.Messages(), ElementsAre(SymbolError("zvTestPlugin_Missing",
                                                       LoaderTextOfSymbol(nullptr, "zvTestPlugin_Missing"))));
}

}  // namespace
