// Whether a policy keeps out what it was told to keep out.
#pragma once

#include <zvOS/zvSocketPolicy.h>

#include <string>

namespace tool {

// Asks a configured policy about every name of the list that its key "exclude-if" was given. Returns what is
// wrong; empty when all are excluded.
std::string ExclusionProblem(zvSocketPolicy *aPolicy, const std::string &aList);

}  // namespace tool
