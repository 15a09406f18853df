// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The marks of which pictures are made. How a class of them looks is said by the picture's style.
#pragma once

#include <string>

#include "support/Machine.h"

namespace zvbench {

std::string TextAt(const char *aClass, double aLeft, double aTop, const std::string &aText);
std::string Line(const char *aClass, double aLeft, double aTop, double aRight, double aBottom);
std::string Box(const char *aColour, double aLeft, double aTop, double aWidth, double aHeight);

// A line for what the picture shows and one for each fact, of the class "fact". Moves aTop past them.
std::string Footnotes(const std::string &aText, const Facts &aFacts, double &aTop);

// All of it, on white. aStyle says how the classes look beside those that all pictures have: "title", "fact",
// "grid".
std::string Picture(const char *aStyle, double aWidth, double aHeight, const std::string &aBody);

}  // namespace zvbench
