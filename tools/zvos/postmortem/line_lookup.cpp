// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "postmortem/line_lookup.h"

#include "postmortem/elf_file.h"
#include "shared/child_process.h"
#include "shared/text.h"

#include <elf.h>

#include <algorithm>
#include <cstdlib>

namespace tool {

namespace {

// That of elfutils reads the files of every processor, and names inlined functions best. That of binutils
// reads those of its own processor, unless it was built for several.
std::vector<const char *> ProgramsFor(unsigned aMachine) {
  if (aMachine == EM_ARM)
    return {"eu-addr2line", "arm-linux-gnueabihf-addr2line", "llvm-addr2line", "addr2line"};
  if (aMachine == EM_386 || aMachine == EM_X86_64)
    return {"eu-addr2line", "addr2line", "x86_64-linux-gnu-addr2line", "i686-linux-gnu-addr2line",
            "llvm-addr2line"};
  return {"eu-addr2line", "llvm-addr2line", "addr2line"};
}

const char *PackagesFor(unsigned aMachine) {
  if (aMachine == EM_ARM) return "elfutils or binutils-arm-linux-gnueabihf";
  return "elfutils or binutils";
}

// "main inlined at ..." shows in one line what the next ones tell. "$d" and the like mark what is no
// instruction on ARM; programs for another processor take them for names.
std::string FunctionIn(const std::string &aLine) {
  const std::string theName = aLine.substr(0, aLine.find(" inlined at "));
  return theName == "??" || BeginsWith(theName, "$") ? "" : theName;
}

bool IsNumber(const std::string &aText) {
  return !aText.empty() && aText.find_first_not_of("0123456789") == std::string::npos;
}

// The path without what goes to and fro in it, as from the folder of the source.
std::string TidyPath(const std::string &aPath) {
  std::vector<std::string> theParts;
  for (size_t theStart = 0; theStart <= aPath.size();) {
    const size_t theEnd = std::min(aPath.find('/', theStart), aPath.size());
    const std::string thePart = aPath.substr(theStart, theEnd - theStart);
    theStart = theEnd + 1;
    if (thePart.empty() || thePart == ".") continue;
    if (thePart != "..") {
      theParts.push_back(thePart);
    } else if (!theParts.empty()) {
      theParts.pop_back();
    }
  }
  std::string theResult = BeginsWith(aPath, "/") ? "/" : "";
  for (size_t i = 0; i < theParts.size(); ++i)
    theResult += (i > 0 ? "/" : "") + theParts[i];
  return theResult;
}

// "file:12", "file:12:5" with a column, or "file:12 (discriminator 3)".
SourceLine LineIn(const std::string &aText) {
  std::string theText = aText.substr(0, aText.find(" (discriminator"));
  size_t theColon = theText.rfind(':');
  if (theColon == std::string::npos) return {};
  const size_t theOther = theColon > 0 ? theText.rfind(':', theColon - 1) : std::string::npos;
  if (theOther != std::string::npos && IsNumber(theText.substr(theColon + 1)) &&
      IsNumber(theText.substr(theOther + 1, theColon - theOther - 1))) {
    theText.resize(theColon);
    theColon = theOther;
  }
  const std::string theLine = theText.substr(theColon + 1);
  const std::string theFile = theText.substr(0, theColon);
  if (theFile == "??" || !IsNumber(theLine) || theLine == "0") return {};
  return {"", TidyPath(theFile), theLine};
}

// Each address is repeated, and behind it there are two lines for each function.
std::map<uint64, SourceLines> ReadAnswer(const std::string &anAnswer) {
  std::map<uint64, SourceLines> theResult;
  const std::vector<std::string> theTexts = LinesOf(anAnswer);
  uint64 theAddress = 0;
  for (size_t i = 0; i < theTexts.size();) {
    if (BeginsWith(theTexts[i], "0x")) {
      theAddress = strtoull(theTexts[i++].c_str(), nullptr, 16);
      continue;
    }
    if (i + 1 == theTexts.size()) break;
    SourceLine theLine = LineIn(theTexts[i + 1]);
    theLine.mFunction = FunctionIn(theTexts[i]);
    if (!theLine.mFile.empty()) theResult[theAddress].push_back(theLine);
    i += 2;
  }
  return theResult;
}

}  // namespace

std::map<uint64, SourceLines> LookUpLines(const std::string &aFile, const std::vector<uint64> &someAddresses,
                                          std::string &aMissing) {
  const unsigned theMachine = ElfFile(aFile).Machine();
  for (const char *theName : ProgramsFor(theMachine)) {
    const std::string theProgram = FindProgram(theName);
    if (theProgram.empty()) continue;
    std::vector<std::string> theWords = {theProgram, "-f", "-i", "-C", "-a", "-e", aFile};
    for (const uint64 theAddress : someAddresses)
      theWords.push_back(HexadecimalForm(theAddress));
    std::string theAnswer;
    if (ReadFromProgram(theWords, theAnswer) && BeginsWith(theAnswer, "0x")) return ReadAnswer(theAnswer);
  }
  aMissing =
      std::string("no addr2line for these files is installed: get the package ") + PackagesFor(theMachine);
  return {};
}

}  // namespace tool
