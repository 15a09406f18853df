// Which messages are wanted.
#pragma once

#include <zvLog/zvLog.h>

namespace zvlog {

// Takes no lock.
bool IsWanted(zvLogLevel aLevel, zvLogModule aModule);

}  // namespace zvlog
