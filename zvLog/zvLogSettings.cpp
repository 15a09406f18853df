// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Settings as text: the environment variable ZVLOG and its like.

#include <zvLog/zvLogSettings.h>

#include "private/Levels.h"
#include "private/ModuleNames.h"
#include "private/Names.h"

#include <unistd.h>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr char kVariable[] = "ZVLOG";
constexpr char kBlanks[] = " \t";
constexpr char kFilePrefix[] = "file:";
constexpr char kSyslogPrefix[] = "syslog:";

// Straight to standard error, in one piece: the log itself may be what is set wrong.
bool Complain(const char *aSetting, const char *aFormat, ...) ZVLOG_PRINTF(2, 3);
bool Complain(const char *aSetting, const char *aFormat, ...) {
  char theReason[256];
  va_list theArguments;
  va_start(theArguments, aFormat);
  vsnprintf(theReason, sizeof theReason, aFormat, theArguments);
  va_end(theArguments);
  dprintf(STDERR_FILENO, "zvLog: bad setting '%s': %s\n", aSetting, theReason);
  return false;
}

const char *AfterPrefix(const char *aText, const char *aPrefix) {
  const size_t theLength = strlen(aPrefix);
  return strncmp(aText, aPrefix, theLength) == 0 ? aText + theLength : nullptr;
}

bool ApplyLevel(const char *aSetting) {
  zvLogLevel theLevel = 0;
  if (!zvlog::LevelFromText(aSetting, &theLevel)) {
    return Complain(aSetting, "it is no level (none, error, warning, info, debug or a number)");
  }
  zvLog_SetLevel(theLevel);
  return true;
}

bool ApplySink(const char *aSetting, const char *aValue) {
  if (strcmp(aValue, "stderr") == 0) {
    zvLog_SetSinkStandardError();
    return true;
  }
  if (strcmp(aValue, "syslog") == 0) {
    return zvLog_SetSinkSyslog(nullptr) != 0 ||
           Complain(aSetting, "cannot reach the system log (%s)", strerror(errno));
  }
  if (const char *thePath = AfterPrefix(aValue, kSyslogPrefix)) {
    return zvLog_SetSinkSyslog(thePath) != 0 ||
           Complain(aSetting, "cannot reach the system log (%s)", strerror(errno));
  }
  if (const char *thePath = AfterPrefix(aValue, kFilePrefix)) {
    return zvLog_SetSinkFile(thePath) != 0 ||
           Complain(aSetting, "cannot open the file (%s)", strerror(errno));
  }
  return Complain(aSetting, "it is no sink (stderr, file:<path>, syslog or syslog:<path>)");
}

bool ApplyAssert(const char *aSetting, const char *aValue) {
  const bool afAborts = strcmp(aValue, "abort") == 0;
  if (!afAborts && strcmp(aValue, "return") != 0) return Complain(aSetting, "it is neither abort nor return");
  zvLog_SetAssertAborts(afAborts);
  return true;
}

// While the library is loaded the program cannot have named its modules yet.
bool sfLoading = false;

bool ApplyModuleLevel(const char *aSetting, const char *aName, const char *aValue) {
  zvLogModule theModule = 0;
  const bool afKnown = zvlog::ModuleFromText(aName, &theModule);
  if (!afKnown && !(sfLoading && zvlog::CanBeModuleName(aName))) {
    zvLogLevel theKept = 0;
    if (zvlog::LevelFromText(aValue, &theKept)) zvlog::LevelChange().SetModuleNamed(aName, theKept);
    return Complain(aSetting, "'%s' is no module, neither a known name nor a number up to 65535", aName);
  }
  zvLogLevel theLevel = 0;
  if (!zvlog::LevelFromText(aValue, &theLevel)) {
    return Complain(aSetting, "'%s' is no level (none, error, warning, info, debug or a number)", aValue);
  }
  zvlog::LevelChange().SetModuleNamed(aName, theLevel);
  return true;
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

// aSetting is scratch: it is split at its '='.
bool ApplyOne(char *aSetting) {
  char theWhole[256];  // for the message
  snprintf(theWhole, sizeof theWhole, "%s", aSetting);

  char *theEqualSign = strchr(aSetting, '=');
  if (theEqualSign == nullptr) return ApplyLevel(aSetting);

  *theEqualSign = '\0';
  const char *theName = Trim(aSetting);
  const char *theValue = Trim(theEqualSign + 1);
  if (strcmp(theName, "to") == 0) return ApplySink(theWhole, theValue);
  if (strcmp(theName, "assert") == 0) return ApplyAssert(theWhole, theValue);
  return ApplyModuleLevel(theWhole, theName, theValue);
}

__attribute__((constructor)) void ApplyEnvironment() {
  const char *theSettings = secure_getenv(kVariable);
  if (theSettings == nullptr) return;
  sfLoading = true;
  zvLog_ApplySettings(theSettings);
  sfLoading = false;
}

}  // namespace

extern "C" int zvLog_ApplySettings(const char *aSettings) {
  if (aSettings == nullptr) return 1;
  char *theCopy = strdup(aSettings);
  if (theCopy == nullptr) return Complain(aSettings, "out of memory");

  bool afAllGood = true;
  char *theRest = theCopy;
  while (char *theSetting = strsep(&theRest, ",")) {
    theSetting = Trim(theSetting);
    if (*theSetting != '\0' && !ApplyOne(theSetting)) afAllGood = false;
  }
  free(theCopy);
  return afAllGood;
}
