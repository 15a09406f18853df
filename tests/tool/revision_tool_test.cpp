// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What zvos prints of the revision stamps of files, and how it tells that a file cannot be read.

#include "ToolSupport.h"
#include "fuzz/ElfImage.h"
#include "support/Support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using ::testing::MatchesRegex;
using ::testing::StartsWith;
using namespace zvtest;

// A 32-bit file of this machine's byte order that has nothing but the stamp.
std::string StampedFile(const std::string &aStamp) {
  zvtest::ElfImage theImage({{".zevo.version", SHT_PROGBITS, aStamp}}, zvtest::ElfLayout::kHeadersFirst);
  theImage.Header().e_ident[EI_DATA] = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? ELFDATA2LSB : ELFDATA2MSB;
  return theImage.Bytes();
}

// Revision stamps

TEST(Revision, StampIsPrintedWithRevisionAndLabel) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("a"), StampedFile("123\nsome/branches/one\n"));
  WriteWholeFile(theFolder.File("b"), StampedFile("7\n"));
  WriteWholeFile(theFolder.File("c"), StampedFile("0\noutside/branches/unknown\n"));
  const ChildResult theResult =
      Zvos({"revision", theFolder.File("a"), theFolder.File("b"), theFolder.File("c")});
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_EQ("", theResult.mError);
  EXPECT_EQ(theFolder.File("a") + ": r123 (some/branches/one)\n" + theFolder.File("b") + ": r7\n" +
                theFolder.File("c") + ": r0 (outside/branches/unknown)\n",
            theResult.mOutput);
}

TEST(Revision, OwnLibrariesAndProgramAreStamped) {
  const std::string theFiles[] = {BuiltProgram("zvos"), BuiltLibrary("libzvOS.so"),
                                  BuiltLibrary("libzvLog.so")};
  for (const std::string &theFile : theFiles) {
    const ChildResult theResult = Zvos({"revision", theFile});
    EXPECT_EQ("", theResult.mError);
    ASSERT_THAT(theResult.mOutput, StartsWith(theFile + ": "));
    const std::string theStamp = theResult.mOutput.substr(theFile.size() + 2);
    if (kSixtyFourBits) {
      EXPECT_EQ(1, theResult.mStatus);
      EXPECT_EQ("no revision stamp (a 64-bit file; only 32-bit files are read)\n", theStamp);
    } else {
      EXPECT_EQ(0, theResult.mStatus);
      EXPECT_THAT(theStamp, MatchesRegex("r[0-9]+ \\(.+\\)\n"));
    }
  }
}

TEST(Revision, FileWithoutStampIsNamedAndStatusIs1) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("text"), SomeBytes(5000));
  WriteWholeFile(theFolder.File("empty"), "");
  WriteWholeFile(theFolder.File("stamped"), StampedFile("5\nx\n"));
  WriteWholeFile(theFolder.File("cut"), StampedFile("5\nx\n").substr(0, 100));
  const ChildResult theResult = Zvos({"revision", theFolder.File("text"), theFolder.File("empty"),
                                      theFolder.File("stamped"), theFolder.File("cut")});
  EXPECT_EQ(1, theResult.mStatus);
  EXPECT_EQ("", theResult.mError);
  EXPECT_EQ(theFolder.File("text") + ": no revision stamp\n" + theFolder.File("empty") +
                ": no revision stamp\n" + theFolder.File("stamped") + ": r5 (x)\n" + theFolder.File("cut") +
                ": no revision stamp\n",
            theResult.mOutput);
}

TEST(Revision, MissingFileIsOneLineAndTheOthersAreStillRead) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("stamped"), StampedFile("5\nx\n"));
  const ChildResult theResult = Zvos({"revision", theFolder.File("none"), theFolder.File("stamped")});
  EXPECT_EQ(2, theResult.mStatus);
  EXPECT_EQ("zvos: cannot read '" + theFolder.File("none") + "': No such file or directory\n",
            theResult.mError);
  EXPECT_EQ(theFolder.File("stamped") + ": r5 (x)\n", theResult.mOutput);
}

TEST(Revision, RelativePathCountsFromTheCurrentFolder) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("stamped"), StampedFile("5\nx\n"));
  const ChildResult theResult =
      RunShell("cd '" + theFolder.Path() + "' && exec " + ZvosCommand() + "revision stamped ./stamped");
  EXPECT_EQ(0, theResult.mStatus);
  EXPECT_EQ("", theResult.mError);
  EXPECT_EQ("stamped: r5 (x)\n./stamped: r5 (x)\n", theResult.mOutput);
}

// What cannot be read

class Unreadable : public ::testing::TestWithParam<const char *> {};

TEST_P(Unreadable, MissingFile) {
  ExpectRefusal(Zvos({GetParam(), "/nonexistent/file"}),
                "zvos: cannot read '/nonexistent/file': No such file or directory\n");
  ExpectRefusal(Zvos({GetParam(), ""}), "zvos: cannot read '': No such file or directory\n");
}

TEST_P(Unreadable, Directory) {
  ExpectRefusal(Zvos({GetParam(), "/tmp"}), "zvos: cannot read '/tmp': it is a directory\n");
}

TEST_P(Unreadable, NamedPipeIsNotWaitedFor) {
  const TempFolder theFolder;
  ASSERT_EQ(0, mkfifo(theFolder.File("pipe").c_str(), 0600));
  ExpectRefusal(Zvos({GetParam(), theFolder.File("pipe")}),
                "zvos: cannot read '" + theFolder.File("pipe") + "': it is a named pipe\n");
}

TEST_P(Unreadable, Device) {
  ExpectRefusal(Zvos({GetParam(), "/dev/zero"}), "zvos: cannot read '/dev/zero': it is not a regular file\n");
}

TEST_P(Unreadable, FileWithoutSize) {
  ExpectRefusal(Zvos({GetParam(), "/proc/version"}),
                "zvos: cannot read '/proc/version': its size is not known in advance\n");
}

TEST_P(Unreadable, BackslashInThePathWouldNameAnotherFile) {
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("a\\b"), "x");
  ExpectRefusal(Zvos({GetParam(), theFolder.File("a\\b")}),
                "zvos: cannot read '" + theFolder.File("a\\b") +
                    "': its path has a backslash, which the library takes for '/'\n");
}

TEST_P(Unreadable, FileOfAnotherUser) {
  const TempFolder theFolder;
  const std::string theFile = theFolder.File("secret");
  WriteWholeFile(theFile, "x");
  ASSERT_EQ(0, chmod(theFile.c_str(), 0));
  ASSERT_EQ(0, chmod(theFolder.Path().c_str(), 0755));
  const std::string theCommand = "exec " + ZvosCommand() + GetParam() + " '" + theFile + "'";
  const ChildResult theResult = RunInChild([&] {
    if (!zvtest::BecomeNobody()) return 126;
    return Shell(theCommand);
  });
  if (theResult.mStatus == 126 || theResult.mStatus == 127) {
    GTEST_SKIP() << "an unprivileged user cannot run the program here: " << theResult.mError;
  }
  ExpectRefusal(theResult, "zvos: cannot read '" + theFile + "': Permission denied\n");
}

INSTANTIATE_TEST_SUITE_P(Command, Unreadable, ::testing::Values("demo", "revision"),
                         [](const auto &anInfo) { return std::string(anInfo.param); });

}  // namespace
