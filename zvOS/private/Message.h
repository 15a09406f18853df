// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Messages of the library's own sources. What all of them do is done by functions of the library
// (multiplatform/Message.cpp) instead of in place: a message is two calls in the code, of which the first
// tests the level. What the text needs is evaluated between them, for a message that somebody wants. Paths
// where that call would count ask zvos::IsTracing() first.
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

// Level, module and line in one word, for one argument less in 200 places.
constexpr int kLevelShift = 28;
constexpr int kModuleShift = 20;

constexpr bool FitsPlaceOfMessage(uint32 aLevel, uint32 aModule, uint32 aLine) {
  return aLevel < 1u << (32 - kLevelShift) && aModule < 1u << (kLevelShift - kModuleShift) &&
         aLine < 1u << kModuleShift;
}

constexpr uint32 PlaceOfMessage(uint32 aLevel, uint32 aModule, uint32 aLine) {
  return aLevel << kLevelShift | aModule << kModuleShift | aLine;
}

// A record with its place in the source; NULL when the level of the log is too low for it, of which the log
// hears nothing, or the log does not want it.
ZVOS_ARGUMENTS_IN_REGISTERS Message *BeginMessage(uint32 aPlace, const char *aFile);

}  // namespace zvos

#undef ZVXLOG
#define ZVXLOG(level, module, append)                                                        \
  do {                                                                                       \
    static_assert(zvos::FitsPlaceOfMessage((level), (module), __LINE__), "");                \
    if (zvos::Message *const theMessage_ =                                                   \
            zvos::BeginMessage(zvos::PlaceOfMessage((level), (module), __LINE__), __FILE__)) \
      theMessage_->append;                                                                   \
  } while (0)
