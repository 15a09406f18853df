// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The commands. Each has a file of its own that defines it; main.cpp holds the table of them. To add one:
// a file, a line here, a line in the table.
#pragma once

#include "shared/command.h"

namespace tool {

extern const Command kCommand_Console;
extern const Command kCommand_Crash;
extern const Command kCommand_Demo;
extern const Command kCommand_Get;
extern const Command kCommand_IGMP;
extern const Command kCommand_List;
extern const Command kCommand_Lock;
extern const Command kCommand_Net;
extern const Command kCommand_Pipe;
extern const Command kCommand_Plugin;
extern const Command kCommand_Revision;
extern const Command kCommand_Run;
extern const Command kCommand_Serve;

}  // namespace tool
