// A log provider that is the last thing a crashing process needs: it hangs or faults.

#include "Crash.h"

#include <zvLog/zvLog.h>

#include <unistd.h>

namespace {

volatile crash::Log sLog;
zvLogData sData;

[[noreturn]] void Hang() {
  for (;;)
    pause();
}

}  // namespace

zvLogLevel _zvLog_Level = 5;

zvLogData *zvLog_Begin(zvLogLevel, zvLogModule) {
  if (sLog == crash::Log::kHangInBegin) Hang();
  if (sLog == crash::Log::kFaultInBegin) FaultByReading();
  return &sData;
}

void zvLog_Append_F(const char *, ...) {
  if (sLog == crash::Log::kHangInAppend) Hang();
  if (sLog == crash::Log::kFaultInAppend) FaultByReading();
}

void zvLog_Append_VF(const char *, va_list) {
  if (sLog == crash::Log::kHangInAppend) Hang();
  if (sLog == crash::Log::kFaultInAppend) FaultByReading();
}

void zvLog_End(zvLogData *) {
  if (sLog == crash::Log::kHangInEnd) Hang();
}

int zvLog_WillLog(zvLogLevel, zvLogModule) {
  return 1;
}

void _zvAssert(const char *, const char *, uint32) {}

void crash::SetLog(Log aLog) {
  sLog = aLog;
}
