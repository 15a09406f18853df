// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The rows, a function per file of rows.
#pragma once

#include <vector>

#include "support/Bench.h"

namespace zvbench {

std::vector<Row> SyncRows();
std::vector<Row> ThreadRows();
std::vector<Row> FileRows();
std::vector<Row> PathRows();
std::vector<Row> LogRows();
std::vector<Row> LogRecordRows();
std::vector<Row> LogPeerRows();
std::vector<Row> SocketRows();
std::vector<Row> SelectRows();
std::vector<Row> InterfaceRows();
std::vector<Row> ServiceRows();
std::vector<Row> PipeRows();
std::vector<Row> DirRows();
std::vector<Row> ProcessRows();
std::vector<Row> EnvironmentRows();
std::vector<Row> RevisionRows();
std::vector<Row> CppRows();

// All rows, in the order of the report.
std::vector<Row> AllRows();

}  // namespace zvbench
