// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// How `zvos serve` and `zvos get` talk: one file per TCP connection, and the server speaks first.
//
//   server   zvos-files 1 ready\n    or, and then it closes:   zvos-files 1 busy TEXT\n
//                                                              zvos-files 1 denied TEXT\n
//   client   get NAME\n
//   server   data LENGTH\n           or, and then it closes:   missing TEXT\n    no such file to be had
//                                                              busy TEXT\n       try again later
//                                                              refused TEXT\n    not a request
//   server   LENGTH bytes
//   server   crc32 XXXXXXXX\n        checksum of these bytes, eight hexadecimal digits
//   server   closes
//
// NAME is the path of a file below the folder that is served. Its bytes outside of printable ASCII,
// and '%', are written as '%' and two hexadecimal digits. A line has at most kLineLimit bytes, its end
// included. A server that cannot go on closes before the last line, so that a client knows. Because
// the client waits for the first line, a refusal never meets data on its way to a closed connection,
// which would destroy it.
#pragma once

#include <zvOS/zvTypes.h>

#include <string>

namespace tool {

constexpr size_t kLineLimit = 8192;

constexpr char kGreeting[] = "zvos-files 1 ";
constexpr char kWord_Ready[] = "ready";
constexpr char kWord_Busy[] = "busy";
constexpr char kWord_Denied[] = "denied";
constexpr char kWord_Get[] = "get";
constexpr char kWord_Data[] = "data";
constexpr char kWord_Missing[] = "missing";
constexpr char kWord_Refused[] = "refused";
constexpr char kWord_Checksum[] = "crc32";

// Why a server does not go on: one of the words, and a text for people behind it.
struct Refusal {
  const char *mWord;
  std::string mReason;
};

// The most that is sent or received in one piece.
constexpr size_t kPieceSize = 64 * 1024;

// A name as it is written in a request, and back; false when a text is no such form.
std::string EncodeName(const std::string &aName);
bool DecodeName(const std::string &aText, std::string &aName);

std::string ChecksumText(uint32 aChecksum);

// Takes a line apart: "data 5" is the word "data" and the text "5".
bool HasWord(const std::string &aLine, const char *aWord, std::string &aText);

}  // namespace tool
