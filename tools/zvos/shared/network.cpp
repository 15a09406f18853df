#include "shared/network.h"

#include <zvLog/zvLogSettings.h>
#include <zvOS/zvMonoliticTime.h>

#include <fcntl.h>
#include <netdb.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace tool {

namespace {

constexpr char kTrafficFolder[] = "socket";

const zvLogModule kTraceModules[] = {ZVLOG_M_TCP, ZVLOG_M_SOCKETTRACKER, ZVLOG_M_SOCKETTRAFFIC};

}  // namespace

std::string AddressText(uint32 anAddress) {
  char theText[16];
  zv_snprintf(theText, sizeof(theText), "%u.%u.%u.%u", zvSocket_IPPrintf(anAddress));
  return theText;
}

std::string EndpointText(const Endpoint &anEndpoint) {
  return AddressText(anEndpoint.mAddress) + ":" + std::to_string(anEndpoint.mPort);
}

struct sockaddr_in SocketAddress(const Endpoint &anEndpoint) {
  struct sockaddr_in theAddress;
  zvSocket_InitSockAddr(reinterpret_cast<struct sockaddr *>(&theAddress), sizeof(theAddress), AF_INET);
  theAddress.sin_addr.s_addr = anEndpoint.mAddress;
  theAddress.sin_port = zvSocket_htons(anEndpoint.mPort);
  return theAddress;
}

Endpoint EndpointOf(const struct sockaddr_in &anAddress) {
  return {zvSocket_GetIPAddress(anAddress), zvSocket_ntohs(anAddress.sin_port)};
}

bool FindAddress(const std::string &aHost, uint32 &anAddress, std::string &aProblem) {
  const int theCode = zvSocketGetAddressInfo(aHost.c_str(), &anAddress, "zvos: address of a host");
  if (theCode != 0) {
    aProblem = gai_strerror(theCode);
  } else if (anAddress == 0 && aHost != "0.0.0.0") {
    aProblem = "it has no IPv4 address";
  }
  return aProblem.empty();
}

Endpoint OwnEndpoint(zvSocket aSocket) {
  long theAddress = 0;
  unsigned short thePort = 0;
  zvSocketGetSockName(aSocket, &theAddress, &thePort, "zvos: own address");
  return {zvSocket_htonl(static_cast<uint32>(theAddress)), thePort};
}

int64 Milliseconds() {
  zvtimeval theTime = {};
  zvMonoliticTime_GetTime(&theTime);
  return static_cast<int64>(theTime.tv_sec) * 1000 + theTime.tv_usec / 1000;
}

std::string Printable(const std::string &aText) {
  std::string theResult;
  for (const char theCharacter : aText) {
    const unsigned theCode = static_cast<unsigned char>(theCharacter);
    if (theCode >= 0x20 && theCode != 0x7f) {
      theResult += theCharacter;
    } else {
      char theEscape[4];
      zv_snprintf(theEscape, sizeof(theEscape), "%%%02X", theCode);
      theResult += theEscape;
    }
  }
  return theResult;
}

void SocketOwner::Reset(zvSocket aSocket) {
  if (IsOpen()) zvSocketClose(mSocket, mLabel);
  mSocket = aSocket;
}

void SwitchTraceOn() {
  for (const zvLogModule theModule : kTraceModules)
    zvLog_SetModuleLevel(theModule, kzvLogLevel_Debug);
}

std::string TrafficFile(const Endpoint &aPeer, zvSocket aSocket) {
  return std::string(kTrafficFolder) + "/" + AddressText(aPeer.mAddress) + "-" + std::to_string(aPeer.mPort) +
         "-[" + std::to_string(aSocket) + "].txt";
}

std::string MakeTrafficFolder() {
  if (mkdir(kTrafficFolder, 0777) == 0) return "";
  const int theError = errno;
  struct stat theStatus = {};
  if (theError == EEXIST && stat(kTrafficFolder, &theStatus) == 0 && S_ISDIR(theStatus.st_mode)) return "";
  return strerror(theError);
}

bool MakeTrafficFile(const Endpoint &aPeer, zvSocket aSocket) {
  const int theFile =
      open(TrafficFile(aPeer, aSocket).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
  if (theFile == -1) return false;
  close(theFile);
  return true;
}

}  // namespace tool
