// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The provider's symbols that libzvOS logs with, defined in the test program and exported by it, so
// that the loader prefers them to those of the companion library. Memory, texts and lists come from
// the companion.

#include "support/RecordingLog.h"

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <cstdarg>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <ostream>
#include <utility>

namespace {

using zvtest::Assertion;
using zvtest::Message;
using zvtest::RecordingLog;

constexpr zvLogLevel kEveryLevel = 5;

// What the one living RecordingLog has seen and was told.
struct Recording {
  std::vector<Message> mMessages;
  std::vector<Assertion> mAssertions;
  std::vector<std::string> mCalls;
  std::map<std::pair<zvLogLevel, zvLogModule>, int> mAnswers;
  bool mfRefuse = false;
  int mSpoiledErrno = 0;
  void (*mMessageHook)(const Message &, void *) = nullptr;
  void *mMessageContext = nullptr;
  void (*mAssertHook)(const Assertion &, void *) = nullptr;
  void *mAssertContext = nullptr;
};

// Never destroyed: threads may log until the very end.
std::mutex &Lock() {
  static std::mutex &theLock = *new std::mutex;
  return theLock;
}

std::unique_ptr<Recording> &Current() {
  static std::unique_ptr<Recording> &theRecording = *new std::unique_ptr<Recording>;
  return theRecording;
}

// A record between Begin and End.
struct OpenRecord {
  zvLogData mData;
  std::string mText;
};

// The records of a thread, the innermost last.
thread_local std::vector<std::unique_ptr<OpenRecord>> sOpenRecords;

thread_local sigjmp_buf *sEscape = nullptr;

// Keeps errno across a call of the provider, or spoils it as the test wishes.
class ErrnoKeeper {
 public:
  ErrnoKeeper() : mErrno(errno) {}
  ~ErrnoKeeper() {
    const std::lock_guard<std::mutex> theGuard(Lock());
    errno = Current() != nullptr && Current()->mSpoiledErrno != 0 ? Current()->mSpoiledErrno : mErrno;
  }
  ErrnoKeeper(const ErrnoKeeper &) = delete;
  ErrnoKeeper &operator=(const ErrnoKeeper &) = delete;

 private:
  const int mErrno;
};

void RecordCall(const std::string &aCall) {
  const std::lock_guard<std::mutex> theGuard(Lock());
  if (Current() != nullptr) Current()->mCalls.push_back(aCall);
}

bool RefusesRecords() {
  const std::lock_guard<std::mutex> theGuard(Lock());
  return Current() != nullptr && Current()->mfRefuse;
}

std::string FormatList(const char *aFormat, va_list anArguments) {
  va_list theCopy;
  va_copy(theCopy, anArguments);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  const int theLength = vsnprintf(nullptr, 0, aFormat, theCopy);
  va_end(theCopy);
  if (theLength < 0) return {};
  std::string theText(static_cast<size_t>(theLength) + 1, '\0');
  vsnprintf(&theText[0], theText.size(), aFormat, anArguments);
#pragma GCC diagnostic pop
  theText.resize(static_cast<size_t>(theLength));
  return theText;
}

std::string TextOf(const char *aText) {
  return aText == nullptr ? std::string("(null)") : std::string(aText);
}

void EmitRecord(const OpenRecord &aRecord) {
  const Message theMessage = {aRecord.mData.mLevel, aRecord.mData.mModule, aRecord.mText,
                              TextOf(aRecord.mData.mFile), aRecord.mData.mLine};
  void (*theHook)(const Message &, void *) = nullptr;
  void *theContext = nullptr;
  {
    const std::lock_guard<std::mutex> theGuard(Lock());
    if (Current() == nullptr) return;
    theHook = Current()->mMessageHook;
    theContext = Current()->mMessageContext;
  }
  if (theHook != nullptr) theHook(theMessage, theContext);

  const std::lock_guard<std::mutex> theGuard(Lock());
  if (Current() != nullptr) Current()->mMessages.push_back(theMessage);
}

void RecordAssertion(const char *anExpression, const char *aFile, uint32 aLine) {
  const ErrnoKeeper theErrno;
  RecordCall("Assert " + TextOf(anExpression));
  const Assertion theAssertion = {TextOf(anExpression), TextOf(aFile), aLine};
  void (*theHook)(const Assertion &, void *) = nullptr;
  void *theContext = nullptr;
  {
    const std::lock_guard<std::mutex> theGuard(Lock());
    if (Current() == nullptr) return;
    Current()->mAssertions.push_back(theAssertion);
    theHook = Current()->mAssertHook;
    theContext = Current()->mAssertContext;
  }
  if (theHook != nullptr) theHook(theAssertion, theContext);
}

}  // namespace

// The header declares all of these with C linkage and default visibility.

// Written as the library reads it: other threads may be logging.
zvLogLevel _zvLog_Level = 0;

static void WriteLevel(zvLogLevel aLevel) {
  __atomic_store_n(&_zvLog_Level, aLevel, __ATOMIC_RELAXED);
}

zvLogData *zvLog_Begin(zvLogLevel aLevel, zvLogModule aModule) {
  const ErrnoKeeper theErrno;
  RecordCall(zvtest::Format("Begin %u %u", aLevel, aModule));
  if (RefusesRecords()) return nullptr;
  sOpenRecords.push_back(std::unique_ptr<OpenRecord>(new OpenRecord{{aLevel, aModule, nullptr, 0}, {}}));
  return &sOpenRecords.back()->mData;
}

void zvLog_Append_VF(const char *aFormat, va_list anArguments) {
  const ErrnoKeeper theErrno;
  RecordCall("Append");
  const std::string theText = FormatList(aFormat, anArguments);
  if (sOpenRecords.empty()) {
    ADD_FAILURE() << "append without a record: " << theText;
    return;
  }
  sOpenRecords.back()->mText += theText;
}

void zvLog_Append_F(const char *aFormat, ...) {
  va_list theArguments;
  va_start(theArguments, aFormat);
  zvLog_Append_VF(aFormat, theArguments);
  va_end(theArguments);
}

void zvLog_End(zvLogData *aLogData) {
  const ErrnoKeeper theErrno;
  RecordCall("End");
  if (sOpenRecords.empty() || &sOpenRecords.back()->mData != aLogData) {
    ADD_FAILURE() << "end of a record that is not the innermost one";
    return;
  }
  const std::unique_ptr<OpenRecord> theRecord = std::move(sOpenRecords.back());
  sOpenRecords.pop_back();
  EmitRecord(*theRecord);
}

int zvLog_WillLog(zvLogLevel aLevel, zvLogModule aModule) {
  const ErrnoKeeper theErrno;
  RecordCall(zvtest::Format("WillLog %u %u", aLevel, aModule));
  const std::lock_guard<std::mutex> theGuard(Lock());
  if (Current() == nullptr) return 0;
  const auto theAnswer = Current()->mAnswers.find({aLevel, aModule});
  return theAnswer == Current()->mAnswers.end() ? 0 : theAnswer->second;
}

void _zvAssert(const char *anExpression, const char *aFile, uint32 aLine) {
  RecordAssertion(anExpression, aFile, aLine);
  if (sEscape != nullptr) siglongjmp(*sEscape, 1);
}

namespace zvtest {

RecordingLog::RecordingLog() {
  const std::lock_guard<std::mutex> theGuard(Lock());
  if (Current() != nullptr) ADD_FAILURE() << "two RecordingLogs at a time";
  Current().reset(new Recording);
  WriteLevel(kEveryLevel);
}

RecordingLog::~RecordingLog() {
  const std::lock_guard<std::mutex> theGuard(Lock());
  Current().reset();
  WriteLevel(0);
}

std::vector<Message> RecordingLog::Messages() const {
  const std::lock_guard<std::mutex> theGuard(Lock());
  return Current()->mMessages;
}

std::vector<Assertion> RecordingLog::Assertions() const {
  const std::lock_guard<std::mutex> theGuard(Lock());
  return Current()->mAssertions;
}

std::vector<std::string> RecordingLog::Calls() const {
  const std::lock_guard<std::mutex> theGuard(Lock());
  return Current()->mCalls;
}

void RecordingLog::Clear() {
  const std::lock_guard<std::mutex> theGuard(Lock());
  Current()->mMessages.clear();
  Current()->mAssertions.clear();
  Current()->mCalls.clear();
}

void RecordingLog::SetLevel(zvLogLevel aLevel) {
  WriteLevel(aLevel);
}

void RecordingLog::RefuseRecords(bool afRefuse) {
  const std::lock_guard<std::mutex> theGuard(Lock());
  Current()->mfRefuse = afRefuse;
}

void RecordingLog::AnswerWillLog(zvLogLevel aLevel, zvLogModule aModule, int anAnswer) {
  const std::lock_guard<std::mutex> theGuard(Lock());
  Current()->mAnswers[{aLevel, aModule}] = anAnswer;
}

void RecordingLog::SpoilErrno(int anError) {
  const std::lock_guard<std::mutex> theGuard(Lock());
  Current()->mSpoiledErrno = anError;
}

void RecordingLog::OnMessage(void (*aHook)(const Message &, void *), void *aContext) {
  const std::lock_guard<std::mutex> theGuard(Lock());
  Current()->mMessageHook = aHook;
  Current()->mMessageContext = aContext;
}

void RecordingLog::OnAssert(void (*aHook)(const Assertion &, void *), void *aContext) {
  const std::lock_guard<std::mutex> theGuard(Lock());
  Current()->mAssertHook = aHook;
  Current()->mAssertContext = aContext;
}

bool LeftAtAssertion(const std::function<void()> &aBody) {
  sigjmp_buf theEscape;
  sEscape = &theEscape;
  if (sigsetjmp(theEscape, 0) != 0) {
    sEscape = nullptr;
    return true;
  }
  aBody();
  sEscape = nullptr;
  return false;
}

::testing::Matcher<const Message &> Logged(zvLogLevel aLevel, zvLogModule aModule, const std::string &aText) {
  return ::testing::AllOf(::testing::Field("mLevel", &Message::mLevel, aLevel),
                          ::testing::Field("mModule", &Message::mModule, aModule),
                          ::testing::Field("mText", &Message::mText, aText));
}

::testing::Matcher<const Assertion &> Asserted(const std::string &anExpression) {
  return ::testing::Field("mExpression", &Assertion::mExpression, anExpression);
}

std::string Format(const char *aFormat, ...) {
  va_list theArguments;
  va_start(theArguments, aFormat);
  std::string theText = FormatList(aFormat, theArguments);
  va_end(theArguments);
  return theText;
}

void PrintTo(const Message &aMessage, std::ostream *aStream) {
  *aStream << "level " << aMessage.mLevel << ", module " << aMessage.mModule << ": "
           << ::testing::PrintToString(aMessage.mText) << " (" << aMessage.mFile << ":" << aMessage.mLine
           << ")";
}

void PrintTo(const Assertion &anAssertion, std::ostream *aStream) {
  *aStream << ::testing::PrintToString(anAssertion.mExpression) << " (" << anAssertion.mFile << ":"
           << anAssertion.mLine << ")";
}

}  // namespace zvtest
