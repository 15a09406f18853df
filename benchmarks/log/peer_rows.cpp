// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What a record costs beside the same message in logs that others use, each record in the file before the
// call returns: what a log is read for is often the last line before a crash.

#include <stdio.h>

#include "log/LogLine.h"
#include "support/Rows.h"

#ifdef ZVBENCH_GLIB
#include <glib.h>
#endif
#ifdef ZVBENCH_SPDLOG
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

namespace zvbench {
namespace {

[[maybe_unused]] void SayLeftOut(const char *aName, const char *aPackage) {
  fprintf(stderr,
          "zvos_bench: the rows beside %s are left out: there was no such library for this processor (%s)\n",
          aName, aPackage);
}

#ifdef ZVBENCH_GLIB

// GLib makes the line, and this puts it where GLib would: into a stream, which is flushed.
GLogWriterOutput WriteToStream(GLogLevelFlags aLevel, const GLogField *aFields, gsize aCount,
                               gpointer aStream) {
  char *const theLine = g_log_writer_format_fields(aLevel, aFields, aCount, FALSE);
  FILE *const theStream = *static_cast<FILE **>(aStream);
  fprintf(theStream, "%s\n", theLine);
  fflush(theStream);
  g_free(theLine);
  return G_LOG_WRITER_HANDLED;
}

struct GLibLog {
  const std::shared_ptr<LogFile> mFile = std::make_shared<LogFile>();
  static FILE *sStream;  // a writer can be set once in the life of a program
  GLibLog() {
    if (sStream == nullptr) g_log_set_writer_func(WriteToStream, &sStream, nullptr);
    sStream = fopen(mFile->Path(), "ae");
    if (sStream == nullptr) Fail("cannot open a file in memory");
  }
  ~GLibLog() { fclose(sStream); }
  GLibLog(const GLibLog &) = delete;
  GLibLog &operator=(const GLibLog &) = delete;
};
FILE *GLibLog::sStream = nullptr;

Sides BesideGLib(Threads aThreads) {
  const auto theLog = std::make_shared<GLibLog>();
  return BesideOurLog(
      aThreads, theLog->mFile,
      [](uint32 aCount) {
        for (uint32 theIndex = 0; theIndex < aCount; ++theIndex)
          g_log("FILE", G_LOG_LEVEL_WARNING, "%s:%d: zvFile: cannot open '%s' (error = %d)", __FILE__,
                __LINE__, kLogPath, kLogError);
      },
      theLog);
}

void AddGLib(std::vector<Row> *aRows) {
  aRows->push_back({"log beside GLib", "g_log and a flush", "a record to a file", RatioAtMost(1.0),
                    [] { return BesideGLib(Threads::One); }});
  aRows->push_back({"log beside GLib, four threads", "g_log and a flush", "a record to a file",
                    RatioAtMost(1.0), [] { return BesideGLib(Threads::Four); }});
}

#else

void AddGLib(std::vector<Row> *) {
  SayLeftOut("GLib", "Debian: libglib2.0-dev");
}

#endif
#ifdef ZVBENCH_SPDLOG

Sides BesideSpdlog(Threads aThreads) {
  const auto theFile = std::make_shared<LogFile>();
  const auto theSink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(theFile->Path());
  const auto theLogger = std::make_shared<spdlog::logger>("FILE", theSink);
  theLogger->set_pattern("%Y-%m-%dT%H:%M:%S.%fZ %l %n [%P:%t] %g:%#: %v", spdlog::pattern_time_type::utc);
  theLogger->flush_on(spdlog::level::trace);
  return BesideOurLog(
      aThreads, theFile,
      [theLogger](uint32 aCount) {
        for (uint32 theIndex = 0; theIndex < aCount; ++theIndex)
          SPDLOG_LOGGER_ERROR(theLogger, "zvFile: cannot open '{}' (error = {})", kLogPath, kLogError);
      },
      theLogger);
}

void AddSpdlog(std::vector<Row> *aRows) {
  aRows->push_back({"log beside spdlog", "a record and a flush", "a record to a file", RatioAtMost(1.0),
                    [] { return BesideSpdlog(Threads::One); }});
  aRows->push_back({"log beside spdlog, four threads", "a record and a flush", "a record to a file",
                    RatioAtMost(1.0), [] { return BesideSpdlog(Threads::Four); }});
}

#else

void AddSpdlog(std::vector<Row> *) {
  SayLeftOut("spdlog", "Debian: libspdlog-dev");
}

#endif

}  // namespace

std::vector<Row> LogPeerRows() {
  std::vector<Row> theRows;
  AddGLib(&theRows);
  AddSpdlog(&theRows);
  return theRows;
}

}  // namespace zvbench
