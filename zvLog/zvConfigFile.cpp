// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Configuration files in INI form, read by SimpleIni.
//
// SimpleIni passes over lines that it does not understand, so the form of every line is checked
// before it sees them. It belongs to the C++ world: this file is compiled with exceptions, and lets
// none of them out.

#include <zvLog/zvConfigFile.h>
#include <zvLog/zvLogSettings.h>

#include "private/Names.h"
#include "private/Numbers.h"

#define SI_NO_CONVERSION   // char only: the other conversions need headers that are not there
#define SI_IMPLEMENTATION  // the member functions too, instead of a library that has them
#include <SimpleIni.h>

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <new>
#include <memory>
#include <string>

struct zvConfigFile_t {
  std::string mPath;
  CSimpleIniA mIni;
};

namespace {

constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";
constexpr char kLineEnds[] = "\r\n";  // either alone, or both

void LogError(int aLine, const char *aFormat, ...) ZVLOG_PRINTF(2, 3);
void LogError(int aLine, const char *aFormat, ...) {
  if (zvLog_WillLog(kzvLogLevel_Error, zvlog::kModuleFile) == 0) return;
  zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, zvlog::kModuleFile);
  if (theData == nullptr) return;
  theData->mFile = __FILE__;
  theData->mLine = static_cast<uint32>(aLine);
  va_list theArguments;
  va_start(theArguments, aFormat);
  zvLog_Append_VF(aFormat, theArguments);
  va_end(theArguments);
  zvLog_End(theData);
}

class Descriptor {
 public:
  explicit Descriptor(int aDescriptor) : mDescriptor(aDescriptor) {}
  ~Descriptor() {
    if (mDescriptor >= 0) close(mDescriptor);
  }
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;
  int Get() const { return mDescriptor; }

 private:
  const int mDescriptor;
};

// 0, or the error number.
int ReadWhole(const char *aPath, std::string *aText) {
  const Descriptor theFile(open(aPath, O_RDONLY | O_CLOEXEC | O_NOCTTY));
  if (theFile.Get() < 0) return errno;
  for (;;) {
    char theBlock[4096];
    const ssize_t theCount = read(theFile.Get(), theBlock, sizeof theBlock);
    if (theCount > 0) {
      aText->append(theBlock, static_cast<size_t>(theCount));
    } else if (theCount == 0) {
      return 0;
    } else if (errno != EINTR) {
      return errno;
    }
  }
}

bool IsBlank(char aChar) {
  return aChar == ' ' || aChar == '\t';
}

std::string Trim(const std::string &aText) {
  size_t theBegin = 0;
  size_t theEnd = aText.size();
  while (theBegin < theEnd && IsBlank(aText[theBegin]))
    ++theBegin;
  while (theEnd > theBegin && IsBlank(aText[theEnd - 1]))
    --theEnd;
  return aText.substr(theBegin, theEnd - theBegin);
}

bool IsEmptyOrComment(const std::string &aTrimmed) {
  return aTrimmed.empty() || aTrimmed[0] == ';' || aTrimmed[0] == '#';
}

bool IsSection(const std::string &aTrimmed) {
  const size_t theClose = aTrimmed.find(']');
  if (aTrimmed[0] != '[' || theClose == std::string::npos) return false;
  const bool afHasName = !Trim(aTrimmed.substr(1, theClose - 1)).empty();
  return afHasName && IsEmptyOrComment(Trim(aTrimmed.substr(theClose + 1)));
}

bool IsKeyAndValue(const std::string &aTrimmed) {
  const size_t theEqualSign = aTrimmed.find('=');
  return aTrimmed[0] != '[' && theEqualSign != std::string::npos && theEqualSign > 0;
}

bool IsWellFormed(const std::string &aLine) {
  if (aLine.find('\0') != std::string::npos) return false;
  const std::string theTrimmed = Trim(aLine);
  return IsEmptyOrComment(theTrimmed) || IsSection(theTrimmed) || IsKeyAndValue(theTrimmed);
}

bool CheckLines(const char *aPath, const std::string &aText) {
  size_t theAt = aText.compare(0, strlen(kByteOrderMark), kByteOrderMark) == 0 ? strlen(kByteOrderMark) : 0;
  for (unsigned theNumber = 1; theAt < aText.size(); ++theNumber) {
    const size_t theEnd = std::min(aText.find_first_of(kLineEnds, theAt), aText.size());
    const std::string theLine = aText.substr(theAt, theEnd - theAt);
    if (!IsWellFormed(theLine)) {
      LogError(__LINE__, "zvConfigFile: %s:%u: malformed line '%s'\n", aPath, theNumber, theLine.c_str());
      return false;
    }
    theAt = theEnd + (aText.compare(theEnd, 2, "\r\n") == 0 ? 2 : 1);
  }
  return true;
}

zvConfigFile_t *Open(const char *aPath) {
  std::string theText;
  const int theError = ReadWhole(aPath, &theText);
  if (theError != 0) {
    LogError(__LINE__, "zvConfigFile: cannot read '%s' (error = %d)\n", aPath, theError);
    return nullptr;
  }
  if (!CheckLines(aPath, theText)) return nullptr;

  auto theFile = std::make_unique<zvConfigFile_t>();
  theFile->mPath = aPath;
  if (theFile->mIni.LoadData(theText.data(), theText.size()) == SI_OK) return theFile.release();
  LogError(__LINE__, "zvConfigFile: cannot take in '%s'\n", aPath);
  return nullptr;
}

const char *FindValue(const zvConfigFile_t *aConfigFile, const char *aSection, const char *aKey) {
  if (aConfigFile == nullptr || aKey == nullptr) return nullptr;
  return aConfigFile->mIni.GetValue(aSection != nullptr ? aSection : "", aKey, nullptr);
}

}  // namespace

extern "C" zvConfigFile_t *zvConfigFile_Open(const char *aPath) {
  if (aPath == nullptr) {
    LogError(__LINE__, "zvConfigFile: no file name\n");
    return nullptr;
  }
  try {
    return Open(aPath);
  } catch (const std::exception &theException) {
    LogError(__LINE__, "zvConfigFile: cannot read '%s' (%s)\n", aPath, theException.what());
    return nullptr;
  }
}

extern "C" void zvConfigFile_Close(zvConfigFile_t *aConfigFile) {
  delete aConfigFile;
}

extern "C" const char *zvConfigFile_GetString(const zvConfigFile_t *aConfigFile, const char *aSection,
                                              const char *aKey, const char *aDefault) {
  const char *theValue = FindValue(aConfigFile, aSection, aKey);
  return theValue != nullptr ? theValue : aDefault;
}

extern "C" uint32 zvConfigFile_GetUInt32(const zvConfigFile_t *aConfigFile, const char *aSection,
                                         const char *aKey, uint32 aDefault) {
  const char *theValue = FindValue(aConfigFile, aSection, aKey);
  if (theValue == nullptr) return aDefault;

  uint64 theNumber = 0;
  if (zvlog::ReadNumber(theValue, UINT32_MAX, &theNumber) == zvlog::NumberError::None) {
    return static_cast<uint32>(theNumber);
  }
  LogError(__LINE__, "zvConfigFile: %s: [%s] %s: '%s' is no number from 0 to %u\n",
           aConfigFile->mPath.c_str(), aSection != nullptr ? aSection : "", aKey, theValue, UINT32_MAX);
  return aDefault;
}
