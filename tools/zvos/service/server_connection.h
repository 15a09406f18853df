// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// One client of the file service: takes its request, sends its file, never waits.
#pragma once

#include "service/file_protocol.h"
#include "shared/network.h"
#include "service/served_folder.h"

namespace tool {

// It belongs to one thread at a time: to the thread that waits for its socket, or to a worker.
class ServerConnection {
 public:
  // What has to happen before the next turn.
  enum Wants {
    kToReceive,
    kToSend,
    kTurn,  // nothing: there is more to do, but others first
    kEnd    // it is over, see Result()
  };
  enum Outcome { kOpen, kSent, kRefused, kBroken };

  // Takes the socket over, which is connected and does not block.
  ServerConnection(zvSocket aSocket, const Endpoint &aPeer, const ServedFolder &aFolder);

  zvSocket Socket() const { return mSocket.Get(); }
  const Endpoint &Peer() const { return mPeer; }

  // Sends the first line, which asks for the request, or one that ends the connection.
  Wants Greet();
  Wants TurnAway(const Refusal &aRefusal);

  // Does as much as is possible without waiting, within the limits of fairness. The buffer has
  // kPieceSize bytes.
  Wants TakeTurn(char *aBuffer);

  // Gives up: the client was too slow, or the server ends.
  void GiveUp(const char *aReason) { End(kBroken, aReason); }

  // When it last got anywhere; a request gets there when it is complete.
  int64 LastProgress() const { return mLastProgress; }

  Outcome Result() const { return mOutcome; }
  uint64 SentBytes() const { return mSentBytes; }  // of the file
  uint64 FileSize() const { return mFile.Size(); }

  // One line about it for people: "192.168.1.20:41810  holiday.jpg  sent, 1048576 bytes".
  std::string Description() const;

 private:
  Wants ReceiveRequest();
  void Answer(const std::string &aRequest);
  void Refuse(const Refusal &aRefusal);
  bool SendText(Wants &aWants);
  Wants SendFile(char *aBuffer);
  Wants SendOrEnd(const char *aData, size_t aLength, size_t &aSent);
  Wants End(Outcome anOutcome, const std::string &aReason);
  void DropInput();

  const SocketOwner mSocket;
  const Endpoint mPeer;
  const ServedFolder &mFolder;

  std::string mRequest;  // as received so far
  std::string mName;
  std::string mText;  // lines to be sent
  size_t mTextSent;
  ServedFile mFile;
  bool mfHasFile;   // mFile is being sent
  bool mfLastText;  // the connection ends with mText
  uint64 mSentBytes;
  uint32 mChecksum;
  int64 mLastProgress;
  Outcome mOutcome;
  Outcome mOutcomeWhenSent;  // of mText, when that is the last
  std::string mReason;
};

}  // namespace tool
