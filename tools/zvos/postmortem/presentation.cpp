// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "postmortem/presentation.h"

#include "shared/files.h"
#include "shared/json.h"
#include "shared/text.h"

namespace tool {

namespace {

std::string NumberForm(int aNumber) {
  if (aNumber < 0) return "#--";
  return (aNumber < 10 ? "#0" : "#") + std::to_string(aNumber);
}

std::string NameOfModule(const std::string &aPath) {
  const std::string theName = PathParts(aPath).mName;
  return Printable(theName.empty() ? aPath : theName);
}

std::string TextOf(const SourceLine &aLine) {
  return Printable((aLine.mFunction.empty() ? "??" : aLine.mFunction) + " at " + aLine.mFile + ":" +
                   aLine.mLine);
}

const ModuleFile *FileOf(const ResolvedFrame &aFrame, const Resolution &aResolution) {
  return aFrame.mModule < 0 ? nullptr : &aResolution.mModules[static_cast<size_t>(aFrame.mModule)].mFile;
}

// "in libc.so.6", or what else can be said of a frame without a line.
std::string PlaceWithoutLine(const ResolvedFrame &aFrame) {
  const Place &thePlace = aFrame.mFrame.mPlace;
  if (thePlace.mModule.empty()) return HexadecimalForm(thePlace.mAddress) + ", which is in no module";
  std::string theText = aFrame.mFunction.empty() ? thePlace.mSymbol : aFrame.mFunction;
  theText = (theText.empty() ? "??" : Printable(theText)) + " in " + NameOfModule(thePlace.mModule);
  return theText + ", " + (thePlace.mSymbol.empty() ? "" : Printable(thePlace.mSymbol)) + "+" +
         HexadecimalForm(thePlace.mOffset);
}

// A recursion that was inlined is as many equal lines.
std::string InlinedForPeople(const SourceLines &someLines) {
  std::string theText;
  for (size_t i = 1; i < someLines.size();) {
    const std::string theLine = TextOf(someLines[i]);
    size_t theCount = 1;
    while (i + theCount < someLines.size() && TextOf(someLines[i + theCount]) == theLine)
      ++theCount;
    theText += "       inlined into " + theLine;
    theText += theCount > 1 ? ", " + std::to_string(theCount) + " times\n" : "\n";
    i += theCount;
  }
  return theText;
}

// Without its number.
std::string FrameForPeople(const ResolvedFrame &aFrame, const Resolution &aResolution) {
  const ModuleFile *const theFile = FileOf(aFrame, aResolution);
  const bool afUnproven = theFile != nullptr && theFile->mState == ModuleFile::State::Unproven;
  const char *const theEnd = afUnproven ? " (unproven)\n" : "\n";
  if (aFrame.mLines.empty()) return PlaceWithoutLine(aFrame) + (aFrame.mFunction.empty() ? "\n" : theEnd);
  return TextOf(aFrame.mLines[0]) + " in " + NameOfModule(aFrame.mFrame.mPlace.mModule) + theEnd +
         InlinedForPeople(aFrame.mLines);
}

bool IsOfKernel(const std::string &aPath) {
  return BeginsWith(aPath, "[") || BeginsWith(aPath, "linux-gate.so") || BeginsWith(aPath, "linux-vdso.so");
}

const char *HeadingOf(FrameRole aRole) {
  switch (aRole) {
    case FrameRole::Report:
      return "the report itself:\n";
    case FrameRole::Crash:
      return "crashed at:\n";
    case FrameRole::Caller:
      return "called from:\n";
    case FrameRole::OnStack:
      return "the stack also holds these places, of calls that may be over:\n";
  }
  return "";
}

bool HasCrash(const Resolution &aResolution) {
  for (const ResolvedFrame &theFrame : aResolution.mFrames) {
    if (theFrame.mFrame.mRole == FrameRole::Crash) return true;
  }
  return false;
}

const char *RoleForScripts(FrameRole aRole) {
  switch (aRole) {
    case FrameRole::Report:
      return "report";
    case FrameRole::Crash:
      return "crash";
    case FrameRole::Caller:
      return "caller";
    case FrameRole::OnStack:
      return "stack";
  }
  return "";
}

const char *StateForScripts(ModuleFile::State aState) {
  switch (aState) {
    case ModuleFile::State::Matched:
      return "matched";
    case ModuleFile::State::Unproven:
      return "unproven";
    case ModuleFile::State::Missing:
      return "missing";
  }
  return "";
}

std::string JsonTexts(const std::vector<std::string> &someTexts) {
  std::string theResult;
  for (const std::string &theText : someTexts)
    theResult += (theResult.empty() ? "" : ", ") + JsonText(theText);
  return "[" + theResult + "]";
}

std::string FrameForScripts(const ResolvedFrame &aFrame, const Resolution &aResolution) {
  const Place &thePlace = aFrame.mFrame.mPlace;
  const ModuleFile *const theFile = FileOf(aFrame, aResolution);
  std::string theLines;
  for (const SourceLine &theLine : aFrame.mLines) {
    theLines += std::string(theLines.empty() ? "" : ", ") +
                "{\"function\": " + JsonTextOrNull(theLine.mFunction) +
                ", \"file\": " + JsonText(theLine.mFile) + ", \"line\": " + theLine.mLine + "}";
  }
  return "{\"number\": " + std::to_string(aFrame.mFrame.mNumber) + ", \"role\": \"" +
         RoleForScripts(aFrame.mFrame.mRole) + "\", \"address\": \"" + HexadecimalForm(thePlace.mAddress) +
         "\", \"module\": " + JsonTextOrNull(thePlace.mModule) +
         ", \"symbol\": " + JsonTextOrNull(aFrame.mFunction.empty() ? thePlace.mSymbol : aFrame.mFunction) +
         ", \"offset\": \"" + HexadecimalForm(thePlace.mOffset) + "\", \"proven\": " +
         (theFile != nullptr && theFile->mState == ModuleFile::State::Matched ? "true" : "false") +
         ", \"lines\": [" + theLines + "]}";
}

std::string ModuleForScripts(const ResolvedModule &aModule) {
  return "{\"path\": " + JsonText(aModule.mModule.mPath) +
         ", \"buildId\": " + JsonTextOrNull(aModule.mModule.mBuildId) +
         ", \"revision\": " + JsonTextOrNull(aModule.mModule.mRevision) + ", \"state\": \"" +
         StateForScripts(aModule.mFile.mState) + "\", \"file\": " + JsonTextOrNull(aModule.mFile.mPath) +
         ", \"hasLines\": " + (aModule.mFile.mfLines ? "true" : "false") +
         ", \"refused\": " + JsonTexts(aModule.mFile.mRefused) +
         ", \"lookedAt\": " + JsonTexts(aModule.mFile.mLookedAt) + "}";
}

}  // namespace

std::string FramesForPeople(const Resolution &aResolution) {
  std::string theText, theFormer;
  const bool afFromCrash = HasCrash(aResolution);
  const char *theHeading = "";
  int theRepetitions = 0;
  const auto fnEndRepetitions = [&] {
    if (theRepetitions > 0) theText += "       repeated, " + std::to_string(theRepetitions + 1) + " in all\n";
    theRepetitions = 0;
  };
  for (const ResolvedFrame &theFrame : aResolution.mFrames) {
    if (afFromCrash && theFrame.mFrame.mRole == FrameRole::Report) continue;
    const char *const theOther = HeadingOf(theFrame.mFrame.mRole);
    const std::string theLine = FrameForPeople(theFrame, aResolution);
    if (theOther == theHeading && theLine == theFormer) {
      ++theRepetitions;
      continue;
    }
    fnEndRepetitions();
    if (theOther != theHeading) theText += theOther;
    theHeading = theOther;
    theFormer = theLine;
    theText += "  " + NumberForm(theFrame.mFrame.mNumber) + "  " + theLine;
  }
  fnEndRepetitions();
  return theText;
}

std::string ModulesForPeople(const Resolution &aResolution) {
  std::string theText;
  for (const ResolvedModule &theModule : aResolution.mModules) {
    const ModuleFile &theFile = theModule.mFile;
    theText += "  " + Printable(theModule.mModule.mPath);
    if (!theModule.mModule.mRevision.empty()) theText += ", " + Printable(theModule.mModule.mRevision);
    if (!theModule.mModule.mBuildId.empty()) theText += ", build id " + theModule.mModule.mBuildId;
    theText += "\n";
    for (const std::string &theRefused : theFile.mRefused)
      theText += "    REFUSED, another build: " + Printable(theRefused) + "\n";
    if (IsOfKernel(theModule.mModule.mPath)) {
      theText += "    the kernel's own, which is in no file\n";
    } else if (theFile.mState == ModuleFile::State::Missing) {
      theText += "    MISSING, not found among:\n";
      for (const std::string &thePath : theFile.mLookedAt)
        theText += "      " + Printable(thePath) + "\n";
    } else {
      theText +=
          std::string("    ") +
          (theFile.mState == ModuleFile::State::Unproven ? "UNPROVEN, it may be of another build: " : "") +
          (theFile.mfLines ? "lines from " : "no lines, functions from ") + Printable(theFile.mPath) + "\n";
    }
  }
  return theText;
}

std::string ForScripts(const Resolution &aResolution, int anIndent) {
  const std::string theIndent(static_cast<size_t>(anIndent), ' ');
  std::string theFacts;
  for (const auto &theFact : aResolution.mReport.mFacts)
    theFacts += (theFacts.empty() ? "" : ", ") + JsonText(theFact.first) + ": " + JsonText(theFact.second);
  std::vector<std::string> theFrames;
  for (const ResolvedFrame &theFrame : aResolution.mFrames)
    theFrames.push_back(FrameForScripts(theFrame, aResolution));
  std::vector<std::string> theModules;
  for (const ResolvedModule &theModule : aResolution.mModules)
    theModules.push_back(ModuleForScripts(theModule));
  return "{\n" + theIndent + "  \"kind\": \"" + NameOf(aResolution.mReport.mKind) + "\",\n" + theIndent +
         "  \"complete\": " + (aResolution.mReport.mfComplete ? "true" : "false") + ",\n" + theIndent +
         "  \"facts\": {" + theFacts + "},\n" + theIndent +
         "  \"frames\": " + JsonList(theFrames, anIndent + 2) + ",\n" + theIndent +
         "  \"modules\": " + JsonList(theModules, anIndent + 2) + ",\n" + theIndent +
         "  \"missingProgram\": " + JsonTextOrNull(aResolution.mMissing) + "\n" + theIndent + "}";
}

}  // namespace tool
