// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the tests of paths and of revision stamps share: texts that the library hands over, files with a
// stamp, and what is read from them.
#pragma once

#include <zvOS/zvBinaryRevision.h>
#include <zvOS/zvPath.h>

#include "fuzz/ElfImage.h"
#include "support/Alone.h"
#include "support/Faults.h"
#include "support/FileHandles.h"
#include "support/RecordingLog.h"
#include "support/Support.h"

#include <limits.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace zvtest {
namespace paths {

constexpr zvLogModule kPathModule = 57;

// The library keeps the path of the program in a buffer of this size.
constexpr size_t kBufferSize = 8194;

constexpr int kNative = kzvPathNormalizeMode_Native;

inline auto PathError(const std::string &aText) {
  return Error(kPathModule, aText);
}

inline std::string LinkTarget(const char *aLink) {
  char theTarget[PATH_MAX];
  const ssize_t theLength = readlink(aLink, theTarget, sizeof(theTarget));
  return theLength < 0 ? std::string() : std::string(theTarget, static_cast<size_t>(theLength));
}

class Path : public ::testing::Test {
 protected:
  RecordingLog mLog;
};

// ---- Revision stamps ----

constexpr char kSectionName[] = ".zevo.version";
constexpr char kStamp[] = "4711\nproduct/branches/main\n";
constexpr char kLabel[] = "product/branches/main";
constexpr int kRevision = 4711;

// The stamp stands between sections of other kinds.
constexpr size_t kStampIndex = 2;

inline std::vector<ElfSection> SectionsWith(const std::string &aStamp) {
  return {{".text", SHT_PROGBITS, "code code code"},
          {kSectionName, SHT_PROGBITS, aStamp},
          {".bss", SHT_NOBITS, ""}};
}

inline ElfImage ImageWith(const std::string &aStamp, ElfLayout aLayout = ElfLayout::kHeadersLast) {
  return ElfImage(SectionsWith(aStamp), aLayout);
}

inline char sUntouched[] = "untouched";

// What was read: the revision, and the label if one was stored.
struct Result {
  int mRevision;
  std::optional<std::string> mLabel;
};

inline bool operator==(const Result &aResult, const Result &another) {
  return aResult.mRevision == another.mRevision && aResult.mLabel == another.mLabel;
}

inline void PrintTo(const Result &aResult, std::ostream *aStream) {
  *aStream << aResult.mRevision << ", " << (aResult.mLabel ? "'" + *aResult.mLabel + "'" : "no label");
}

const Result kNothing = {0, std::nullopt};
const Result kWhole = {kRevision, kLabel};

inline Result ReadFile(const std::string &aPath) {
  char *theBranch = sUntouched;
  Result theResult = {zvPath_GetBinaryRevision(aPath.c_str(), &theBranch), std::nullopt};
  if (theBranch == sUntouched) return theResult;
  EXPECT_NE(nullptr, theBranch);
  if (theBranch != nullptr) theResult.mLabel = theBranch;
  free(theBranch);
  return theResult;
}

inline Result ReadBytes(const std::string &aContents) {
  return ReadFile(MemoryFile(aContents).Path());
}

// Gives the library more memory than it asks for, with a text behind what it asked for: who reads
// too far finds what it looks for.
inline void GiveWithTextBehind(Fault &aFault, size_t aSize, const std::string &aText) {
  char *theMemory = static_cast<char *>(malloc(aSize + aText.size() + 1));
  ASSERT_NE(nullptr, theMemory);
  memcpy(theMemory + aSize, aText.c_str(), aText.size() + 1);
  aFault.Returning(AsArgument(theMemory)).Doing([aSize](const long long *anArguments) {
    EXPECT_EQ(static_cast<long long>(aSize), anArguments[0]);
  });
}

class BinaryRevision : public ::testing::Test {
 protected:
  RecordingLog mLog;
};

}  // namespace paths
}  // namespace zvtest
