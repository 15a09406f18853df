// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The results as a table, as comma-separated values and as a picture.
#pragma once

#include <string>
#include <vector>

#include "support/Measure.h"
#include "support/Output.h"

namespace zvbench {

void PrintTableHead();
void PrintTableRow(const Result &aResult);
void PrintTableNotes(const Plan &aPlan);

std::string MakeCsv(const Facts &aFacts, const std::vector<Result> &aResults);
std::string MakeMarkdown(const Facts &aFacts, const std::vector<Result> &aResults);
std::string MakeChart(const Facts &aFacts, const std::vector<Result> &aResults);

// "1.034", or "0.42 ns" for an added time.
std::string FormatFigure(Figure aFigure, double aValue);
std::string FormatVerdict(const Summary &aSummary);

}  // namespace zvbench
