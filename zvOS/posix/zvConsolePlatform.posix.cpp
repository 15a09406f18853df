// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A raw console. The settings are those of standard input, whatever stream keys are read from.

#include <zvOS/zvConsolePlatform.h>

#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

namespace {

// Sets and clears local-mode flags at once.
void ChangeLocalMode(int aSetFlags, int aClearedFlags) {
  termios theSettings;
  if (tcgetattr(STDIN_FILENO, &theSettings) != 0) return;
  theSettings.c_lflag |= static_cast<tcflag_t>(aSetFlags);
  theSettings.c_lflag &= ~static_cast<tcflag_t>(aClearedFlags);
  // A read returns as soon as there is a byte, and waits for one.
  theSettings.c_cc[VMIN] = 1;
  theSettings.c_cc[VTIME] = 0;
  tcsetattr(STDIN_FILENO, TCSANOW, &theSettings);
}

}  // namespace

extern "C" void zvConsolePlatform_Enable(int aValue) {
  ChangeLocalMode(aValue, 0);
}

extern "C" void zvConsolePlatform_Disable(int aValue) {
  ChangeLocalMode(0, aValue);
}

extern "C" void zvConsolePlatform_OpenConsole(int) {}

extern "C" uint8 zvConsolePlatform_GetChar(FILE *anInput) {
  uint8 theByte;
  return read(fileno(anInput), &theByte, 1) == 1 ? theByte : uint8{0};
}

extern "C" int zvConsolePlatform_IsCharAvailable(FILE *anInput) {
  const int theDescriptor = fileno(anInput);
  // A descriptor that no set can hold is answered as an error is.
  if (theDescriptor < 0 || theDescriptor >= FD_SETSIZE) return 0;
  fd_set theSet;
  FD_ZERO(&theSet);
  FD_SET(theDescriptor, &theSet);
  timeval theTime = {};
  const int theCount = select(theDescriptor + 1, &theSet, nullptr, nullptr, &theTime);
  return theCount > 0 && FD_ISSET(theDescriptor, &theSet) ? 1 : 0;
}

extern "C" void zvConsolePlatform_Flush(FILE *aFile) {
  fflush(aFile);
}
