// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "service/server_connection.h"

#include "shared/checksum.h"
#include "shared/clock.h"
#include "shared/text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace tool {

namespace {

constexpr char kLabel[] = "zvos serve: client";

// After so many pieces it is the turn of others.
constexpr int kPiecesPerTurn = 4;

// What is taken from a client that talks without being asked, before its connection is closed.
constexpr int kMostDropped = 1024 * 1024;

bool WouldWait() {
  return zvSocketLastErrorIsWouldBlock() != 0 || zvSocketGetLastError() == EINTR;
}

}  // namespace

ServerConnection::ServerConnection(zvSocket aSocket, const Endpoint &aPeer, const ServedFolder &aFolder)
    : mSocket(aSocket, kLabel),
      mPeer(aPeer),
      mFolder(aFolder),
      mTextSent(0),
      mfHasFile(false),
      mfLastText(false),
      mSentBytes(0),
      mChecksum(0),
      mLastProgress(Milliseconds()),
      mOutcome(kOpen),
      mOutcomeWhenSent(kOpen) {}

ServerConnection::Wants ServerConnection::Greet() {
  mText = std::string(kGreeting) + kWord_Ready + "\n";
  Wants theWants = kToReceive;
  SendText(theWants);
  return theWants;
}

ServerConnection::Wants ServerConnection::TurnAway(const Refusal &aRefusal) {
  Refuse(aRefusal);
  mText.insert(0, kGreeting);
  Wants theWants = kEnd;
  SendText(theWants);
  // A few bytes on a new connection need no waiting; when they do, the client is none.
  if (theWants != kEnd) End(kBroken, "does not listen");
  return kEnd;
}

ServerConnection::Wants ServerConnection::TakeTurn(char *aBuffer) {
  Wants theWants = kToReceive;
  if (!SendText(theWants)) return theWants;
  if (!mfHasFile) {
    theWants = ReceiveRequest();
    if (theWants != kTurn) return theWants;
    if (!SendText(theWants)) return theWants;
  }
  return SendFile(aBuffer);
}

ServerConnection::Wants ServerConnection::ReceiveRequest() {
  char thePiece[1024];
  while (mRequest.size() < kLineLimit) {
    const size_t theRoom = std::min(sizeof(thePiece), kLineLimit - mRequest.size());
    const int theCount = zvSocketRecv(Socket(), thePiece, static_cast<int>(theRoom), 0, kLabel);
    if (theCount == 0) return End(kBroken, "left without a request");
    if (theCount < 0) {
      return WouldWait() ? kToReceive : End(kBroken, strerror(zvSocketGetLastError()));
    }
    mRequest.append(thePiece, static_cast<size_t>(theCount));
    const size_t theEnd = mRequest.find('\n');
    if (theEnd == std::string::npos) continue;
    Answer(mRequest.substr(0, theEnd));
    mLastProgress = Milliseconds();
    return kTurn;
  }
  Refuse({kWord_Refused, "the request is too long"});
  return kTurn;
}

void ServerConnection::Answer(const std::string &aRequest) {
  std::string theText;
  if (!HasWord(aRequest, kWord_Get, theText) || !DecodeName(theText, mName)) {
    Refuse({kWord_Refused, "the request is not understood"});
    return;
  }
  if (const auto theRefusal = mFolder.OpenFile(mName, mFile)) {
    Refuse(*theRefusal);
    return;
  }
  mfHasFile = true;
  mText = std::string(kWord_Data) + " " + std::to_string(mFile.Size()) + "\n";
}

void ServerConnection::Refuse(const Refusal &aRefusal) {
  mText = std::string(aRefusal.mWord) + " " + aRefusal.mReason + "\n";
  mfLastText = true;
  mOutcomeWhenSent = kRefused;
  mReason = aRefusal.mReason;
}

// True when nothing is left of the text; otherwise what is wanted.
bool ServerConnection::SendText(Wants &aWants) {
  while (mTextSent < mText.size()) {
    size_t theSent = 0;
    const Wants theWants = SendOrEnd(mText.data() + mTextSent, mText.size() - mTextSent, theSent);
    mTextSent += theSent;
    if (theWants != kTurn) {
      aWants = theWants;
      return false;
    }
  }
  mText.clear();
  mTextSent = 0;
  if (!mfLastText) return true;
  aWants = End(mOutcomeWhenSent, mReason);
  return false;
}

ServerConnection::Wants ServerConnection::SendFile(char *aBuffer) {
  for (int i = 0; i < kPiecesPerTurn && mSentBytes < mFile.Size(); ++i) {
    const size_t theWanted = static_cast<size_t>(std::min<uint64>(kPieceSize, mFile.Size() - mSentBytes));
    const int theCount = mFile.ReadAt(mSentBytes, aBuffer, theWanted);
    if (theCount <= 0)
      return End(kBroken, theCount == 0 ? "the file became shorter" : "the file is unreadable");
    size_t theSent = 0;
    const Wants theWants = SendOrEnd(aBuffer, static_cast<size_t>(theCount), theSent);
    mChecksum = ContinueChecksum(mChecksum, aBuffer, theSent);
    mSentBytes += theSent;
    if (theWants != kTurn) return theWants;
  }
  if (mSentBytes < mFile.Size()) return kTurn;

  mText = std::string(kWord_Checksum) + " " + ChecksumText(mChecksum) + "\n";
  mfLastText = true;
  mOutcomeWhenSent = kSent;
  Wants theWants = kTurn;
  SendText(theWants);
  return theWants;
}

// kTurn when some of the data was sent.
ServerConnection::Wants ServerConnection::SendOrEnd(const char *aData, size_t aLength, size_t &aSent) {
  const int theCount = zvSocketSend(Socket(), aData, static_cast<int>(aLength), 0, kLabel);
  if (theCount < 0) return WouldWait() ? kToSend : End(kBroken, strerror(zvSocketGetLastError()));
  aSent = static_cast<size_t>(theCount);
  mLastProgress = Milliseconds();
  return kTurn;
}

ServerConnection::Wants ServerConnection::End(Outcome anOutcome, const std::string &aReason) {
  mOutcome = anOutcome;
  mReason = aReason;
  mFile.Close();
  DropInput();
  return kEnd;
}

// Closing with input that nobody took would make the system tell the client of a failure, and lose
// what is still on its way to it.
void ServerConnection::DropInput() {
  int theAvailable = 0;
  for (int theDropped = 0; theDropped < kMostDropped; theDropped += theAvailable) {
    if (zvSocketRecvAvailable(Socket(), &theAvailable, kLabel) != 0 || theAvailable <= 0) return;
    char thePiece[4096];
    theAvailable = zvSocketRecv(Socket(), thePiece, sizeof(thePiece), 0, kLabel);
    if (theAvailable <= 0) return;
  }
}

std::string ServerConnection::Description() const {
  std::string theText = EndpointText(mPeer) + "  " + (mName.empty() ? "-" : Printable(mName)) + "  ";
  switch (mOutcome) {
    case kOpen:
      return theText + "open";
    case kSent:
      return theText + "sent, " + std::to_string(mSentBytes) + " bytes";
    case kRefused:
      return theText + "refused: " + mReason;
    case kBroken:
      break;
  }
  if (mfHasFile) {
    theText +=
        "broken off after " + std::to_string(mSentBytes) + " of " + std::to_string(mFile.Size()) + " bytes";
  } else {
    theText += "broken off";
  }
  return theText + ": " + mReason;
}

}  // namespace tool
