// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The record behind the handle of a process.

#include "zvos/device/process_support.h"

using namespace zvtest;
using namespace zvtest::process;

namespace {

struct Record {
  FILE *mPipeFD;
  int mPID;
};

TEST_F(ProcessTest, TheRecordHasTheStreamAndNoProcessId) {
  FILE *const theStream = popen("exit 0", "r");
  Fault theFault("popen", 0);
  theFault.Returning(AsArgument(theStream));
  zvProcessFD theProcess = nullptr;
  ASSERT_EQ(0, zvProcess_Open("exit 0", zvProcessOpenMode_Read, &theProcess));
  const Record &theRecord = *reinterpret_cast<Record *>(theProcess);
  EXPECT_EQ(theStream, theRecord.mPipeFD);
  EXPECT_EQ(0, theRecord.mPID);
  EXPECT_EQ(0, zvProcess_Close(theProcess));
  EXPECT_EQ(nullptr, theRecord.mPipeFD);
  EXPECT_EQ(0, theRecord.mPID);
  free(theProcess);
}

TEST_F(ProcessTest, WithoutARecordOrAStreamThereIsNoProcess) {
  Record theClosed = {nullptr, 0};
  for (const zvProcessFD theProcess : {zvProcessFD{nullptr}, reinterpret_cast<zvProcessFD>(&theClosed)}) {
    char theByte = 'x';
    EXPECT_EQ(kzvProcessStatus_InvalidFD, zvProcess_Read(theProcess, &theByte, 1));
    EXPECT_EQ(-1, zvProcess_Write(theProcess, &theByte, 1));
    EXPECT_EQ(0, zvProcess_Close(theProcess));
    EXPECT_EQ('x', theByte);
  }
}

}  // namespace
