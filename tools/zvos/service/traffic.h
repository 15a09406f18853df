// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What --trace switches on: the library's live table of sockets, and its files of what connections send
// and receive.
#pragma once

#include "shared/network.h"

namespace tool {

constexpr char kTrafficFolder[] = "socket";  // in the current folder

// Switches both on, and makes the folder.
MaybeProblem StartTrace();

// The traffic file of a connection, as the library names it, and what all names of that peer begin with.
std::string TrafficFileStart(const Endpoint &aPeer);
std::string TrafficFile(const Endpoint &aPeer, zvSocket aSocket);

// Makes an empty traffic file where there is none yet: the library writes into existing ones only.
bool MakeTrafficFile(const Endpoint &aPeer, zvSocket aSocket);

}  // namespace tool
