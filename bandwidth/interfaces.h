// The interface table as three small classes: a snapshot of every network
// interface of the machine, and the octets of all rows summed. It stands by
// itself: the traffic totals come from the performance counters.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace tarnex {

// One interface. The table's unsigned counts are kept in signed 32-bit
// properties: from 2,147,483,648 on they read as negative.
class CInterface {
 public:
  std::string InterfaceDescription;
  int32_t OutputQueueLength = 0;
  int32_t OutgoingErrors = 0;
  int32_t DiscardedOutgoingPackets = 0;
  int32_t NonunicastPacketsSent = 0;
  int32_t UnicastPacketsSent = 0;
  int32_t OctetsSent = 0;
  int32_t UnknownProtocolPackets = 0;
  int32_t IncomingErrors = 0;
  int32_t DiscardedIncomingPackets = 0;
  int32_t NonunicastPacketsReceived = 0;
  int32_t MaximumTransmissionUnit = 0;
  int32_t UnicastPacketsReceived = 0;
  int32_t OctetsReceived = 0;
  int64_t LastChange = 0;  // never filled
  int32_t OperationalStatus = 0;
  int32_t AdminStatus = 0;
  std::string AdapterAddress;
  int32_t Speed = 0;
  int32_t InterfaceType = 0;
  int32_t InterfaceIndex = 0;
  std::string InterfaceName;
};

// An ordered collection of interfaces; Item and Remove take a position
// counted from 1, or the key an entry was added with.
class CInterfaces {
 public:
  CInterface& Add(const CInterface& entry, const std::string& key = "");
  CInterface* Item(int position);
  CInterface* Item(const std::string& key);
  int Count() const { return static_cast<int>(entries_.size()); }
  bool Remove(int position);
  bool Remove(const std::string& key);
  std::vector<std::shared_ptr<CInterface>>::const_iterator begin() const {
    return entries_.begin();
  }
  std::vector<std::shared_ptr<CInterface>>::const_iterator end() const { return entries_.end(); }

 private:
  std::vector<std::shared_ptr<CInterface>> entries_;
  std::vector<std::string> keys_;
};

class CIpHelper {
 public:
  explicit CIpHelper(Platform& platform) : platform_(platform) {}

  // A fresh snapshot of the table at every read.
  CInterfaces& Interfaces();
  void SetInterfaces(const CInterfaces& interfaces) { interfaces_ = interfaces; }
  // The sums of the last snapshot; an addition that would overflow is left out.
  int32_t BytesReceived() const { return bytes_received_; }
  int32_t BytesSent() const { return bytes_sent_; }

 private:
  void FillInterfaces();

  Platform& platform_;
  CInterfaces interfaces_;
  int32_t bytes_received_ = 0;
  int32_t bytes_sent_ = 0;
};

// The text of a hardware address: each byte up to the eighth as upper-case
// hexadecimal without a leading zero ("00" for a zero byte), joined by "-".
std::string AdapterAddressText(const std::string& bytes);

}  // namespace tarnex
