// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "postmortem/resolution.h"

#include "postmortem/elf_file.h"

#include <algorithm>
#include <optional>

namespace tool {

namespace {

int ModuleOf(const Place &aPlace, Resolution &aResult, DebugFiles &someFiles) {
  if (aPlace.mModule.empty()) return -1;
  for (size_t i = 0; i < aResult.mModules.size(); ++i) {
    if (aResult.mModules[i].mModule.mPath == aPlace.mModule) return static_cast<int>(i);
  }
  ResolvedModule theModule;
  theModule.mModule.mPath = aPlace.mModule;
  for (const ReportModule &theOne : aResult.mReport.mModules) {
    if (theOne.mPath == aPlace.mModule) theModule.mModule = theOne;
  }
  // A module of a crash file without a build id is no more certain than one of a trace.
  theModule.mFile = someFiles.Find(theModule.mModule);
  aResult.mModules.push_back(theModule);
  return static_cast<int>(aResult.mModules.size()) - 1;
}

// The address to look for in the file. Where a call returns to may be the next line already, or the next
// function.
std::optional<uint64> AddressInFile(const Frame &aFrame, const ElfFile &aFile) {
  uint64 theAddress = aFrame.mPlace.mOffset;
  if (!aFrame.mPlace.mSymbol.empty()) {
    const std::optional<uint64> theSymbol = aFile.AddressOf(aFrame.mPlace.mSymbol);
    if (!theSymbol) return {};
    theAddress += *theSymbol;
  }
  return aFrame.mRole != FrameRole::Crash && theAddress > 0 ? theAddress - 1 : theAddress;
}

// All frames of a module at once, so that its file is read once.
void ResolveModule(int aModule, Resolution &aResult) {
  const std::string &thePath = aResult.mModules[static_cast<size_t>(aModule)].mFile.mPath;
  if (thePath.empty()) return;
  const ElfFile theFile(thePath);
  std::map<size_t, uint64> theAddresses;  // by frames
  std::vector<uint64> theQuestions;
  for (size_t i = 0; i < aResult.mFrames.size(); ++i) {
    if (aResult.mFrames[i].mModule != aModule) continue;
    const std::optional<uint64> theAddress = AddressInFile(aResult.mFrames[i].mFrame, theFile);
    if (!theAddress) continue;
    theAddresses[i] = *theAddress;
    // Once each: of a recursion there are many.
    if (std::find(theQuestions.begin(), theQuestions.end(), *theAddress) == theQuestions.end())
      theQuestions.push_back(*theAddress);
  }
  if (theQuestions.empty()) return;
  std::map<uint64, SourceLines> theAnswers;
  if (theFile.HasLines()) theAnswers = LookUpLines(thePath, theQuestions, aResult.mMissing);
  for (const auto &theEntry : theAddresses) {
    ResolvedFrame &theFrame = aResult.mFrames[theEntry.first];
    theFrame.mLines = theAnswers[theEntry.second];
    if (theFrame.mLines.empty()) {
      theFrame.mFunction = theFile.FunctionAt(theEntry.second);
    } else if (theFrame.mLines.back().mFunction.empty()) {
      theFrame.mLines.back().mFunction = theFile.FunctionAt(theEntry.second);
    }
  }
}

}  // namespace

bool Resolution::HasLines() const {
  for (const ResolvedFrame &theFrame : mFrames) {
    if (theFrame.mFrame.mRole != FrameRole::Report && !theFrame.mLines.empty()) return true;
  }
  return false;
}

Resolution Resolve(const CrashReportText &aReport, DebugFiles &someFiles) {
  Resolution theResult;
  theResult.mReport = aReport;
  for (const Frame &theFrame : aReport.mFrames) {
    ResolvedFrame theResolved;
    theResolved.mFrame = theFrame;
    theResolved.mModule = ModuleOf(theFrame.mPlace, theResult, someFiles);
    theResult.mFrames.push_back(theResolved);
  }
  for (size_t i = 0; i < theResult.mModules.size(); ++i)
    ResolveModule(static_cast<int>(i), theResult);
  return theResult;
}

}  // namespace tool
