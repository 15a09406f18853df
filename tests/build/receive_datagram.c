/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* Prints the first datagram that arrives at a socket while a program runs.
 *
 *   receive_datagram SOCKET PROGRAM ARGUMENT...
 */
#include <poll.h>
#include <stdio.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

int main(int aCount, char **anArguments) {
  struct sockaddr_un theAddress = {AF_UNIX, ""};
  const int theSocket = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  struct pollfd thePoll = {theSocket, POLLIN, 0};
  char theData[4096];
  ssize_t theLength;
  if (aCount < 3) return 2;
  snprintf(theAddress.sun_path, sizeof(theAddress.sun_path), "%s", anArguments[1]);
  if (bind(theSocket, (struct sockaddr *)&theAddress, sizeof(theAddress)) != 0) return 2;
  if (fork() == 0) {
    execv(anArguments[2], anArguments + 2);
    _exit(127);
  }
  if (poll(&thePoll, 1, 10000) != 1) return 1;
  theLength = recv(theSocket, theData, sizeof(theData), 0);
  return theLength > 0 && fwrite(theData, (size_t)theLength, 1, stdout) == 1 ? 0 : 1;
}
