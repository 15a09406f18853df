// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What all results are written with: texts, and the facts at their head.
#pragma once

#include <string>

#include "support/Machine.h"

namespace zvbench {

// printf into a text.
std::string Format(const char *aFormat, ...) __attribute__((format(printf, 1, 2)));

// "14.34 ns", "1.424 ms": four digits, in the unit that suits them.
std::string TimeText(double aNanoseconds);

std::string Quoted(const std::string &aText);

// A row of a table in Markdown; the line under the head of one is made for so many columns.
std::string MarkdownRow(const std::vector<std::string> &someCells);
std::string MarkdownHead(const std::vector<std::string> &someCells);

void PrintFacts(const Facts &aFacts);
std::string FactsAsComments(const Facts &aFacts);  // of comma-separated values
std::string FactsAsSentence(const Facts &aFacts);

}  // namespace zvbench
