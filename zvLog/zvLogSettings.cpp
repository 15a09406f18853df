// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Settings as text: the environment variable ZVLOG and its like, and files that it names.
//
// The levels of a list take force together, and so do its sinks.

#include <zvLog/zvLogSettings.h>

#include "private/ForkSafeLock.h"
#include "private/HarmlessWrite.h"
#include "private/Levels.h"
#include "private/ModuleNames.h"
#include "private/Names.h"
#include "private/Numbers.h"
#include "private/Outlet.h"
#include "private/Repeats.h"
#include "private/Settings.h"
#include "private/SettingsText.h"
#include "private/SinkText.h"

#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

namespace {

using zvlog::kBlanks;
using zvlog::SettingsList;

constexpr char kVariable[] = "ZVLOG";
constexpr char kCutMark[] = "...";
constexpr zvLogLevel kDefaultLevel = kzvLogLevel_Warning;

// One list is applied at a time: it may change both levels and sinks, and others might change them in the
// other order.
zvlog::ForkSafeLock sApplying;
// What the settings have chosen goes back to its default when they no longer name it.
bool sfAssertChosen = false;
bool sfRepeatChosen = false;
std::atomic<bool> sfReloadRequested{false};
// While the library is loaded the program cannot have named its modules yet.
bool sfLoading = false;

// A copy for messages; what does not fit is replaced by a mark.
class Shown {
 public:
  explicit Shown(const char *aText) {
    const size_t theLength = strlen(aText);
    if (theLength < sizeof(mText)) {
      memcpy(mText, aText, theLength + 1);
      return;
    }
    constexpr size_t kKept = sizeof(mText) - sizeof(kCutMark);
    memcpy(mText, aText, kKept);
    memcpy(mText + kKept, kCutMark, sizeof(kCutMark));
  }
  const char *Text() const { return mText; }

 private:
  char mText[256];
};

// Straight to standard error, in one piece: the log itself may be what is set wrong.
bool Complain(const char *aSetting, const char *aFormat, ...) ZVLOG_PRINTF(2, 3);
bool Complain(const char *aSetting, const char *aFormat, ...) {
  char theReason[400];
  va_list theArguments;
  va_start(theArguments, aFormat);
  vsnprintf(theReason, sizeof(theReason), aFormat, theArguments);
  va_end(theArguments);
  char theLine[720];
  snprintf(theLine, sizeof(theLine), "zvLog: bad setting '%s': %s\n", Shown(aSetting).Text(), theReason);
  zvlog::Patience thePatience(zvlog::kPatienceMilliseconds);
  zvlog::WriteHarmlessly(zvlog::Examine(STDERR_FILENO), theLine, strlen(theLine), &thePatience);
  return false;
}

bool ComplainAs(const char *aSetting, const char *aWhat, bool afBecauseOfError) {
  if (!afBecauseOfError) return Complain(aSetting, "%s", aWhat);
  const int theError = errno;
  return Complain(aSetting, "%s (%s)", aWhat, strerror(theError));
}

// Cuts blanks off both ends, in place.
char *Trim(char *aText) {
  aText += strspn(aText, kBlanks);
  size_t theLength = strlen(aText);
  while (theLength > 0 && strchr(kBlanks, aText[theLength - 1]) != nullptr)
    --theLength;
  aText[theLength] = '\0';
  return aText;
}

// What a list of settings changes, put into force at the end.
class Change {
 public:
  Change() = default;
  ~Change() {
    if (mSinkCount > 0) mSinks->Commit();
    if (mRepeatLimit) mLeftOut.ReplaceLimit(*mRepeatLimit);
  }
  Change(const Change &) = delete;
  Change &operator=(const Change &) = delete;

  // False when a setting was bad.
  bool ApplyList(SettingsList aList);
  bool ApplyText(const char *aSettings);

  // Everything back to its default, before the settings are applied anew.
  void Reset();
  // And what they chose before and do not name any more.
  void ResetUnnamed();

 private:
  bool ApplyOne(char *aSetting, SettingsList::From aSource);
  bool ApplyLevel(const char *aSetting);
  bool ApplyModuleLevel(const char *aSetting, const char *aName, const char *aValue);
  bool ApplySink(const char *aSetting, const char *aValue);
  bool ApplyAssert(const char *aSetting, const char *aValue);
  bool ApplyRepeat(const char *aSetting, const char *aValue);
  bool ApplyFile(const char *aSetting, const char *aPath, SettingsList::From aSource);
  zvlog::LevelChange *Levels() { return mLevels ? &*mLevels : &mLevels.emplace(); }

  zvlog::LeftOutRepeats mLeftOut;  // stands before the locks, so that it tells when they are released
  const zvlog::LockHold mLock{&sApplying};
  std::optional<zvlog::LevelChange> mLevels;
  std::optional<zvlog::SinkChange> mSinks;
  std::optional<uint32> mRepeatLimit;
  int mSinkCount = 0;
  bool mfAssertNamed = false;
};

bool Change::ApplyLevel(const char *aSetting) {
  zvLogLevel theLevel = 0;
  if (!zvlog::LevelFromText(aSetting, &theLevel)) {
    return Complain(aSetting, "it is no level (none, error, warning, info, debug or a number)");
  }
  Levels()->SetGlobal(theLevel);
  return true;
}

bool Change::ApplySink(const char *aSetting, const char *aValue) {
  if (!mSinks) mSinks.emplace(zvlog::SinkChange::Former::Replaced);
  const zvlog::SinkComplaint theComplaint = zvlog::AddSinkFromText(&*mSinks, aValue);
  if (theComplaint.mWhat != nullptr)
    return ComplainAs(aSetting, theComplaint.mWhat, theComplaint.mfBecauseOfError);
  ++mSinkCount;
  zvlog::gfSinksOfSettings.store(true, std::memory_order_relaxed);
  return true;
}

bool Change::ApplyAssert(const char *aSetting, const char *aValue) {
  const bool afAborts = strcmp(aValue, "abort") == 0;
  if (!afAborts && strcmp(aValue, "return") != 0) return Complain(aSetting, "it is neither abort nor return");
  zvLog_SetAssertAborts(afAborts);
  mfAssertNamed = true;
  sfAssertChosen = true;
  return true;
}

bool Change::ApplyRepeat(const char *aSetting, const char *aValue) {
  uintptr_t theLimit = 0;
  if (zvlog::ReadDigits(aValue, 10, zvlog::kHighestRepeatLimit, &theLimit) != zvlog::NumberError::None)
    return Complain(aSetting, "it is no number up to %u", zvlog::kHighestRepeatLimit);
  mRepeatLimit = static_cast<uint32>(theLimit);
  sfRepeatChosen = true;
  return true;
}

bool Change::ApplyModuleLevel(const char *aSetting, const char *aName, const char *aValue) {
  zvLogLevel theLevel = 0;
  if (!zvlog::LevelFromText(aValue, &theLevel)) {
    return Complain(aSetting, "'%s' is no level (none, error, warning, info, debug or a number)",
                    Shown(aValue).Text());
  }
  return Levels()->SetModuleNamed(aName, theLevel) || (sfLoading && zvlog::CanBeModuleName(aName)) ||
         Complain(aSetting, "'%s' is no module, neither a known name nor a number up to 65535",
                  Shown(aName).Text());
}

bool Change::ApplyFile(const char *aSetting, const char *aPath, SettingsList::From aSource) {
  if (aSource == SettingsList::From::File) return Complain(aSetting, "it stands in such a file itself");
  const zvlog::SettingsFile theFile = zvlog::ReadSettingsFile(aPath);
  if (theFile.mText == nullptr) return ComplainAs(aSetting, theFile.mWhat, theFile.mfBecauseOfError);
  const bool afAllGood = ApplyList(SettingsList(theFile.mText, SettingsList::From::File));
  free(theFile.mText);
  return afAllGood;
}

// aSetting is scratch: it is split at its '='.
bool Change::ApplyOne(char *aSetting, SettingsList::From aSource) {
  const Shown theWhole(aSetting);
  char *theEqualSign = strchr(aSetting, '=');
  if (theEqualSign == nullptr) return ApplyLevel(Trim(aSetting));

  *theEqualSign = '\0';
  const char *theName = Trim(aSetting);
  const char *theValue = Trim(theEqualSign + 1);
  if (strcmp(theName, "to") == 0) return ApplySink(theWhole.Text(), theValue);
  if (strcmp(theName, "assert") == 0) return ApplyAssert(theWhole.Text(), theValue);
  if (strcmp(theName, "repeat") == 0) return ApplyRepeat(theWhole.Text(), theValue);
  if (strcmp(theName, "config") == 0) return ApplyFile(theWhole.Text(), theValue, aSource);
  return ApplyModuleLevel(theWhole.Text(), theName, theValue);
}

bool Change::ApplyList(SettingsList aList) {
  bool afAllGood = true;
  while (char *theSetting = aList.Next()) {
    const bool afGood = aList.IsUnclosed() ? Complain(theSetting, "it has no closing quote")
                                           : ApplyOne(theSetting, aList.Source());
    afAllGood = afAllGood && afGood;
  }
  return afAllGood;
}

bool Change::ApplyText(const char *aSettings) {
  if (aSettings == nullptr) return true;
  char *theCopy = strdup(aSettings);
  if (theCopy == nullptr) return Complain(aSettings, "out of memory");
  const bool afAllGood = ApplyList(SettingsList(theCopy, SettingsList::From::Text));
  free(theCopy);
  return afAllGood;
}

void Change::Reset() {
  Levels()->ResetAllModules();
  Levels()->SetGlobal(kDefaultLevel);
}

void Change::ResetUnnamed() {
  if (!mSinks && zvlog::gfSinksOfSettings.exchange(false, std::memory_order_relaxed)) {
    mSinks.emplace(zvlog::SinkChange::Former::Replaced);
    if (mSinks->AddStandardError(zvlog::kEveryLevel)) ++mSinkCount;
  }
  if (sfAssertChosen && !mfAssertNamed) {
    zvLog_SetAssertAborts(0);
    sfAssertChosen = false;
  }
  if (sfRepeatChosen && !mRepeatLimit) {
    mRepeatLimit = 0;
    sfRepeatChosen = false;
  }
}

// Of a list that is applied anew, what it does not name goes back to its default. One copy of it is enough.
__attribute__((noinline)) bool Apply(const char *aSettings, bool afAnew) {
  Change theChange;
  if (afAnew) theChange.Reset();
  const bool afAllGood = theChange.ApplyText(aSettings);
  if (afAnew) theChange.ResetUnnamed();
  return afAllGood;
}

}  // namespace

namespace zvlog {

void ApplyEnvironment() {
  const char *theSettings = secure_getenv(kVariable);
  // Most programs run without, and shall not write to a page of memory to find that out.
  if (theSettings == nullptr || *theSettings == '\0') return;
  sfLoading = true;
  zvLog_ApplySettings(theSettings);
  sfLoading = false;
}

}  // namespace zvlog

extern "C" int zvLog_ApplySettings(const char *aSettings) {
  return Apply(aSettings, false);
}

extern "C" int zvLog_ReloadSettings(void) {
  sfReloadRequested.store(false);
  return Apply(secure_getenv(kVariable), true);
}

extern "C" void zvLog_RequestReload(void) {
  sfReloadRequested.store(true, std::memory_order_relaxed);
}

extern "C" int zvLog_ReloadIfRequested(void) {
  return !sfReloadRequested.load(std::memory_order_relaxed) || zvLog_ReloadSettings();
}
