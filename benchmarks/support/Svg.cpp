// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "support/Svg.h"

#include "support/Output.h"

namespace zvbench {
namespace {

std::string Escaped(const std::string &aText) {
  std::string theText;
  for (const char theCharacter : aText) {
    if (theCharacter == '&') {
      theText += "&amp;";
    } else if (theCharacter == '<') {
      theText += "&lt;";
    } else {
      theText += theCharacter;
    }
  }
  return theText;
}

}  // namespace

std::string TextAt(const char *aClass, double aLeft, double aTop, const std::string &aText) {
  return Format("<text class=\"%s\" x=\"%.1f\" y=\"%.1f\">", aClass, aLeft, aTop) + Escaped(aText) +
         "</text>\n";
}

std::string Line(const char *aClass, double aLeft, double aTop, double aRight, double aBottom) {
  return Format("<line class=\"%s\" x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\"/>\n", aClass, aLeft, aTop,
                aRight, aBottom);
}

std::string Box(const char *aColour, double aLeft, double aTop, double aWidth, double aHeight) {
  return Format("<rect x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" height=\"%.1f\" fill=\"%s\"/>\n", aLeft, aTop,
                aWidth, aHeight, aColour);
}

std::string Footnotes(const std::string &aText, const Facts &aFacts, double &aTop) {
  std::string theText = TextAt("fact", 20, aTop += 14, aText);
  for (const auto &[theName, theValue] : aFacts)
    theText += TextAt("fact", 20, aTop += 15, theName + ": " + theValue);
  aTop += 16;
  return theText;
}

std::string Picture(const char *aStyle, double aWidth, double aHeight, const std::string &aBody) {
  return Format("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\" ", aWidth,
                aHeight) +
         Format("viewBox=\"0 0 %.0f %.0f\">\n", aWidth, aHeight) +
         "<style>text{font:12px sans-serif;fill:#222}.title{font-size:15px;font-weight:bold}"
         ".fact{font-size:11px;fill:#666}.grid{stroke:#e4e4e4}" +
         aStyle + "</style>\n<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n" + aBody + "</svg>\n";
}

}  // namespace zvbench
