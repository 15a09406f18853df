// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "private/Message.h"

#include <zvOS/zvSocketAddress.h>

namespace zvos {

Message *BeginMessage(uint32 aPlace, const char *aFile) {
  const uint32 theLevel = aPlace >> kLevelShift;
  const uint32 theModule = aPlace >> kModuleShift & ((1u << (kLevelShift - kModuleShift)) - 1);
  if (!_zvLog_LogMe(theLevel, theModule)) return nullptr;
  zvLogData *const theData =
      zvLog_Begin(static_cast<zvLogLevel>(theLevel), static_cast<zvLogModule>(theModule));
  if (theData == nullptr) return nullptr;
  theData->mFile = aFile;
  theData->mLine = aPlace & ((1u << kModuleShift) - 1);
  return reinterpret_cast<Message *>(theData);
}

void Message::VF(const char *aFormat, va_list anArguments) {
  zvLog_Append_VF(aFormat, anArguments);
  zvLog_End(&mData);
}

void Message::F(const char *aFormat, ...) {
  va_list theArguments;
  va_start(theArguments, aFormat);
  VF(aFormat, theArguments);
  va_end(theArguments);
}

void Message::IPAddress(long anAddress) {
  zvLog_Append_IPAddress(anAddress);
  zvLog_End(&mData);
}

void Message::sockaddr(struct ::sockaddr *anAddress) {
  zvLog_Append_sockaddr(anAddress);
  zvLog_End(&mData);
}

}  // namespace zvos
