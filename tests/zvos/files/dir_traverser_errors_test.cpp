// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the directory traverser is not given, and what calls of the system leave in errno on its way.

#include <zvOS/zvDirTraverser.h>

#include "files_support.h"
#include "support/Faults.h"
#include "support/LateClock.h"

#include <dirent.h>

#include <optional>
#include <vector>

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using namespace zvtest;

namespace {

class DirTraverserErrors : public testing::Test {
 protected:
  // Expects that the first step meets the end of the directory with what the caller left in errno.
  void ExpectEndAtOnce(const Traverser &aTraverser, int anErrorOfCaller) {
    SCOPED_TRACE(Format("the caller's error is %d", anErrorOfCaller));
    mLog.Clear();
    aTraverser.Rewind();
    EXPECT_EQ(nullptr, aTraverser.First("*", zvDIR_DEFAULT, anErrorOfCaller));
    EXPECT_EQ(anErrorOfCaller == 0 ? kNoError : kError, aTraverser.Status());
    std::vector<testing::Matcher<const zvtest::Message &>> theMessages = mExpected;
    if (anErrorOfCaller != 0) {
      theMessages.push_back(
          DirError(Format("Cannot continue enumerating files in directory (error = %d)\n", anErrorOfCaller)));
    }
    EXPECT_THAT(mLog.Messages(), ElementsAreArray(theMessages));
  }

  RecordingLog mLog;
  Tree mTree;
  std::vector<testing::Matcher<const zvtest::Message &>> mExpected;  // messages before the end
};

//
// Arguments
//

TEST_F(DirTraverserErrors, NoTraverserIsAProgrammingError) {
  int theStatus = kNoError;
  EXPECT_EQ(nullptr, zvDirTraverser_GetFirst(nullptr, "*", zvDIR_DEFAULT, &theStatus));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("aDirTraverser != NULL")));
  mLog.Clear();
  EXPECT_EQ(nullptr, zvDirTraverser_GetNext(nullptr, &theStatus));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("aDirTraverser != NULL")));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(DirTraverserErrors, NoPlaceForTheStatusIsAProgrammingErrorThatDoesNothing) {
  mTree.MakeFile("file");
  const Traverser theTraverser(mTree.Path());
  EXPECT_EQ(nullptr, zvDirTraverser_GetFirst(theTraverser.Get(), "*", zvDIR_DEFAULT, nullptr));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("anError != NULL")));
  mLog.Clear();
  EXPECT_EQ(nullptr, zvDirTraverser_GetNext(theTraverser.Get(), nullptr));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("anError != NULL")));
  mLog.Clear();

  // It is closed, and has not taken a step.
  EXPECT_NE(nullptr, theTraverser.First("*", zvDIR_DEFAULT));
  EXPECT_THAT(mLog.Assertions(), IsEmpty());
  EXPECT_EQ(nullptr, zvDirTraverser_GetNext(theTraverser.Get(), nullptr));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("anError != NULL")));
  EXPECT_THAT(mLog.Messages(), IsEmpty());
}

TEST_F(DirTraverserErrors, NeitherATraverserNorAPlaceForTheStatusAreTwoProgrammingErrors) {
  EXPECT_EQ(nullptr, zvDirTraverser_GetFirst(nullptr, "*", zvDIR_DEFAULT, nullptr));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("aDirTraverser != NULL"), Asserted("anError != NULL")));
  mLog.Clear();
  EXPECT_EQ(nullptr, zvDirTraverser_GetNext(nullptr, nullptr));
  EXPECT_THAT(mLog.Assertions(), ElementsAre(Asserted("aDirTraverser != NULL"), Asserted("anError != NULL")));
}

//
// errno
//

// What looks for a directory's name may leave an error behind although it opens it.
TEST_F(DirTraverserErrors, WhatASuccessfulOpeningLeavesInErrnoIsNotTakenForAnError) {
  const Traverser theTraverser(mTree.Path());
  for (const int theError : {0, EACCES}) {
    Fault theOpening("opendir", ENOTTY);
    theOpening.Doing([&](const long long *anArguments) {
      theOpening.Returning(AsArgument(opendir(ArgumentAs<const char>(anArguments[0]))));
    });
    ExpectEndAtOnce(theTraverser, theError);
    EXPECT_EQ(1, theOpening.Hits());
  }
}

// The directory has a bad link and nothing else: looking at it and meeting the end are one step, whatever
// the order of the entries.
TEST_F(DirTraverserErrors, WhatABadLinkLeavesInErrnoIsNeitherTakenForAnErrorNorHidesTheCallers) {
  const struct {
    const char *mName;
    std::string mTarget;
    int mError;  // that the system gives
  } kLinks[] = {{"dangling", "missing", ENOENT},
                {"self", "link", ELOOP},
                {"through_device", "/dev/null/below", ENOTDIR},
                {"too_long", std::string(300, 'n'), ENAMETOOLONG}};
  for (const auto &theLink : kLinks) {
    SCOPED_TRACE(theLink.mName);
    const Traverser theTraverser(mTree.MakeDir(theLink.mName));
    const std::string thePath = mTree.MakeLink(std::string(theLink.mName) + "/link", theLink.mTarget);
    struct stat theStatus;
    EXPECT_EQ(-1, stat(thePath.c_str(), &theStatus));
    EXPECT_EQ(theLink.mError, errno);
    for (const int theError : {0, EIO})
      ExpectEndAtOnce(theTraverser, theError);
  }
}

TEST_F(DirTraverserErrors, WhatAFailedLookLeavesInErrnoIsNeitherTakenForAnErrorNorHidesTheCallers) {
  mTree.MakeLink("link", "/usr");
  const Traverser theTraverser(mTree.Path());
  mLog.SpoilErrno(EXDEV);
  for (const int theErrorOfLook : {EACCES, ELOOP, ENAMETOOLONG, ENOTDIR, ENOENT, ENOMEM, EOVERFLOW}) {
    SCOPED_TRACE(theErrorOfLook);
    for (const int theError : {0, EIO}) {
      Fault theLook("stat", theErrorOfLook, 0, -1);
      // What stat() refuses as late is looked at in a second way.
      std::optional<Fault> theSecond;
      if (zvtest::kfNarrowTime) theSecond.emplace("statx", theErrorOfLook, 0, -1);
      ExpectEndAtOnce(theTraverser, theError);
      EXPECT_LE(1, theLook.Hits());
    }
  }
}

TEST_F(DirTraverserErrors, WhatAWarningLeavesInErrnoIsNeitherTakenForAnErrorNorHidesTheCallers) {
  const std::string theLink = mTree.MakeLink("loop", mTree.Path());
  const Traverser theTraverser(mTree.Path());
  mLog.SpoilErrno(EXDEV);
  mExpected.push_back(zvtest::Warning(zvtest::kDirModule, "zvDir_Exists: circular link detected: link '" +
                                                              theLink + "' to '" + mTree.Path() + "'\n"));
  for (const int theError : {0, EIO})
    ExpectEndAtOnce(theTraverser, theError);
}

}  // namespace
