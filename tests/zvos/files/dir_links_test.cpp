// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Links to directories: which of them zvDir_Exists takes for loops.
//
// It compares texts: the path of the link, made absolute, with the place that it leads to.

#include <zvOS/zvDir.h>

#include "files_support.h"
#include "support/Faults.h"

#include <algorithm>

using testing::ElementsAre;
using testing::IsEmpty;
using namespace zvtest;

namespace {

auto CircularWarning(const std::string &aLink, const std::string &aRealPath) {
  return zvtest::Warning(zvtest::kDirModule, "zvDir_Exists: circular link detected: link '" + aLink +
                                                 "' to '" + aRealPath + "'\n");
}

// "@" stands for the path of the tree.
std::string In(const Tree &aTree, std::string aText) {
  for (size_t theAt; (theAt = aText.find('@')) != std::string::npos;)
    aText.replace(theAt, 1, aTree.Path());
  return aText;
}

class DirLinks : public testing::Test {
 protected:
  RecordingLog mLog;
  Tree mTree;
};

//
// Absolute paths
//

struct AbsoluteCase {
  const char *mAbout;
  const char *mLink;      // name in the tree
  const char *mTarget;    // as written into the link
  const char *mPath;      // asked for
  const char *mRealPath;  // which the link is said to circle to; NULL when it exists
};

// clang-format off
constexpr AbsoluteCase kAbsoluteCases[] = {
    {"an unrelated directory", "l", "@/d", "@/l", nullptr},
    {"a relative target", "l", "d/e", "@/l", nullptr},
    {"a sibling", "d/l", "@/d/e", "@/d/l", nullptr},
    {"its own folder", "d/loop", "@/d", "@/d/loop", "@/d"},
    {"its own folder, relative", "d/loop", ".", "@/d/loop", "@/d"},
    {"an ancestor", "d/e/loop", "@/d", "@/d/e/loop", "@/d"},
    {"an ancestor, relative", "d/e/loop", "..", "@/d/e/loop", "@/d"},
    {"a far ancestor", "d/e/loop", "@", "@/d/e/loop", "@"},
    {"a target with a slash at its end", "d/loop", "@/d/", "@/d/loop", "@/d"},
    {"the root", "l", "/", "@/l", "/"},
    {"a name that begins like its target's", "dx", "@/d", "@/dx", "@/d"},
    {"below a name that begins like the target's", "dx/l", "@/d", "@/dx/l", "@/d"},
    {"a target that begins like its name", "d/e/f", "@/d/e/further", "@/d/e/f", nullptr},
    {"a path through the target", "l", "@/d", "@/d/../l", "@/d"},
    {"a loop whose path is written another way", "d/loop", "@/d", "/.@/d/loop", nullptr},
    {"a loop reached through another link", "d/loop", "@/d", "@/other/loop", nullptr},
    {"a slash at the end: no link", "d/loop", "@/d", "@/d/loop/", nullptr},
    {"a dot at the end: no link", "d/loop", "@/d", "@/d/loop/.", nullptr},
    {"a loop inside a loop", "d/loop", "@/d", "@/d/loop/loop", "@/d"},
};
// clang-format on

TEST_F(DirLinks, AbsoluteLinksThatBeginWithTheirRealPathAreCircular) {
  for (const AbsoluteCase &theCase : kAbsoluteCases) {
    SCOPED_TRACE(theCase.mAbout);
    mLog.Clear();
    Tree theTree;
    theTree.MakeDir("d/e/further");
    theTree.MakeDir("dx");
    theTree.MakeLink("other", theTree.At("d"));
    if (theCase.mLink == std::string("dx")) std::filesystem::remove(theTree.At("dx"));
    theTree.MakeLink(theCase.mLink, In(theTree, theCase.mTarget));

    const std::string thePath = In(theTree, theCase.mPath);
    EXPECT_EQ(theCase.mRealPath == nullptr, zvDir_Exists(thePath.c_str()) != 0);
    if (theCase.mRealPath == nullptr) {
      EXPECT_THAT(mLog.Messages(), IsEmpty());
    } else {
      EXPECT_THAT(mLog.Messages(), ElementsAre(CircularWarning(thePath, In(theTree, theCase.mRealPath))));
    }
  }
}

TEST_F(DirLinks, ALinkToALinkCountsByItsLastTarget) {
  mTree.MakeDir("d/e");
  mTree.MakeLink("first", mTree.At("d/second"));
  mTree.MakeLink("d/second", mTree.At("d/e"));
  EXPECT_EQ(1, zvDir_Exists(mTree.At("first").c_str()));
  mTree.MakeLink("d/third", mTree.At("d/e/fourth"));
  mTree.MakeLink("d/e/fourth", mTree.At("d"));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
  EXPECT_EQ(0, zvDir_Exists(mTree.At("d/third").c_str()));
  EXPECT_THAT(mLog.Messages(), ElementsAre(CircularWarning(mTree.At("d/third"), mTree.At("d"))));
}

TEST_F(DirLinks, LinksThatLeadToNoDirectoryAreMissing) {
  mTree.MakeFile("file");
  const int theCalls = CallsOf("realpath");
  for (const std::string &theLink :
       {mTree.MakeLink("to_file", mTree.At("file")), mTree.MakeLink("dangling", mTree.At("missing")),
        mTree.MakeLink("self", mTree.At("self")), mTree.MakeLink("to_device", "/dev/null")}) {
    EXPECT_EQ(0, zvDir_Exists(theLink.c_str())) << theLink;
  }
  EXPECT_EQ(theCalls, CallsOf("realpath"));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(DirLinks, TheWarningNamesThePathAsItWasGiven) {
  const std::string theDir = mTree.MakeDir("d");
  mTree.MakeLink("d/loop", theDir);
  const std::string thePath = Replaced(mTree.At("d/loop"), '/', '\\');
  EXPECT_EQ(0, zvDir_Exists(thePath.c_str()));
  EXPECT_THAT(mLog.Messages(), ElementsAre(CircularWarning(thePath, theDir)));
}

TEST_F(DirLinks, ALinkWhoseRealPathIsUnknownIsMissing) {
  const std::string theLink = mTree.MakeLink("link", mTree.MakeDir("d"));
  mLog.SpoilErrno(EXDEV);
  for (const int theError : {EACCES, ENOENT, ENAMETOOLONG, EIO}) {
    mLog.Clear();
    Fault theFault("realpath", theError);
    EXPECT_EQ(0, zvDir_Exists(Replaced(theLink, '/', '\\').c_str()));
    EXPECT_THAT(
        mLog.Messages(),
        ElementsAre(DirError(Format("zvDir_Exists: failed to get real path of symlink '%s', error %d\n",
                                    theLink.c_str(), theError))));
  }
}

TEST_F(DirLinks, ALinkThatCannotBeLookedAtIsMissing) {
  const std::string theLink = mTree.MakeLink("link", mTree.MakeDir("d"));
  Fault theFault("lstat", EIO);
  EXPECT_EQ(0, zvDir_Exists(theLink.c_str()));
  EXPECT_THAT(mLog.Messages(), ElementsAre(DirError("zvDir_Exists: lstat failed 4294967295\n")));
}

TEST_F(DirLinks, WithoutMemoryALinkIsMissing) {
  const std::string theLink = mTree.MakeLink("link", mTree.MakeDir("d"));
  Fault theFault("malloc", ENOMEM);
  EXPECT_EQ(0, zvDir_Exists(theLink.c_str()));
  EXPECT_EQ(1, theFault.Hits());
}

TEST_F(DirLinks, AbsoluteLinksDoNotAskForTheWorkingFolder) {
  const std::string theLink = mTree.MakeLink("link", mTree.MakeDir("d"));
  const int theCalls = CallsOf("getcwd");
  EXPECT_EQ(1, zvDir_Exists(theLink.c_str()));
  EXPECT_EQ(theCalls, CallsOf("getcwd"));
}

//
// Relative paths: the library has some only where its program has a relative path
//

struct RelativeCase {
  const char *mAbout;
  const char *mAnchor;         // folder of the program
  const char *mWorkingFolder;  //
  const char *mPath;           // asked for
  const char *mLink;           // the link that this is
  const char *mTarget;         // where it leads
  int mAnswer;
  bool mfWarns;
};

// clang-format off
constexpr RelativeCase kRelativeCases[] = {
    {"beside, elsewhere", "./", "@/e", "l", "@/e/l", "@/x", 1, false},
    {"beside, the working folder", "./", "@/e", "l", "@/e/l", "@/e", 0, true},
    {"beside, an ancestor", "./", "@/e", "l", "@/e/l", "@", 0, true},
    {"beside, the root", "./", "@/e", "l", "@/e/l", "/", 0, true},
    {"beside, its path begins like its target's", "./", "@", "ex", "@/ex", "@/e", 0, true},
    {"below, elsewhere", "e/", "@", "l", "@/e/l", "@/x", 1, false},
    {"below, its own folder", "e/", "@", "l", "@/e/l", "@/e", 0, true},
    {"below, through two folders", "e/f/", "@", "l", "@/e/f/l", "@/e", 0, true},
    {"no folder in front: a name that begins with a dot", ".e/", "@", "l", "@/.e/l", "@/.e", 0, true},
    {"several ./ in front, its own folder", "./././", "@/e", "l", "@/e/l", "@/e", 0, true},
    {"several ./ in front, elsewhere", "./././", "@/e", "l", "@/e/l", "@/x", 1, false},
    {"above, the working folder", "../", "@/e", "l", "@/l", "@/e", 1, false},
    {"above, its own folder", "../", "@/e", "l", "@/l", "@", 0, true},
    {"./ then ../, the working folder", "./", "@/e", "../l", "@/l", "@/e", 1, false},
    {"./ then ../, its own folder", "./", "@/e", "../l", "@/l", "@", 0, true},
    {"twice above, the folder between", "../", "@/e/f", "../l", "@/l", "@/e", 1, false},
    {"twice above, its own folder", "../", "@/e/f", "../l", "@/l", "@", 0, true},
    {"above and down", "../x/", "@/e", "l", "@/x/l", "@/x", 0, true},
    {"above and down, the working folder", "../x/", "@/e", "l", "@/x/l", "@/e", 1, false},
    {"a ./ behind ../ ends the climb", ".././", "@/e/f", "../l", "@/l", "@/e", 0, true},
    {"a ../ behind a name is not resolved", "../x/", "@/e", "../l", "@/l", "@/x", 0, true},
    {"a name that begins with two dots", "..x/", "@", "l", "@/..x/l", "@/..x", 0, true},
    {"working in the root, elsewhere", "./", "/", "@/l", "@/l", "@/x", 1, false},
};
// clang-format on

class DirRelativeLinks : public DirLinks {
 protected:
  void SetUp() override {
    for (const char *theDir : {"e/f", "x", ".e", "..x"})
      mTree.MakeDir(theDir);
  }

  // In a child: asks for the path from a working folder, for a program of that folder.
  int Exists(const std::string &anAnchor, const std::string &aWorkingFolder, const std::string &aPath) {
    EXPECT_EQ(0, chdir(aWorkingFolder.c_str()));
    const std::string theProgram = anAnchor + "program";
    Fault theFault("readlink", 0);
    theFault.Returning(static_cast<long long>(theProgram.size())).Doing([&](const long long *anArguments) {
      memcpy(reinterpret_cast<void *>(static_cast<uintptr_t>(anArguments[1])), theProgram.data(),
             theProgram.size());
    });
    const int theAnswer = zvDir_Exists(aPath.c_str());
    EXPECT_EQ(1, theFault.Hits());
    return theAnswer;
  }

  size_t Depth() const {
    return static_cast<size_t>(std::count(mTree.Path().begin(), mTree.Path().end(), '/'));
  }

  static std::string Up(size_t aCount) {
    std::string theText;
    while (aCount-- > 0)
      theText += "../";
    return theText;
  }
};

TEST_F(DirRelativeLinks, RelativeLinksAreComparedBehindTheWorkingFolder) {
  if (!IsAlone()) return;
  for (const RelativeCase &theCase : kRelativeCases) {
    SCOPED_TRACE(theCase.mAbout);
    std::string thePath = In(mTree, theCase.mPath);
    thePath.erase(0, thePath.find_first_not_of('/'));  // a path of the tree, taken from the root
    const std::string theLink = In(mTree, theCase.mLink);
    ASSERT_EQ(0, symlink(In(mTree, theCase.mTarget).c_str(), theLink.c_str()));
    InOwnProcess([&] {
      EXPECT_EQ(theCase.mAnswer, Exists(theCase.mAnchor, In(mTree, theCase.mWorkingFolder), thePath));
      if (theCase.mfWarns) {
        EXPECT_THAT(mLog.Messages(), ElementsAre(CircularWarning(thePath, In(mTree, theCase.mTarget))));
      } else {
        EXPECT_THAT(mLog.Messages(), IsEmpty());
      }
    });
    ASSERT_EQ(0, unlink(theLink.c_str()));
  }
}

TEST_F(DirRelativeLinks, RelativeDirectoriesThatAreNoLinksExist) {
  if (!IsAlone()) return;
  InOwnProcess([&] { EXPECT_EQ(1, Exists("./", mTree.At("e"), "f")); });
  InOwnProcess([&] { EXPECT_EQ(1, Exists("../", mTree.At("e"), "../../../../../../../../../../..")); });
  InOwnProcess([&] { EXPECT_EQ(0, Exists("./", mTree.At("e"), "x")); });
}

TEST_F(DirRelativeLinks, APathThatClimbsToTheRootIsMissing) {
  if (!IsAlone()) return;
  mTree.MakeLink("l", mTree.At("x"));
  const std::string theFromRoot = mTree.At("l").substr(1);
  const std::string theFromFirst = theFromRoot.substr(theFromRoot.find('/') + 1);
  const size_t theDepth = Depth() + 1;  // of the working folder
  InOwnProcess([&] { EXPECT_EQ(1, Exists("../", mTree.At("e"), Up(theDepth - 2) + theFromFirst)); });
  InOwnProcess([&] { EXPECT_EQ(0, Exists("../", mTree.At("e"), Up(theDepth - 1) + theFromRoot)); });
  InOwnProcess([&] { EXPECT_EQ(0, Exists("../", mTree.At("e"), Up(theDepth) + theFromRoot)); });
  InOwnProcess([&] { EXPECT_EQ(0, Exists("../", mTree.At("e"), Up(theDepth + 40) + theFromRoot)); });
  InOwnProcess([&] {
    EXPECT_EQ(0, Exists("../", "/", theFromRoot));
    EXPECT_THAT(mLog.Messages(), IsEmpty());
  });
}

TEST_F(DirRelativeLinks, APathThatClimbsToTheRootIsStillComparedAndWarnedOf) {
  if (!IsAlone()) return;
  const std::string theFirst = mTree.Path().substr(0, mTree.Path().find('/', 1));
  const std::string theFromRoot = mTree.At("l").substr(1);
  const std::string thePath = Up(Depth()) + theFromRoot;
  for (const std::string &theTarget : {theFirst, std::string("/")}) {
    mTree.MakeLink("l", theTarget);
    InOwnProcess([&] {
      EXPECT_EQ(0, Exists("../", mTree.At("e"), thePath));
      EXPECT_THAT(mLog.Messages(), ElementsAre(CircularWarning(thePath, theTarget)));
    });
    std::filesystem::remove(mTree.At("l"));
  }
}

// A working folder and a path below it that together do not fit into the comparison's buffer.
class DirLongLinks : public DirRelativeLinks {
 protected:
  static constexpr size_t kLongest = 4096;

  void SetUp() override {
    const std::string theName(250, 'n');
    mWorkingFolder = mTree.Path();
    for (int i = 0; i < 10; ++i)
      mWorkingFolder += "/" + theName;
    for (int i = 0; i < 10; ++i)
      mPath += theName + "/";
    mPath += "l";
  }

  // In a child: makes the folders and the link, from folder to folder.
  void MakeThem() const {
    ASSERT_EQ(0, chdir(mTree.Path().c_str()));
    for (int i = 0; i < 20; ++i) {
      ASSERT_EQ(0, mkdir(std::string(250, 'n').c_str(), 0700));
      ASSERT_EQ(0, chdir(std::string(250, 'n').c_str()));
    }
    ASSERT_EQ(0, symlink(mTree.Path().c_str(), "l"));
  }

  // The same with the link's real path as said here; the system would not tell one this long.
  int ExistsWithRealPath(const std::string &aRealPath) {
    Fault theFault("realpath", 0);
    theFault.Doing([&](const long long *anArguments) {
      memcpy(reinterpret_cast<void *>(static_cast<uintptr_t>(anArguments[1])), aRealPath.c_str(),
             aRealPath.size() + 1);
      theFault.Returning(anArguments[1]);
    });
    const int theAnswer = Exists("./", mWorkingFolder, mPath);
    EXPECT_EQ(1, theFault.Hits());
    return theAnswer;
  }

  std::string mWorkingFolder;
  std::string mPath;
};

TEST_F(DirLongLinks, TheAbsolutePathOfALinkIsCutAtTheEndOfItsBuffer) {
  if (!IsAlone()) return;
  InOwnProcess([&] { MakeThem(); });
  const std::string theWhole = mWorkingFolder + "/" + mPath;
  ASSERT_GT(theWhole.size(), kLongest + 1);
  const std::string theCut = theWhole.substr(0, kLongest);
  InOwnProcess([&] {
    EXPECT_EQ(0, ExistsWithRealPath(theCut));
    EXPECT_THAT(mLog.Messages(), ElementsAre(CircularWarning(mPath, theCut)));
  });
  InOwnProcess([&] {
    EXPECT_EQ(0, ExistsWithRealPath(mWorkingFolder));
    EXPECT_THAT(mLog.Messages(), ElementsAre(CircularWarning(mPath, mWorkingFolder)));
  });
  InOwnProcess([&] {
    EXPECT_EQ(1, ExistsWithRealPath(theCut.substr(0, kLongest - 1) + "!"));
    EXPECT_THAT(mLog.Messages(), IsEmpty());
  });
}

// What a failed getcwd() leaves in the buffer is not looked at.
TEST_F(DirRelativeLinks, WithoutAWorkingFolderNothingIsKnownAboutALoop) {
  if (!IsAlone()) return;
  mTree.MakeLink("l", mTree.Path());
  for (const int theError : {ENOENT, ERANGE, EACCES}) {
    InOwnProcess([&] {
      Fault theFault("getcwd", theError);
      theFault.Doing([&](const long long *anArguments) {
        memset(reinterpret_cast<void *>(static_cast<uintptr_t>(anArguments[0])), 'x',
               static_cast<size_t>(anArguments[1]));
        memcpy(reinterpret_cast<void *>(static_cast<uintptr_t>(anArguments[0])), mTree.Path().data(),
               mTree.Path().size());
      });
      EXPECT_EQ(1, Exists("./", mTree.Path(), "l"));
      EXPECT_EQ(1, theFault.Hits());
      EXPECT_THAT(mLog.Messages(), IsEmpty());
    });
    InOwnProcess([&] {
      Fault theFault("getcwd", theError);
      EXPECT_EQ(0, Exists("./", mTree.At("x"), "../l"));
      EXPECT_THAT(mLog.Messages(), IsEmpty());
    });
  }
}

TEST_F(DirRelativeLinks, TheWorkingFolderMayBe4096Long) {
  if (!IsAlone()) return;
  mTree.MakeLink("l", mTree.At("x"));
  InOwnProcess([&] {
    Fault theFault("getcwd", 0);
    long long theSize = 0;
    theFault.PassingThrough().Doing([&](const long long *anArguments) { theSize = anArguments[1]; });
    EXPECT_EQ(1, Exists("./", mTree.Path(), "l"));
    EXPECT_EQ(4096, theSize);
  });
}

}  // namespace
