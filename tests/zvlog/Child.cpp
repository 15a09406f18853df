// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "Child.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace zvlogtest {

namespace {

constexpr std::chrono::seconds kPatience{60};

// Reads both pipes to their ends; false when that takes too long.
bool Collect(int anOutput, int anError, Ending *anEnding) {
  const auto theDeadline = std::chrono::steady_clock::now() + kPatience;
  pollfd thePipes[] = {{anOutput, POLLIN, 0}, {anError, POLLIN, 0}};
  std::string *const theTexts[] = {&anEnding->mOutput, &anEnding->mError};
  int theOpenCount = 2;
  while (theOpenCount > 0) {
    const auto theRest =
        std::chrono::duration_cast<std::chrono::milliseconds>(theDeadline - std::chrono::steady_clock::now());
    if (theRest.count() <= 0) return false;
    poll(thePipes, 2, static_cast<int>(theRest.count()));
    for (int theIndex = 0; theIndex < 2; ++theIndex) {
      if (thePipes[theIndex].fd < 0 || thePipes[theIndex].revents == 0) continue;
      char theBlock[4096];
      const ssize_t theCount = read(thePipes[theIndex].fd, theBlock, sizeof(theBlock));
      if (theCount > 0) {
        theTexts[theIndex]->append(theBlock, static_cast<size_t>(theCount));
      } else {
        thePipes[theIndex].fd = -1;
        --theOpenCount;
      }
    }
  }
  return true;
}

std::vector<std::string> EmulatorWords() {
  std::vector<std::string> theWords;
  std::istringstream theStream(ZV_EMULATOR);
  for (std::string theWord; std::getline(theStream, theWord, '|');)
    theWords.push_back(theWord);
  return theWords;
}

}  // namespace

Ending RunInChild(const std::function<int()> &aBody) {
  Ending theEnding;
  int theOutput[2];
  int theError[2];
  if (pipe(theOutput) != 0 || pipe(theError) != 0) abort();

  const pid_t theChild = fork();
  if (theChild < 0) abort();
  if (theChild == 0) {
    dup2(theOutput[1], STDOUT_FILENO);
    dup2(theError[1], STDERR_FILENO);
    for (const int theEnd : {theOutput[0], theOutput[1], theError[0], theError[1]})
      close(theEnd);
    _exit(aBody());
  }
  close(theOutput[1]);
  close(theError[1]);
  theEnding.mfTimedOut = !Collect(theOutput[0], theError[0], &theEnding);
  if (theEnding.mfTimedOut) kill(theChild, SIGKILL);
  close(theOutput[0]);
  close(theError[0]);

  int theStatus = 0;
  if (waitpid(theChild, &theStatus, 0) != theChild) abort();
  if (WIFSIGNALED(theStatus)) theEnding.mSignal = WTERMSIG(theStatus);
  if (WIFEXITED(theStatus)) theEnding.mStatus = WEXITSTATUS(theStatus);
  return theEnding;
}

Ending RunProbe(const std::vector<std::string> &anArguments, const std::vector<std::string> &anEnvironment) {
  std::vector<std::string> theWords = EmulatorWords();
  theWords.push_back(ZV_PROBE);
  theWords.insert(theWords.end(), anArguments.begin(), anArguments.end());
  return RunInChild([&theWords, &anEnvironment] {
    for (const std::string &theVariable : anEnvironment)
      putenv(strdup(theVariable.c_str()));
    std::vector<char *> thePointers;
    for (std::string &theWord : theWords)
      thePointers.push_back(&theWord[0]);
    thePointers.push_back(nullptr);
    execvp(thePointers[0], thePointers.data());
    return 127;
  });
}

}  // namespace zvlogtest
