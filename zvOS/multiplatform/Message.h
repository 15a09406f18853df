// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Messages of the library's own sources. What all of them do is done by functions of the library instead of
// in place: a message that nobody wants costs a test, one that somebody wants two calls in the code.
#pragma once

#include <zvOS/zvLogDefines.h>

#include <sys/socket.h>

#if defined(__i386__)
#define ZVOS_ARGUMENTS_IN_REGISTERS __attribute__((regparm(3)))
#else
#define ZVOS_ARGUMENTS_IN_REGISTERS
#endif

namespace zvos {

// The open record of a message. Each append ends it.
struct Message {
  zvLogData mData;

  void F(const char *aFormat, ...) ZV_PRINTF_FORMAT(2, 3);
  void VF(const char *aFormat, va_list anArguments) ZV_PRINTF_FORMAT(2, 0);
  void IPAddress(long anAddress);
  void sockaddr(struct ::sockaddr *anAddress);
};

constexpr uint32 KindOfMessage(uint32 aLevel, uint32 aModule) {
  return aLevel << 16 | aModule;
}

// A record with its place in the source; NULL when the log does not want it.
ZVOS_ARGUMENTS_IN_REGISTERS Message *BeginMessage(uint32 aKind, const char *aFile, uint32 aLine);

}  // namespace zvos

#undef ZVXLOG_ALWAYS
#define ZVXLOG_ALWAYS(level, module, append)                                                          \
  do {                                                                                                \
    if (zvos::Message *const theMessage_ =                                                            \
            zvos::BeginMessage(zvos::KindOfMessage((level), (module)), __FILE__, (uint32)(__LINE__))) \
      theMessage_->append;                                                                            \
  } while (0)
