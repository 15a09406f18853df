// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Options and operands of a command, taken apart.
#pragma once

#include "shared/command.h"

#include <zvOS/zvTypes.h>

namespace tool {

// An option is a flag, or has a value: "--port 80" or "--port=80". One that takes a list may be given
// repeatedly.
struct Option {
  const char *mName;    // "--port"
  bool *mfGiven;        // set to true when the option is there; may be NULL when it has a value
  std::string *mValue;  // takes the value; NULL for a flag, and for a list
  std::vector<std::string> *mList = nullptr;
};

// Takes the operands of a command that has no options of its own; "--" ends the options. Complains
// and returns false when there is an option all the same.
bool TakeOperands(const Command &aCommand, const Arguments &anArguments, Arguments &anOperands);

// Complains and returns false when an option is unknown or lacks its value. "--" ends the options;
// of an option given twice the last value holds, unless it takes a list.
bool TakeOptions(const Command &aCommand, const Arguments &anArguments,
                 const std::vector<Option> &someOptions, Arguments &anOperands);

// Reads a whole decimal number between two limits; anything else is false, without a complaint.
bool ReadNumber(const std::string &aText, uint64 aLeast, uint64 aMost, uint64 &aNumber);

// The value of an option as a number. Complains and returns false when it is none between the limits.
bool ReadOption(const Command &aCommand, const char *aName, const std::string &aValue, uint32 aLeast,
                uint32 aMost, uint32 &aNumber);

// One of the names of a list, as its index. Complains, with all names, and returns false when it is
// not one of them.
bool ReadChoice(const Command &aCommand, const char *aName, const std::string &aValue,
                const std::vector<const char *> &someNames, int &anIndex);

}  // namespace tool
