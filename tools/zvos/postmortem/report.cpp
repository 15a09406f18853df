// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "postmortem/report.h"

#include "shared/text.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <optional>

namespace tool {

namespace {

constexpr size_t kMostFrames = 1000;  // of one report

bool IsDigits(const std::string &aText, const char *someDigits) {
  return !aText.empty() && aText.find_first_not_of(someDigits) == std::string::npos;
}

constexpr char kDecimal[] = "0123456789";
constexpr char kHexadecimal[] = "0123456789abcdef";

// "0x" and hexadecimal digits.
std::optional<uint64> Hexadecimal(const std::string &aText) {
  if (!BeginsWith(aText, "0x") || aText.size() > 18 || !IsDigits(aText.substr(2), kHexadecimal)) return {};
  return strtoull(aText.c_str(), nullptr, 16);
}

// "module(symbol+0x12) [0x1234]", where everything but the address may be missing. The module may have any
// character in its path, so that the text is taken apart from its end.
std::optional<Place> ReadPlace(const std::string &aText) {
  const size_t theBracket = aText.rfind('[');
  if (theBracket == std::string::npos || aText.back() != ']') return {};
  const auto theAddress = Hexadecimal(aText.substr(theBracket + 1, aText.size() - theBracket - 2));
  if (!theAddress) return {};
  Place thePlace;
  thePlace.mAddress = *theAddress;
  std::string theModule = aText.substr(0, theBracket);
  while (!theModule.empty() && theModule.back() == ' ')
    theModule.pop_back();
  const size_t theParenthesis = theModule.rfind('(');
  if (theParenthesis == std::string::npos || theModule.back() != ')') {
    thePlace.mModule = theModule;
    return thePlace;
  }
  const std::string theInside = theModule.substr(theParenthesis + 1, theModule.size() - theParenthesis - 2);
  const size_t thePlus = theInside.rfind('+');
  if (thePlus != std::string::npos) {
    // An offset of 0 has no "0x".
    thePlace.mOffset = strtoull(theInside.c_str() + thePlus + 1, nullptr, 16);
    thePlace.mSymbol = theInside.substr(0, thePlus);
    thePlace.mModule = theModule.substr(0, theParenthesis);
  } else if (theInside.empty()) {
    thePlace.mModule = theModule.substr(0, theParenthesis);
  }
  return thePlace;
}

// --- crash files --------------------------------------------------------------------------------

constexpr char kFirstLine[] = "crash file: 1";
constexpr char kLastLine[] = "end: complete";

ReportModule &ModuleOf(std::map<int, ReportModule> &someModules, const std::string &aNumber) {
  return someModules[atoi(aNumber.c_str())];
}

bool IsBuildId(const std::string &aText) {
  return aText.size() >= 8 && aText.size() <= 128 && IsDigits(aText, kHexadecimal);
}

// "module 03 build id: ...": gives the number, and behind it what is said.
void TakeModule(std::map<int, ReportModule> &someModules, const std::string &aKey,
                const std::string &aValue) {
  const std::string theNumber = aKey.substr(0, aKey.find(' '));
  if (!IsDigits(theNumber, kDecimal) || theNumber.size() > 4) return;
  ReportModule &theModule = ModuleOf(someModules, theNumber);
  const std::string theWhat = aKey.substr(theNumber.size());
  if (theWhat.empty()) theModule.mPath = aValue;
  if (theWhat == " build id" && IsBuildId(aValue)) theModule.mBuildId = aValue;
  if (theWhat == " revision") theModule.mRevision = aValue;
}

// What was interrupted is the frame with its address; it is put in front when the trace has not got there.
void MarkCrash(CrashReportText &aReport, const std::optional<Place> &aCrash) {
  if (!aCrash) return;
  size_t theIndex = 0;
  while (theIndex < aReport.mFrames.size() && (aReport.mFrames[theIndex].mRole != FrameRole::Caller ||
                                               aReport.mFrames[theIndex].mPlace.mAddress != aCrash->mAddress))
    ++theIndex;
  if (theIndex == aReport.mFrames.size()) {
    aReport.mFrames.insert(aReport.mFrames.begin(), {-1, FrameRole::Crash, *aCrash});
    return;
  }
  aReport.mFrames[theIndex].mRole = FrameRole::Crash;
  for (size_t i = 0; i < theIndex; ++i)
    aReport.mFrames[i].mRole = FrameRole::Report;
}

CrashReportText ReadCrashFile(const std::vector<std::string> &someLines) {
  CrashReportText theReport;
  theReport.mKind = CrashReportText::Kind::CrashFile;
  std::optional<Place> theCrash;
  std::map<int, ReportModule> theModules;
  for (size_t i = 1; i < someLines.size(); ++i) {
    const size_t theColon = someLines[i].find(": ");
    if (theColon == std::string::npos) continue;
    const std::string theKey = someLines[i].substr(0, theColon);
    const std::string theValue = someLines[i].substr(theColon + 2);
    const bool afStack = BeginsWith(theKey, "stack ");
    if (afStack || BeginsWith(theKey, "frame ")) {
      const auto thePlace = ReadPlace(theValue);
      if (thePlace && theReport.mFrames.size() < kMostFrames) {
        theReport.mFrames.push_back({atoi(theKey.c_str() + sizeof("frame")),
                                     afStack ? FrameRole::OnStack : FrameRole::Caller, *thePlace});
      }
    } else if (BeginsWith(theKey, "module ")) {
      TakeModule(theModules, theKey.substr(sizeof("module")), theValue);
    } else if (theKey == "crashed at") {
      theCrash = ReadPlace(theValue);
    } else if (someLines[i] == kLastLine) {
      theReport.mfComplete = true;
    } else {
      theReport.mFacts.push_back({theKey, theValue});
    }
  }
  MarkCrash(theReport, theCrash);
  for (const auto &theModule : theModules)
    theReport.mModules.push_back(theModule.second);
  return theReport;
}

// Of a text that begins with one; several may have been put together.
std::vector<CrashReportText> ReadCrashFiles(std::vector<std::string> someLines, bool afCutOff) {
  // A last line that is not whole is not believed: half a build id is another one.
  if (afCutOff && someLines.back() != kLastLine) someLines.pop_back();
  std::vector<CrashReportText> theReports;
  for (auto theStart = someLines.begin(); theStart != someLines.end();) {
    const auto theEnd = std::find(theStart + 1, someLines.end(), kFirstLine);
    theReports.push_back(ReadCrashFile({theStart, theEnd}));
    theStart = theEnd;
  }
  return theReports;
}

// --- traces, in files of their own and in logs --------------------------------------------------

// The frame behind the one that the system has made for the handler. Where its name is not known, it is the
// one behind the handler.
void MarkCrashBehindHandler(CrashReportText &aReport) {
  size_t theCrash = 0;
  for (size_t i = 0; i < aReport.mFrames.size(); ++i) {
    const std::string &theSymbol = aReport.mFrames[i].mPlace.mSymbol;
    if (theSymbol == "sThread_S_SignalHandler" && theCrash == 0) theCrash = i + 2;
    if (theSymbol == "__kernel_rt_sigreturn" || theSymbol == "__kernel_sigreturn") {
      theCrash = i + 1;
      break;
    }
  }
  if (theCrash == 0 || theCrash >= aReport.mFrames.size()) return;
  aReport.mFrames[theCrash].mRole = FrameRole::Crash;
  for (size_t i = 0; i < theCrash; ++i)
    aReport.mFrames[i].mRole = FrameRole::Report;
}

// Traces that lines are added to. Threads write to a log in turns, so that each has a trace of its own.
class Traces {
 public:
  explicit Traces(std::vector<CrashReportText> &someReports) : mReports(someReports) {}

  void Take(const std::string &aLine) {
    if (!TakeSignal(aLine) && !TakeBegin(aLine) && !TakeEnd(aLine)) TakeFrame(aLine);
  }

 private:
  struct Open {
    size_t mIndex;
    int mNext;
    int mDepth;              // -1 when it is not known
    bool mfInStack = false;  // the frames are over, what follows are words of the stack
  };

  static bool IsProcessAndThread(const std::string &aText) {
    const size_t theColon = aText.find(':');
    return theColon != std::string::npos && IsDigits(aText.substr(0, theColon), kDecimal) &&
           IsDigits(aText.substr(theColon + 1), kDecimal);
  }

  // The word in brackets that a log shows the thread by, "6:7" or "7", or nothing. The library's log puts the
  // thread's name behind it; a system log puts the number of the process in front.
  static std::string ThreadOf(const std::string &aLine, size_t aLength) {
    const std::string theHead = aLine.substr(0, aLength);
    std::string theThread;
    for (size_t theStart = 0; (theStart = theHead.find('[', theStart)) != std::string::npos; ++theStart) {
      const size_t theEnd = theHead.find_first_of(" ]", theStart);
      if (theEnd == std::string::npos) break;
      const std::string theWord = theHead.substr(theStart + 1, theEnd - theStart - 1);
      if (IsProcessAndThread(theWord) || (theThread.empty() && IsDigits(theWord, kDecimal)))
        theThread = theWord;
    }
    return theThread;
  }

  bool TakeSignal(const std::string &aLine) {
    constexpr char kText[] = "zvOSThread: Received fatal signal: ";
    const size_t thePlace = aLine.find(kText);
    if (thePlace == std::string::npos) return false;
    mSignals[ThreadOf(aLine, thePlace)] = aLine.substr(thePlace + sizeof(kText) - 1);
    return true;
  }

  bool TakeBegin(const std::string &aLine) {
    constexpr char kText[] = "Backtracing this thread (pid=";
    const size_t thePlace = aLine.find(kText);
    const bool afFile = aLine == "log";
    if (thePlace == std::string::npos && !afFile) return false;
    CrashReportText theReport;
    int theDepth = -1;
    std::string theThread;
    if (!afFile) {
      theReport.mKind = CrashReportText::Kind::Log;
      const char *const theNumbers = aLine.c_str() + thePlace + sizeof(kText) - 1;
      const size_t theDepthPlace = aLine.find("depth=", thePlace);
      if (theDepthPlace != std::string::npos) theDepth = atoi(aLine.c_str() + theDepthPlace + 6);
      theThread = ThreadOf(aLine, thePlace);
      const auto theSignal = mSignals.find(theThread);
      if (theSignal != mSignals.end()) theReport.mFacts.push_back({"signal", theSignal->second});
      theReport.mFacts.push_back({"process", std::to_string(atoi(theNumbers))});
      if (!theThread.empty())
        theReport.mFacts.push_back({"thread", theThread.substr(theThread.find(':') + 1)});
    }
    mOpen[theThread] = {mReports.size(), 0, theDepth};
    mReports.push_back(theReport);
    return true;
  }

  bool TakeEnd(const std::string &aLine) {
    if (aLine != "log end") return false;
    const auto theOpen = mOpen.find("");
    if (theOpen != mOpen.end()) mReports[theOpen->second.mIndex].mfComplete = true;
    mOpen.erase("");
    return true;
  }

  // "03: ..." at the begin, or behind what a log shows in front of its texts. The words of a stack that may
  // follow have numbers of their own, from 0 on; a log tells the depth of the trace, a trace file does not.
  void TakeFrame(const std::string &aLine) {
    for (auto theOpen = mOpen.begin(); theOpen != mOpen.end(); ++theOpen) {
      Open &theTrace = theOpen->second;
      if (theTrace.mDepth == -1 && theTrace.mNext > 0 && BeginsWith(aLine, "00: ")) theTrace.mfInStack = true;
      if (theTrace.mfInStack) continue;
      const std::string theNumber = (theTrace.mNext < 10 ? "0" : "") + std::to_string(theTrace.mNext) + ": ";
      size_t thePlace = 0;
      if (!BeginsWith(aLine, theNumber)) {
        thePlace = aLine.find(": " + theNumber);
        if (thePlace == std::string::npos) continue;
        thePlace += 2;
      }
      if (ThreadOf(aLine, thePlace) != theOpen->first) continue;
      const auto theFrame = ReadPlace(aLine.substr(thePlace + theNumber.size()));
      if (!theFrame) continue;
      CrashReportText &theReport = mReports[theTrace.mIndex];
      theReport.mFrames.push_back({theTrace.mNext, FrameRole::Caller, *theFrame});
      ++theTrace.mNext;
      if (theTrace.mNext == theTrace.mDepth || theReport.mFrames.size() == kMostFrames) {
        theReport.mfComplete = true;
        mOpen.erase(theOpen);
      }
      return;
    }
  }

  std::vector<CrashReportText> &mReports;
  std::map<std::string, std::string> mSignals;  // by threads
  std::map<std::string, Open> mOpen;            // by threads
};

// The lines, also of a text that has come by way of another system, which ends them by CR and LF.
std::vector<std::string> LinesOfReport(const std::string &aText) {
  std::vector<std::string> theLines = LinesOf(aText);
  for (std::string &theLine : theLines) {
    if (!theLine.empty() && theLine.back() == '\r') theLine.pop_back();
  }
  return theLines;
}

}  // namespace

const char *NameOf(CrashReportText::Kind aKind) {
  switch (aKind) {
    case CrashReportText::Kind::CrashFile:
      return "crash file";
    case CrashReportText::Kind::Trace:
      return "trace file";
    case CrashReportText::Kind::Log:
      return "log";
  }
  return "";
}

std::vector<CrashReportText> ReadCrashReports(const std::string &aText) {
  const std::vector<std::string> theLines = LinesOfReport(aText);
  if (!theLines.empty() && theLines[0] == kFirstLine) return ReadCrashFiles(theLines, aText.back() != '\n');
  std::vector<CrashReportText> theReports;
  Traces theTraces(theReports);
  for (const std::string &theLine : theLines)
    theTraces.Take(theLine);
  std::vector<CrashReportText> theFound;
  for (CrashReportText &theReport : theReports) {
    if (theReport.mFrames.empty()) continue;
    MarkCrashBehindHandler(theReport);
    theFound.push_back(theReport);
  }
  return theFound;
}

}  // namespace tool
