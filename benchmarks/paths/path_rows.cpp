// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Making paths absolute, beside the least code that gives the same text.

#include <stdlib.h>
#include <string.h>

#include <zvOS/zvPath.h>

#include "support/Rows.h"

namespace zvbench {
namespace {

constexpr char kAnchor[] = "/opt/player/bin/";
constexpr char kAbsolute[] = "/opt/player/share/media/index.dat";
constexpr char kRelative[] = "share/media/index.dat";
constexpr char kExpected[] = "/opt/player/bin/share/media/index.dat";

void TurnBackslashes(char *aText) {
  for (; *aText != '\0'; ++aText) {
    if (*aText == '\\') *aText = '/';
  }
}

char *CopyPath(const char *aPath) {
  char *theCopy = strdup(aPath);
  if (theCopy != nullptr) TurnBackslashes(theCopy);
  return theCopy;
}

char *JoinPath(const char *anAnchor, const char *aPath) {
  const size_t theAnchorLength = strlen(anAnchor);
  const size_t thePathSize = strlen(aPath) + 1;
  auto *theJoined = static_cast<char *>(malloc(theAnchorLength + thePathSize));
  if (theJoined == nullptr) return nullptr;
  memcpy(theJoined, anAnchor, theAnchorLength);
  memcpy(theJoined + theAnchorLength, aPath, thePathSize);
  TurnBackslashes(theJoined);
  return theJoined;
}

char *Normalize(const char *aPath, const char *anAnchor) {
  return zvPath_Normalize(aPath, 0, kzvPathNormalizeMode_Native, anAnchor);
}

// Releases a result; 0 when there is one.
int Release(char *aText) {
  KeepAlive(aText);
  free(aText);
  return aText == nullptr;
}

void Expect(char *aText, const char *anExpected) {
  if (aText == nullptr || strcmp(aText, anExpected) != 0) Fail("a path is not what it should be");
  free(aText);
}

Sides AbsolutePath() {
  Expect(CopyPath(kAbsolute), kAbsolute);
  Expect(Normalize(kAbsolute, nullptr), kAbsolute);
  return {Repeat([] { return Release(CopyPath(Opaque(&kAbsolute[0]))); }),
          Repeat([] { return Release(Normalize(Opaque(&kAbsolute[0]), nullptr)); }),
          {}};
}

Sides RelativePath() {
  Expect(JoinPath(kAnchor, kRelative), kExpected);
  Expect(Normalize(kRelative, kAnchor), kExpected);
  return {Repeat([] { return Release(JoinPath(Opaque(&kAnchor[0]), Opaque(&kRelative[0]))); }),
          Repeat([] { return Release(Normalize(Opaque(&kRelative[0]), Opaque(&kAnchor[0]))); }),
          {}};
}

}  // namespace

std::vector<Row> PathRows() {
  return {
      {"path normalise, absolute", "strdup, a loop over the backslashes, free", "zvPath_Normalize, free",
       NoTarget(), AbsolutePath},
      {"path normalise, relative", "malloc, memcpy of both parts, a loop over the backslashes, free",
       "zvPath_Normalize with an anchor, free", NoTarget(), RelativePath},
  };
}

}  // namespace zvbench
