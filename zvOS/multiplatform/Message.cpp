// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "multiplatform/Message.h"

#include <zvOS/zvSocketAddress.h>

namespace zvos {

Message *BeginMessage(uint32 aKind, const char *aFile, uint32 aLine) {
  zvLogData *const theData =
      zvLog_Begin(static_cast<zvLogLevel>(aKind >> 16), static_cast<zvLogModule>(aKind & 0xFFFF));
  if (theData == nullptr) return nullptr;
  theData->mFile = aFile;
  theData->mLine = aLine;
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
