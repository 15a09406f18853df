// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The results as a table, as comma-separated values and as a picture.
#pragma once

#include <string>
#include <vector>

#include "support/Machine.h"
#include "support/Measure.h"

namespace zvbench {

void PrintFacts(const Facts &aFacts);
void PrintTableHead();
void PrintTableRow(const Result &aResult);
void PrintTableNotes(const Plan &aPlan);

std::string MakeCsv(const Facts &aFacts, const std::vector<Result> &aResults);
std::string MakeChart(const Facts &aFacts, const std::vector<Result> &aResults);

// "1.034", or "0.42 ns" for an added time.
std::string FormatFigure(Figure aFigure, double aValue);
std::string FormatVerdict(const Summary &aSummary);

// printf into a text.
std::string Format(const char *aFormat, ...) __attribute__((format(printf, 1, 2)));

}  // namespace zvbench
