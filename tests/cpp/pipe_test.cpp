// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include <zvOS/cpp/File.hpp>
#include <zvOS/cpp/Pipe.hpp>
#include <zvOS/cpp/Socket.hpp>

#include "support/Faults.h"
#include "support/RecordingLog.h"
#include "support/Support.h"

#include <fcntl.h>

#include <algorithm>
#include <string>

namespace {

using ::testing::Contains;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using namespace zvtest;

std::string ReadText(zv::Pipe &aPipe, size_t aSize) {
  std::string theText(aSize, '\0');
  const auto theCount = aPipe.Read(theText.data(), aSize);
  return theCount ? theText.substr(0, *theCount) : "(error)";
}

TEST(CppPipe, HasTwoEnds) {
  auto thePair = zv::Pipe::Pair(ZVPIPE_RD);
  ASSERT_TRUE(thePair);
  EXPECT_EQ(4u, thePair->mSecond.Write("text").value_or(0));
  EXPECT_EQ("text", ReadText(thePair->mFirst, 4));
  EXPECT_TRUE(thePair->mSecond.Close());
  EXPECT_FALSE(thePair->mSecond);
  EXPECT_EQ("", ReadText(thePair->mFirst, 4));
}

TEST(CppPipe, ConnectsToWhoListensUnderAName) {
  const zv::Text theName(zvPipe_GenerateUniqueName("cpp-"));
  auto theListener = zv::PipeListener::Listen(theName.c_str());
  ASSERT_TRUE(theListener);
  auto theClient = zv::Pipe::Connect(theName.c_str());
  ASSERT_TRUE(theClient);
  auto theServer = theListener->Accept();
  ASSERT_TRUE(theServer);
  EXPECT_EQ(2u, theServer->Write("hi").value_or(0));
  EXPECT_EQ("hi", ReadText(*theClient, 2));
}

TEST(CppPipe, SaysWhyItFailed) {
  const auto thePipe = zv::Pipe::Connect("nobody listens here");
  EXPECT_EQ(-ECONNREFUSED, thePipe.error().Status());
  EXPECT_EQ(ECONNREFUSED, thePipe.error().Errno());
  EXPECT_EQ(EINVAL, zv::PipeListener::Listen(nullptr).error().Errno());

  auto thePair = zv::Pipe::Pair(ZVPIPE_NONBLOCKING);
  ASSERT_TRUE(thePair);
  char theByte;
  EXPECT_TRUE(thePair->mFirst.Read(&theByte, 1).error().WouldBlock());
  EXPECT_TRUE(thePair->mSecond.Close());
  EXPECT_EQ(EPIPE, thePair->mFirst.Write("text").error().Errno());
}

TEST(CppPipe, ACloseThatFailsIsSaid) {
  auto thePair = zv::Pipe::Pair();
  ASSERT_TRUE(thePair);
  // The first close of a process finds out, with a socket of its own, what names are.
  EXPECT_TRUE(thePair->mSecond.Close());
  const zv::DescriptorOwner<> theDescriptor(thePair->mFirst.Descriptor());  // the fault leaves it open
  const Fault theFault("close", EIO);
  const auto theResult = thePair->mFirst.Close();
  EXPECT_EQ(-EIO, theResult.error().Status());
  EXPECT_EQ(EIO, theResult.error().Errno());
  EXPECT_FALSE(thePair->mFirst);
}

TEST(CppPipe, AListenerThatIsClosedGivesTheNameUp) {
  const zv::Text theName(zvPipe_GenerateUniqueName("cpp-"));
  auto theListener = zv::PipeListener::Listen(theName.c_str());
  ASSERT_TRUE(theListener);
  EXPECT_TRUE(theListener->Close());
  EXPECT_FALSE(*theListener);
  EXPECT_EQ(ECONNREFUSED, zv::Pipe::Connect(theName.c_str()).error().Errno());
  EXPECT_EQ(EBADF, theListener->Close().error().Errno());
}

TEST(CppPipe, PassesWhatAnOwnerHasToAnother) {
  auto thePair = zv::Pipe::Pair();
  ASSERT_TRUE(thePair);
  const TempFolder theFolder;
  WriteWholeFile(theFolder.File("file"), "text");
  auto theFile = zv::File::Open(theFolder.File("file").c_str(), zvFileOpenMode_Read);
  ASSERT_TRUE(theFile);
  const int theDescriptor = theFile->Descriptor();
  EXPECT_TRUE(thePair->mFirst.SendFD(*std::move(theFile)));
  EXPECT_FALSE(*theFile);
  EXPECT_FALSE(IsOpen(theDescriptor));

  auto theReceived = thePair->mSecond.RecvFD<zv::File>();
  ASSERT_TRUE(theReceived);
  EXPECT_EQ(4, theReceived->GetSize().value_or(0));
}

TEST(CppPipe, ASocketThatIsReceivedGoesByALabelOfTheReceiver) {
  RecordingLog theLog;
  auto thePair = zv::Pipe::Pair();
  ASSERT_TRUE(thePair);
  for (const std::string theLabel : {__FILE__, "worker"}) {
    auto theSocket = zv::Socket::Open(SOCK_STREAM, 0, "supervisor");
    ASSERT_TRUE(theSocket);
    EXPECT_TRUE(thePair->mFirst.SendFD(*std::move(theSocket)));
    auto theReceived = theLabel == "worker" ? thePair->mSecond.RecvFD<zv::Socket>("worker")
                                            : thePair->mSecond.RecvFD<zv::Socket>();
    ASSERT_TRUE(theReceived);
    theLog.Clear();
    EXPECT_TRUE(theReceived->Close());
    EXPECT_THAT(theLog.Messages(), Contains(Field(&Message::mText, HasSubstr("[" + theLabel + "]"))));
  }
}

// The next one of its number is another socket.
TEST(CppPipe, ASocketThatIsSentLeavesTheTableAndTheTrafficFiles) {
  RecordingLog theLog;
  auto thePair = zv::Pipe::Pair();
  ASSERT_TRUE(thePair);
  for (const int theModule : {ZVLOG_M_TCP, ZVLOG_M_SOCKETTRACKER, ZVLOG_M_SOCKETTRAFFIC})
    theLog.AnswerWillLog(ZVLOGLEVEL_DEBUG, static_cast<zvLogModule>(theModule), 1);
  const auto Says = [&](const char *aText) {
    const auto theMessages = theLog.Messages();
    return std::count_if(theMessages.begin(), theMessages.end(), [=](const Message &aMessage) {
      return aMessage.mText.find(aText) != std::string::npos;
    });
  };
  for (const int theTurn : {1, 2}) {
    auto theSocket = zv::Socket::Open(SOCK_STREAM, 0, "sent");
    ASSERT_TRUE(theSocket);
    EXPECT_TRUE(thePair->mFirst.SendFD(*std::move(theSocket)));
    EXPECT_EQ(theTurn, Says("Closed     (sent)"));
  }
  EXPECT_EQ(0, Says("SOCKETS STATUS: 2 in use"));
  EXPECT_EQ(0, Says("_Log_Buffer"));
  EXPECT_THAT(theLog.Assertions(), IsEmpty());
}

TEST(CppPipe, WhatCannotBeSentIsKept) {
  auto thePair = zv::Pipe::Pair();
  ASSERT_TRUE(thePair);
  EXPECT_TRUE(thePair->mSecond.Close());
  zv::File theFile(open("/dev/null", O_RDONLY | O_CLOEXEC));
  const auto theResult = thePair->mFirst.SendFD(std::move(theFile));
  EXPECT_EQ(EPIPE, theResult.error().Errno());
  EXPECT_TRUE(theFile);  // NOLINT(bugprone-use-after-move): that is what is promised
  EXPECT_TRUE(IsOpen(theFile.Descriptor()));
}

TEST(CppPipe, AMessageWithoutADescriptorIsAnError) {
  auto thePair = zv::Pipe::Pair();
  ASSERT_TRUE(thePair);
  EXPECT_TRUE(thePair->mFirst.Write("text"));
  EXPECT_EQ(EBADMSG, thePair->mSecond.RecvFD<zv::Socket>().error().Errno());
}

}  // namespace
