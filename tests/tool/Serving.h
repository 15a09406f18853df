// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A folder that the program serves, and what the tests of serving do with it.
#pragma once

#include "ToolSupport.h"
#include "support/Support.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <memory>
#include <string>
#include <vector>

namespace zvtest {

inline constexpr char kBusy[] = "zvos-files 1 busy too many clients\n";

// More than fits into the buffers of both sides.
inline constexpr size_t kBigSize = 16 * 1024 * 1024;

inline std::vector<std::string> Joined(std::vector<std::string> someWords,
                                       const std::vector<std::string> &someMore) {
  someWords.insert(someWords.end(), someMore.begin(), someMore.end());
  return someWords;
}

// Opens clients until one is turned away, and returns those that were taken.
inline std::vector<std::unique_ptr<RawClient>> ClientsUntilBusy(uint16_t aPort, size_t aMost) {
  std::vector<std::unique_ptr<RawClient>> theClients;
  for (;;) {
    auto theClient = std::make_unique<RawClient>(aPort);
    const std::string theLine = theClient->Line();
    if (theLine != kReady || theClients.size() == aMost) {
      EXPECT_EQ(kBusy, theLine);
      EXPECT_EQ("", theClient->Rest());
      return theClients;
    }
    theClients.push_back(std::move(theClient));
  }
}

// A folder with files, and the program that serves it on 127.0.0.1.
class Serving : public ::testing::Test {
 protected:
  Serving() {
    mkdir(mFolder.File("served").c_str(), 0755);
    WriteWholeFile(Served("small"), "some text\n");
  }

  std::string Served(const std::string &aName) const { return mFolder.File("served/" + aName); }
  std::string ServedFolder() const { return mFolder.File("served"); }

  std::unique_ptr<RunningZvos> Start(const std::vector<std::string> &someOptions = {},
                                     const std::function<void()> &aSetup = nullptr) const {
    return std::make_unique<RunningZvos>(
        Joined(Joined({"serve", "--bind", "127.0.0.1"}, someOptions), {ServedFolder()}), mFolder.Path(),
        aSetup);
  }

  ChildResult Get(RunningZvos &aServer, const std::string &aName,
                  const std::string &aFile = "fetched") const {
    return Zvos({"get", "127.0.0.1:" + std::to_string(aServer.Port()), aName, "-o", mFolder.File(aFile)});
  }

  void ExpectServing(RunningZvos &aServer) const {
    EXPECT_EQ(0, Get(aServer, "small", "checked").mStatus);
    EXPECT_EQ("some text\n", ReadWholeFile(mFolder.File("checked")));
  }

  // What the server answers to a request as it stands.
  std::string Answer(RunningZvos &aServer, const std::string &aRequest) const {
    RawClient theClient(aServer.Port());
    EXPECT_EQ(kReady, theClient.Line());
    theClient.Send(aRequest);
    return theClient.Rest();
  }

  const TempFolder mFolder;
};

}  // namespace zvtest
