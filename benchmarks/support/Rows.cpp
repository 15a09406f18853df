// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "support/Rows.h"

namespace zvbench {

std::vector<Row> AllRows() {
  std::vector<Row> theRows;
  for (const auto &theGroup :
       {SyncRows(), ThreadRows(), FileRows(), PathRows(), LogRows(), LogRecordRows(), LogPeerRows(),
        SocketRows(), SelectRows(), InterfaceRows(), ServiceRows(), PipeRows(), DirRows(), ProcessRows(),
        EnvironmentRows(), RevisionRows(), CppRows()}) {
    theRows.insert(theRows.end(), theGroup.begin(), theGroup.end());
  }
  return theRows;
}

}  // namespace zvbench
