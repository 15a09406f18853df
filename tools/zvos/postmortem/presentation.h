// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What people see of a resolved report.
#pragma once

#include "postmortem/resolution.h"

#include <string>

namespace tool {

// The frames, from what crashed on; each in a line, with those that it was inlined into below.
std::string FramesForPeople(const Resolution &aResolution);

// Where the lines are from, what is missing and what was refused.
std::string ModulesForPeople(const Resolution &aResolution);

// The whole report as a JSON object, indented so far.
std::string ForScripts(const Resolution &aResolution, int anIndent);

}  // namespace tool
