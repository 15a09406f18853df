// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Whether a wireless link is encrypted, asked of the interface's supplicant over its control socket, unless
// another check is registered.
//
// The answer leans to one side: only a supplicant that positively says "no cipher" makes a link
// unprotected. The local end has one fixed name on the whole machine, so a query that runs, or one
// that died, makes every other query fail, and thus answer "protected".

#include <zvOS/zvSocketLinkStatus.h>
#include <zvOS/zvSocketSelect.h>

#include "multiplatform/InterfaceFromIP.h"
#include "private/Failure.h"
#include "private/Owner.h"

#include <sys/un.h>
#include <unistd.h>
#include <cstdlib>
#include <cstring>

ZVLOG_WITH_MODULE_IF(TCP, 1)

#define PATH_TO_SOCKET             "/var/run/wpa_supplicant/"
#define PATH_OF_TMP_CTRL           "/tmp/wpa_ctrl"
#define WPA_SUPPLICANT_ANSWER_SIZE 512
#define OPEN_NETWORK_PATTERN       "pairwise_cipher=NONE"

using zvos::Descriptor;
using zvos::Owner;

namespace {

constexpr timeval kAnswerTime = {2, 0};

// What the supplicant said; no text when it said nothing in time.
struct Answer {
  char mText[WPA_SUPPLICANT_ANSWER_SIZE];
  size_t mLength;

  // An answer that fills the buffer has no terminator.
  bool Contains(const char *aPattern) const {
    return memmem(mText, mLength, aPattern, strlen(aPattern)) != nullptr;
  }
};

sockaddr_un LocalAddress(const char *aPath) {
  sockaddr_un theAddress = {};
  theAddress.sun_family = AF_UNIX;
  strncpy(theAddress.sun_path, aPath, sizeof(theAddress.sun_path) - 1);
  return theAddress;
}

int wpa_supplicant_connect(const char *aPath) {
  Descriptor theSocket(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!theSocket) return ZVOS_FAIL(-1, F("wpa_supplicant_connect Error: Socket failed to open \n"));

  // A file of that name is left alone: it is what keeps queries apart.
  const sockaddr_un theOwnAddress = LocalAddress(PATH_OF_TMP_CTRL);
  if (bind(theSocket.get(), reinterpret_cast<const sockaddr *>(&theOwnAddress), sizeof(theOwnAddress)) != 0)
    return ZVOS_FAIL(-1, F("wpa_supplicant_connect Error: Socket failed to bind \n"));
  const sockaddr_un theAddress = LocalAddress(aPath);
  if (connect(theSocket.get(), reinterpret_cast<const sockaddr *>(&theAddress), sizeof(theAddress)) != 0) {
    ZV_ERR(F("wpa_supplicant_connect Error: Socket failed to connect \n"));
    unlink(PATH_OF_TMP_CTRL);
    return -1;
  }
  return theSocket.release();
}

void wpa_supplicant_disconnect(int aSocket) {
  unlink(PATH_OF_TMP_CTRL);
  close(aSocket);
}

// Waits as select() does; -1 also for a descriptor that does not fit into a set.
int WaitForAnswer(int aSocket) {
  if (aSocket >= FD_SETSIZE) return -1;
  fd_set theSet;
  FD_ZERO(&theSet);
  FD_SET(aSocket, &theSet);
  timeval theTime = kAnswerTime;
  return zvSocketSelect_SelectFD(&theSet, nullptr, nullptr, aSocket, &theTime);
}

// The three failures below leak the answer, which is kept as it stands.
// NOLINTBEGIN(clang-analyzer-unix.Malloc)
Answer *wpa_supplicant_get_req(int aSocket, const char *aCommand) {
  Answer *const theAnswer = static_cast<Answer *>(calloc(1, sizeof(Answer)));
  if (theAnswer == nullptr) return nullptr;

  if (send(aSocket, aCommand, strlen(aCommand), MSG_NOSIGNAL) < 0)
    return ZVOS_FAIL(nullptr, F("wpa_supplicant_get_req send failed \n"));
  const int theReadyCount = WaitForAnswer(aSocket);
  if (theReadyCount < 0) return ZVOS_FAIL(nullptr, F("wpa_supplicant_get_req select failed\n"));
  if (theReadyCount == 0) return theAnswer;

  const ssize_t theLength = recv(aSocket, theAnswer->mText, sizeof(theAnswer->mText), 0);
  if (theLength < 0) return ZVOS_FAIL(nullptr, F("wpa_supplicant_get_req recv failed\n"));
  theAnswer->mLength = static_cast<size_t>(theLength);
  return theAnswer;
}
// NOLINTEND(clang-analyzer-unix.Malloc)

Answer *wpa_supplicant_get_status(const char *anUrl) {
  const int theSocket = wpa_supplicant_connect(anUrl);
  if (theSocket == -1) return nullptr;
  Answer *const theAnswer = wpa_supplicant_get_req(theSocket, "STATUS_VERBOSE");
  wpa_supplicant_disconnect(theSocket);
  return theAnswer;
}

void wpa_supplicant_release_status(Answer *anAnswer) {
  free(anAnswer);
}

}  // namespace

extern "C" int _zvSocket_IsLinkProtected(uint32 anIPInterface) {
  const Owner<char> theInterface = zvos::zvSocket_GetInterfaceFromIP(anIPInterface);
  if (!theInterface) return 1;
  const Owner<char> thePath(zv_mnprintf(PATH_TO_SOCKET "%s", theInterface.get()));
  if (!thePath) return 1;
  const Owner<Answer, wpa_supplicant_release_status> theAnswer(wpa_supplicant_get_status(thePath.get()));
  return theAnswer && theAnswer->Contains(OPEN_NETWORK_PATTERN) ? 0 : 1;
}

// ---- The check that is asked ----

// Set at start-up, hence read without a lock. It is the platform's check itself, so that callers can compare
// and put it back; that one takes the same 32 bits as an unsigned number.
int (*g_zvSocket_IsLinkProtected)(int32 anIPInterface) =
    reinterpret_cast<int (*)(int32)>(_zvSocket_IsLinkProtected);

extern "C" int zvSocket_IsLinkProtected(int32 anIPInterface) {
  const auto theFunction = g_zvSocket_IsLinkProtected;
  return theFunction != nullptr ? theFunction(anIPInterface) : 0;
}

extern "C" void zvSocket_SetLinkProtectionCheckFunc(int (*aFunction)(int32 anIPInterface)) {
  g_zvSocket_IsLinkProtected = aFunction;
}
