// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What stands in front of the text of a record.

#include "private/CivilTime.h"
#include "private/FinishedRecord.h"
#include "private/LineWriter.h"
#include "private/Names.h"

#include <zvLog/zvLogSettings.h>

#include <syslog.h>
#include <cerrno>

namespace {

constexpr uint32 kSecondsPerDay = 86400;
constexpr size_t kMaximumFileLength = 96;
constexpr size_t kMaximumProgramLength = 32;

// A day has 128 * 675 seconds: dividing them in two steps keeps to 32 bits, which small processors can.
uint32 DayOf(uint64 aSeconds) {
  return static_cast<uint32>(aSeconds >> 7) / 675;
}

void WriteTime(zvlog::LineWriter *aWriter, const timespec &aTime) {
  const uint64 theSeconds = aTime.tv_sec > 0 ? static_cast<uint64>(aTime.tv_sec) : 0;
  const uint32 theDay = DayOf(theSeconds);
  const uint32 theSecondOfDay = static_cast<uint32>(theSeconds - uint64{theDay} * kSecondsPerDay);
  const zvlog::CivilDate theDate = zvlog::CivilDateOfDay(static_cast<int32>(theDay));

  aWriter->Digits(static_cast<uint32>(theDate.mYear), 4, '-');
  aWriter->Digits(theDate.mMonth, 2, '-');
  aWriter->Digits(theDate.mDay, 2, 'T');
  aWriter->Digits(theSecondOfDay / 3600, 2, ':');
  aWriter->Digits(theSecondOfDay / 60 % 60, 2, ':');
  aWriter->Digits(theSecondOfDay % 60, 2, '.');
  aWriter->Digits(static_cast<uint32>(aTime.tv_nsec) / 1000, 6, 'Z');
}

void WriteNameOrNumber(zvlog::LineWriter *aWriter, const char *aName, uint16 aNumber) {
  if (aName != nullptr) {
    aWriter->Text(aName);
  } else {
    aWriter->Number(aNumber);
  }
}

int SyslogPriority(zvLogLevel aLevel) {
  switch (aLevel) {
    case kzvLogLevel_None:
      return LOG_USER | LOG_NOTICE;
    case kzvLogLevel_Error:
      return LOG_USER | LOG_ERR;
    case kzvLogLevel_Warning:
      return LOG_USER | LOG_WARNING;
    case kzvLogLevel_Info:
      return LOG_USER | LOG_INFO;
    default:
      return LOG_USER | LOG_DEBUG;
  }
}

void WritePlace(zvlog::LineWriter *aWriter, const zvlog::FinishedRecord &aRecord) {
  const zvLogData &theData = aRecord.mData;
  WriteNameOrNumber(aWriter, zvlog::NameOfModule(theData.mModule), theData.mModule);
  aWriter->Text(" [");
  aWriter->Number(static_cast<uint32>(aRecord.mProcess));
  aWriter->Char(':');
  aWriter->Number(static_cast<uint32>(aRecord.mThread));
  if (aRecord.mThreadName[0] != '\0') {
    aWriter->Char(' ');
    aWriter->Text(aRecord.mThreadName);
  }
  aWriter->Text("] ");
  aWriter->TailOfText(theData.mFile != nullptr ? theData.mFile : "?", kMaximumFileLength);
  aWriter->Char(':');
  aWriter->Number(theData.mLine);
  aWriter->Text(": ");
}

}  // namespace

namespace zvlog {

size_t WriteLineHeader(const FinishedRecord &aRecord, char *aBuffer) {
  LineWriter theWriter(aBuffer, kHeaderRoom);
  WriteTime(&theWriter, aRecord.mTime);
  theWriter.Char(' ');
  WriteNameOrNumber(&theWriter, NameOfLevel(aRecord.mData.mLevel), aRecord.mData.mLevel);
  theWriter.Char(' ');
  WritePlace(&theWriter, aRecord);
  return theWriter.Length();
}

size_t WriteSyslogHeader(const FinishedRecord &aRecord, char *aBuffer) {
  LineWriter theWriter(aBuffer, kHeaderRoom);
  theWriter.Char('<');
  theWriter.Number(static_cast<uint32>(SyslogPriority(aRecord.mData.mLevel)));
  theWriter.Char('>');
  theWriter.TailOfText(program_invocation_short_name, kMaximumProgramLength);
  theWriter.Char('[');
  theWriter.Number(static_cast<uint32>(aRecord.mProcess));
  theWriter.Text("]: ");
  WritePlace(&theWriter, aRecord);
  return theWriter.Length();
}

}  // namespace zvlog
