// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Who owns, who does not any more, and that what is owned is released once. What is never released, the leak
// checker finds.

#include <zvOS/zvOS.hpp>

#include "support/RecordingLog.h"
#include "support/Support.h"

#include <fcntl.h>
#include <malloc.h>

#include <string>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;

template <typename... Owning>
constexpr bool kMoveOnly = ((!std::is_copy_constructible_v<Owning> && !std::is_copy_assignable_v<Owning> &&
                             std::is_nothrow_move_constructible_v<Owning> &&
                             std::is_nothrow_move_assignable_v<Owning>)&&...);

static_assert(
    kMoveOnly<zv::Mutex, zv::CriticalSection, zv::Condition, zv::Semaphore, zv::Thread, zv::File,
              zv::Directory, zv::Pipe, zv::PipeListener, zv::Plugin, zv::Process, zv::SingleInstance,
              zv::Socket, zv::SelectObject, zv::Policy, zv::Text, zv::List<uint32>, zv::List<char *>>);

// No more than the handle inside, and no implicit way in or out.
static_assert(sizeof(zv::Mutex) == sizeof(zvOSMutex *) && sizeof(zv::Thread) == sizeof(zvOSThread *));
static_assert(sizeof(zv::File) == sizeof(int) && sizeof(zv::Pipe) == sizeof(int));
static_assert(sizeof(zv::Socket) == sizeof(zvSocket) + (sizeof(void *) == 4 ? 4 : 12));
static_assert(!std::is_convertible_v<int, zv::File> && !std::is_convertible_v<int, zv::Socket>);
static_assert(!std::is_convertible_v<char *, zv::Text> && !std::is_convertible_v<zv::Text, const char *>);

int sReleased;

void CountRelease(int *aNumber) {
  sReleased += *aNumber;
}

using Counted = zv::Owner<int, CountRelease>;

class CppOwner : public testing::Test {
 protected:
  CppOwner() { sReleased = 0; }

  int mFirst = 1;
  int mSecond = 10;
};

TEST_F(CppOwner, ReleasesWhatItHasOnceAtItsEnd) {
  {
    const Counted theOwner(&mFirst);
    EXPECT_TRUE(theOwner);
    EXPECT_EQ(&mFirst, theOwner.Handle());
    EXPECT_EQ(0, sReleased);
  }
  EXPECT_EQ(1, sReleased);
  { const Counted theOwner; }
  EXPECT_EQ(1, sReleased);
}

TEST_F(CppOwner, HandsOverByMovingAndByRelease) {
  {
    Counted theOwner(&mFirst);
    Counted theOther(std::move(theOwner));
    EXPECT_FALSE(theOwner);  // NOLINT(bugprone-use-after-move): that is what is promised
    EXPECT_EQ(&mFirst, theOther.Release());
    EXPECT_FALSE(theOther);
  }
  EXPECT_EQ(0, sReleased);
}

TEST_F(CppOwner, ReleasesWhatAnAssignmentReplacesAndSurvivesItself) {
  Counted theOwner(&mFirst);
  theOwner = Counted(&mSecond);
  EXPECT_EQ(1, sReleased);
  Counted &theSame = theOwner;
  theOwner = std::move(theSame);
  EXPECT_EQ(1, sReleased);
  EXPECT_EQ(&mSecond, theOwner.Handle());
}

TEST_F(CppOwner, SwapsWhatIsOwned) {
  Counted theOwner(&mFirst);
  Counted theOther(&mSecond);
  theOwner.swap(theOther);
  EXPECT_EQ(&mSecond, theOwner.Handle());
  EXPECT_EQ(&mFirst, theOther.Handle());
  EXPECT_EQ(0, sReleased);
}

int OpenNothing() {
  return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

TEST(CppDescriptorOwner, ClosesWhatItHasAndHandsItOver) {
  int theDescriptor = OpenNothing();
  {
    zv::DescriptorOwner<> theOwner(theDescriptor);
    zv::DescriptorOwner<> theOther(std::move(theOwner));
    EXPECT_FALSE(theOwner);  // NOLINT(bugprone-use-after-move): that is what is promised
    EXPECT_EQ(theDescriptor, theOther.Descriptor());
    EXPECT_TRUE(IsOpen(theDescriptor));
  }
  EXPECT_FALSE(IsOpen(theDescriptor));

  theDescriptor = OpenNothing();
  {
    zv::DescriptorOwner<> theOwner(theDescriptor);
    EXPECT_EQ(theDescriptor, theOwner.Release());
    EXPECT_FALSE(theOwner);
  }
  EXPECT_TRUE(IsOpen(theDescriptor));

  zv::DescriptorOwner<> theOwner(theDescriptor);
  theOwner = zv::DescriptorOwner<>(OpenNothing());
  EXPECT_FALSE(IsOpen(theDescriptor));
}

// Descriptor 0 is one like any other.
TEST(CppDescriptorOwner, OwnsDescriptorZero) {
  InOwnProcess([] {
    close(0);
    ASSERT_EQ(0, OpenNothing());
    {
      const zv::File theFile(0);
      EXPECT_TRUE(theFile);
    }
    EXPECT_FALSE(IsOpen(0));
  });
}

TEST(CppText, IsAViewOfWhatTheLibraryHandedOver) {
  const zv::Text theText(zvStrdup("some text"));
  const std::string_view theView = theText;
  EXPECT_EQ("some text", theView);
  EXPECT_STREQ("some text", theText.c_str());

  const zv::Text theNone(zvPath_GetSystemFontPath());
  EXPECT_FALSE(theNone);
  EXPECT_STREQ("", theNone.c_str());
  EXPECT_EQ("", theNone.View());
}

TEST(CppText, IsComparedAsAView) {
  const zv::Text theText(zvStrdup("/tmp"));
  const zv::Text theSame(zvStrdup("/tmp"));
  EXPECT_TRUE(theText == "/tmp");
  EXPECT_TRUE("/tmp" == theText);
  EXPECT_TRUE(theText == theSame);
  EXPECT_TRUE(theText == std::string("/tmp"));
  EXPECT_TRUE(theText == std::string_view("/tmp/x", 4));
  EXPECT_TRUE(theText != "/tm");
  EXPECT_TRUE("/tmp/" != theText);
  EXPECT_FALSE(theText != theSame);
  // Nothing of a text that is gone at the end of the line stays.
  EXPECT_TRUE(zv::Text(zvStrdup("text")) == "text");
  EXPECT_TRUE(zv::Text() == "");
}

TEST(CppList, RangesOverWhatTheLibraryHandedOver) {
  auto *const theNumbers = static_cast<uint32 *>(zvMalloc(2 * sizeof(uint32)));
  theNumbers[0] = 3;
  theNumbers[1] = 4;
  zv::List<uint32> theList(theNumbers, 2);
  EXPECT_THAT(theList, ElementsAre(3u, 4u));
  EXPECT_EQ(4u, theList[1]);

  const zv::List<uint32> theOther = std::move(theList);
  EXPECT_EQ(2u, theOther.size());
  EXPECT_TRUE(theList.empty());  // NOLINT(bugprone-use-after-move): that is what is promised
  // A count without a list, as the library answers when there is no memory.
  EXPECT_TRUE(zv::List<uint32>(nullptr, 1).empty());
}

// Large enough to be seen in the count of what is allocated.
TEST(CppList, OfTextsHasTheTexts) {
  constexpr size_t kLength = 64 * 1024;
  const auto Make = [] {
    auto *const theTexts = static_cast<char **>(zvMalloc(2 * sizeof(char *)));
    theTexts[0] = zvStrdup(std::string(kLength, 'a').c_str());
    theTexts[1] = zvStrdup("b");
    return zv::List<char *>(theTexts, 2);
  };
  const size_t theFormer = mallinfo2().uordblks;
  {
    zv::List<char *> theList = Make();
    EXPECT_STREQ("b", theList[1]);
    zv::List<char *> &theSame = theList;
    theList = std::move(theSame);
    EXPECT_EQ(2u, theList.size());
    theList = Make();
    EXPECT_STREQ("b", theList[1]);
  }
  EXPECT_LT(mallinfo2().uordblks, theFormer + kLength);
}

}  // namespace
