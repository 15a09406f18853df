// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "support/Output.h"

#include <stdarg.h>
#include <stdio.h>

namespace zvbench {

std::string Format(const char *aFormat, ...) {
  char theText[512];
  va_list theArguments;
  va_start(theArguments, aFormat);
  vsnprintf(theText, sizeof(theText), aFormat, theArguments);
  va_end(theArguments);
  return theText;
}

std::string TimeText(double aNanoseconds) {
  if (aNanoseconds >= 1e6) return Format("%.4g ms", aNanoseconds / 1e6);
  if (aNanoseconds >= 1e3) return Format("%.4g us", aNanoseconds / 1e3);
  return Format("%.4g ns", aNanoseconds);
}

std::string Quoted(const std::string &aText) {
  return "\"" + aText + "\"";
}

std::string MarkdownRow(const std::vector<std::string> &someCells) {
  std::string theRow = "|";
  for (const std::string &theCell : someCells)
    theRow += " " + theCell + " |";
  return theRow + "\n";
}

std::string MarkdownHead(const std::vector<std::string> &someCells) {
  std::string theLine = "|";
  for (size_t theColumn = 0; theColumn < someCells.size(); ++theColumn)
    theLine += "---|";
  return MarkdownRow(someCells) + theLine + "\n";
}

void PrintFacts(const Facts &aFacts) {
  for (const auto &[theName, theValue] : aFacts)
    printf("%-11s %s\n", theName.c_str(), theValue.c_str());
  printf("\n");
}

std::string FactsAsComments(const Facts &aFacts) {
  std::string theText;
  for (const auto &[theName, theValue] : aFacts)
    theText += "# " + theName + ": " + theValue + "\n";
  return theText;
}

std::string FactsAsSentence(const Facts &aFacts) {
  std::string theText;
  for (const auto &[theName, theValue] : aFacts)
    theText += (theText.empty() ? "" : "; ") + theName + ": " + theValue;
  return theText + ".\n";
}

}  // namespace zvbench
