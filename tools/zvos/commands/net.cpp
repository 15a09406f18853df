// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// `zvos net`: what the library says of this machine's network.

#include "commands/commands.h"
#include "shared/json.h"
#include "shared/library_log.h"
#include "shared/network.h"
#include "shared/options.h"
#include "shared/owners.h"
#include "shared/terminal.h"
#include "shared/text.h"

#include <zvOS/zvMACAddress.h>

#include <arpa/inet.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace tool {

namespace {

constexpr char kLabel[] = "zvos net";
constexpr size_t kMACLength = 6;

struct Interface {
  std::string mName;
  std::string mAddress;
  std::string mMask;
  std::string mMAC;  // empty when it has none
  bool mfProtected;
};

struct Neighbour {
  std::string mAddress;
  std::string mMAC;  // empty as long as it has not answered
  std::string mInterface;
};

struct Network {
  std::string mHostName;
  std::string mDeviceMAC;  // empty when there is none
  bool mfLoopback;
  std::vector<Interface> mInterfaces;
  std::vector<Neighbour> mNeighbours;
};

// Empty for an address without meaning: all bytes 0x00 or all 0xFF.
std::string MACText(const uint8 *aMAC) {
  const auto fnAll = [aMAC](uint8 aByte) {
    return std::all_of(aMAC, aMAC + kMACLength, [aByte](uint8 anOther) { return anOther == aByte; });
  };
  if (fnAll(0x00) || fnAll(0xff)) return "";
  char theText[18];
  zv_snprintf(theText, sizeof(theText), "%02x:%02x:%02x:%02x:%02x:%02x", aMAC[0], aMAC[1], aMAC[2], aMAC[3],
              aMAC[4], aMAC[5]);
  return theText;
}

// The hardware address of one interface, which the system tells on any socket.
std::string MACOfInterface(const std::string &aName) {
  const SocketOwner theSocket(zvSocketOpen(AF_INET, SOCK_DGRAM, 0, kLabel), kLabel);
  struct ifreq theRequest = {};
  if (!theSocket.IsOpen() || aName.size() >= sizeof(theRequest.ifr_name)) return "";
  memcpy(theRequest.ifr_name, aName.data(), aName.size());
  if (ioctl(theSocket.Get(), SIOCGIFHWADDR, &theRequest) != 0) return "";
  if (theRequest.ifr_hwaddr.sa_family != ARPHRD_ETHER) return "";
  return MACText(reinterpret_cast<const uint8 *>(theRequest.ifr_hwaddr.sa_data));
}

template <typename Element>
using List = Owner<Element[], free>;

void ReadInterfaces(Network &aNetwork) {
  uint32 *theAddresses = nullptr;
  uint32 *theMasks = nullptr;
  char **theNames = nullptr;
  const int theCount = zvSocketGetInterfacesInfos(nullptr, &theAddresses, &theMasks, nullptr, &theNames, 1);
  const List<uint32> theAddressList(theAddresses);
  const List<uint32> theMaskList(theMasks);
  const List<char *> theNameList(theNames);
  for (int i = 0; i < theCount; ++i) {
    const List<char> theName(theNames[i]);
    Interface theInterface;
    theInterface.mName = theNames[i];
    theInterface.mAddress = AddressText(theAddresses[i]);
    theInterface.mMask = AddressText(theMasks[i]);
    theInterface.mMAC = MACOfInterface(theInterface.mName);
    theInterface.mfProtected = zvSocket_IsLinkProtected(static_cast<int32>(theAddresses[i])) != 0;
    aNetwork.mInterfaces.push_back(theInterface);
    aNetwork.mfLoopback = aNetwork.mfLoopback || theAddresses[i] == zvSocket_htonl(INADDR_LOOPBACK);
  }
}

std::string MACOfNeighbour(const std::string &anAddress) {
  const uint32 theNumber = inet_addr(anAddress.c_str());
  struct sockaddr_in theAddress = SocketAddress({theNumber, 0});
  uint8 theMAC[kMACLength] = {};
  size_t theLength = sizeof(theMAC);
  if (zvSocket_QueryARP(reinterpret_cast<struct sockaddr *>(&theAddress), theMAC, &theLength) != 0) return "";
  return MACText(theMAC);
}

// The kernel's table tells who there is; the library is asked for the hardware address of each.
void ReadNeighbours(Network &aNetwork) {
  const Owner<FILE, fclose> theFile(fopen("/proc/net/arp", "re"));
  if (!theFile) return;
  char theLine[256];
  for (bool afHeading = true; fgets(theLine, sizeof(theLine), theFile.get()) != nullptr; afHeading = false) {
    char theAddress[32];
    char theDevice[32];
    if (afHeading || sscanf(theLine, "%31s %*s %*s %*s %*s %31s", theAddress, theDevice) != 2) continue;
    aNetwork.mNeighbours.push_back({theAddress, MACOfNeighbour(theAddress), theDevice});
  }
}

Network ReadNetwork() {
  Network theNetwork = {};
  char theName[256] = "";
  if (zvSocketGetHostName(theName, sizeof(theName), kLabel) == 0) theNetwork.mHostName = theName;
  uint8 theMAC[kMACLength] = {};
  if (zvSocket_GetMACAddress(0, theMAC) == 1) theNetwork.mDeviceMAC = MACText(theMAC);
  ReadInterfaces(theNetwork);
  ReadNeighbours(theNetwork);
  return theNetwork;
}

// ---- For people ----

using Row = std::vector<std::string>;

void PrintTable(const std::vector<Row> &someRows) {
  std::vector<size_t> theWidths;
  for (const Row &theRow : someRows) {
    theWidths.resize(std::max(theWidths.size(), theRow.size()));
    for (size_t i = 0; i < theRow.size(); ++i)
      theWidths[i] = std::max(theWidths[i], theRow[i].size());
  }
  for (const Row &theRow : someRows) {
    std::string theLine;
    for (size_t i = 0; i < theRow.size(); ++i) {
      theLine += theRow[i];
      if (i + 1 < theRow.size()) theLine.append(theWidths[i] - theRow[i].size() + 2, ' ');
    }
    Print("%s\n", theLine.c_str());
  }
}

std::string TextOrDash(const std::string &aText) {
  return aText.empty() ? "-" : Printable(aText);
}

void PrintForPeople(const Network &aNetwork) {
  PrintTable({{"Host name", TextOrDash(aNetwork.mHostName)},
              {"Device MAC", TextOrDash(aNetwork.mDeviceMAC)},
              {"Loopback", aNetwork.mfLoopback ? "up" : "DOWN"}});

  std::vector<Row> theInterfaces = {{"Interface", "Address", "Mask", "MAC", "Link"}};
  for (const Interface &theInterface : aNetwork.mInterfaces) {
    theInterfaces.push_back({Printable(theInterface.mName), theInterface.mAddress, theInterface.mMask,
                             TextOrDash(theInterface.mMAC),
                             theInterface.mfProtected ? "protected" : "NOT PROTECTED"});
  }
  Print("\n");
  PrintTable(theInterfaces);
  if (aNetwork.mInterfaces.empty()) Print("none is up\n");

  std::vector<Row> theNeighbours = {{"Neighbour", "MAC", "Interface"}};
  for (const Neighbour &theNeighbour : aNetwork.mNeighbours) {
    theNeighbours.push_back({theNeighbour.mAddress,
                             theNeighbour.mMAC.empty() ? "no answer" : theNeighbour.mMAC,
                             Printable(theNeighbour.mInterface)});
  }
  Print("\n");
  PrintTable(theNeighbours);
  if (aNetwork.mNeighbours.empty()) Print("none is known\n");
}

// ---- For scripts ----

void PrintForScripts(const Network &aNetwork) {
  std::vector<std::string> theInterfaces;
  for (const Interface &theInterface : aNetwork.mInterfaces) {
    theInterfaces.push_back(
        "{\"name\": " + JsonText(theInterface.mName) + ", \"address\": " + JsonText(theInterface.mAddress) +
        ", \"mask\": " + JsonText(theInterface.mMask) + ", \"mac\": " + JsonTextOrNull(theInterface.mMAC) +
        ", \"linkProtected\": " + (theInterface.mfProtected ? "true" : "false") + "}");
  }
  std::vector<std::string> theNeighbours;
  for (const Neighbour &theNeighbour : aNetwork.mNeighbours) {
    theNeighbours.push_back("{\"address\": " + JsonText(theNeighbour.mAddress) +
                            ", \"mac\": " + JsonTextOrNull(theNeighbour.mMAC) +
                            ", \"interface\": " + JsonText(theNeighbour.mInterface) + "}");
  }
  Print(
      "{\n"
      "  \"hostName\": %s,\n"
      "  \"deviceMac\": %s,\n"
      "  \"loopbackUp\": %s,\n"
      "  \"interfaces\": %s,\n"
      "  \"neighbours\": %s\n"
      "}\n",
      JsonTextOrNull(aNetwork.mHostName).c_str(), JsonTextOrNull(aNetwork.mDeviceMAC).c_str(),
      aNetwork.mfLoopback ? "true" : "false", JsonList(theInterfaces).c_str(),
      JsonList(theNeighbours).c_str());
}

int RunNet(const Arguments &anArguments) {
  bool afJson = false;
  Arguments theOperands;
  if (!TakeOptions(kCommand_Net, anArguments, {{"--json", &afJson, nullptr}}, theOperands)) {
    return kStatus_BadInput;
  }
  if (!theOperands.empty()) {
    Complain("net: no operand is taken, see 'zvos help net'");
    return kStatus_BadInput;
  }
  KeepNetworkQuiet();
  const Network theNetwork = ReadNetwork();
  afJson ? PrintForScripts(theNetwork) : PrintForPeople(theNetwork);
  return kStatus_Good;
}

}  // namespace

const Command kCommand_Net = {
    "net",
    "[--json]",
    "show interfaces, neighbours and what protects the links",
    "Shows the host name, the hardware address by which the library knows the device, whether the\n"
    "loopback interface is up, every interface that is up with its IPv4 address, and the neighbours\n"
    "known to the system. A link is protected unless the Wi-Fi supplicant says that it is open; asking\n"
    "it can take two seconds per wireless interface.\n"
    "\n"
    "  --json             the same as one JSON object; what is not there is null\n"
    "\n"
    "Exit status: 0 shown, 1 the output could not be written, 2 wrong usage.\n"
    "\n"
    "Examples:\n"
    "  zvos net\n"
    "  zvos net --json | jq -r '.interfaces[].address'\n",
    RunNet,
};

}  // namespace tool
