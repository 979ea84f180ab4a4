#include "bandwidth/interfaces.h"

#include <cstdio>
#include <limits>

namespace tarnex {

namespace {

// The platform publishes its rows at 860 bytes each after a 4-byte count; the
// offset of a row is worked out in 16-bit signed arithmetic, which overflows
// from the 40th row on. The copy then fails and the record keeps the row
// before: every row past the 39th is the 39th again.
constexpr int kRowBytes = 860;
bool RowOffsetFits(int row) {
  return static_cast<int64_t>(row - 1) * kRowBytes + 4 <= std::numeric_limits<int16_t>::max();
}

// An addition in signed 32 bits; one that would overflow is left out.
void AddWithoutOverflow(int32_t& sum, int32_t value) {
  const int64_t total = static_cast<int64_t>(sum) + value;
  if (total >= std::numeric_limits<int32_t>::min() &&
      total <= std::numeric_limits<int32_t>::max()) {
    sum = static_cast<int32_t>(total);
  }
}

CInterface FromRow(const InterfaceRow& r) {
  CInterface i;
  i.InterfaceDescription = r.description.substr(0, 256);
  i.OutputQueueLength = static_cast<int32_t>(r.out_qlen);
  i.OutgoingErrors = static_cast<int32_t>(r.out_errors);
  i.DiscardedOutgoingPackets = static_cast<int32_t>(r.out_discards);
  i.NonunicastPacketsSent = static_cast<int32_t>(r.out_nucast);
  i.UnicastPacketsSent = static_cast<int32_t>(r.out_ucast);
  i.OctetsSent = static_cast<int32_t>(r.out_octets);
  i.UnknownProtocolPackets = static_cast<int32_t>(r.in_unknown);
  i.IncomingErrors = static_cast<int32_t>(r.in_errors);
  i.DiscardedIncomingPackets = static_cast<int32_t>(r.in_discards);
  i.NonunicastPacketsReceived = static_cast<int32_t>(r.in_nucast);
  i.MaximumTransmissionUnit = static_cast<int32_t>(r.mtu);
  i.UnicastPacketsReceived = static_cast<int32_t>(r.in_ucast);
  i.OctetsReceived = static_cast<int32_t>(r.in_octets);
  i.OperationalStatus = static_cast<int32_t>(r.oper_status);
  i.AdminStatus = static_cast<int32_t>(r.admin_status);
  i.AdapterAddress = AdapterAddressText(r.address);
  i.Speed = static_cast<int32_t>(r.speed);
  i.InterfaceType = static_cast<int32_t>(r.type);
  i.InterfaceIndex = static_cast<int32_t>(r.index);
  // The name is 16-bit text taken byte by byte, uncut: a NUL after each
  // letter, to the field's full 256 units.
  std::u16string name = r.name.substr(0, 256);
  name.resize(256, u'\0');
  for (char16_t unit : name) {
    i.InterfaceName += static_cast<char>(unit & 0xFF);
    i.InterfaceName += static_cast<char>(unit >> 8);
  }
  return i;
}

}  // namespace

std::string AdapterAddressText(const std::string& bytes) {
  std::string text;
  for (size_t n = 0; n < bytes.size() && n < 8; ++n) {
    const unsigned value = static_cast<unsigned char>(bytes[n]);
    char hex[3];
    std::snprintf(hex, sizeof hex, "%X", value);
    text += value == 0 ? "00" : hex;
    text += "-";
  }
  if (!text.empty()) text.pop_back();
  return text;
}

CInterface& CInterfaces::Add(const CInterface& entry, const std::string& key) {
  entries_.push_back(std::make_shared<CInterface>(entry));
  keys_.push_back(key);
  return *entries_.back();
}

CInterface* CInterfaces::Item(int position) {
  if (position < 1 || position > Count()) return nullptr;
  return entries_[static_cast<size_t>(position - 1)].get();
}

CInterface* CInterfaces::Item(const std::string& key) {
  for (size_t i = 0; i < keys_.size(); ++i) {
    if (!key.empty() && keys_[i] == key) return entries_[i].get();
  }
  return nullptr;
}

bool CInterfaces::Remove(int position) {
  if (position < 1 || position > Count()) return false;
  entries_.erase(entries_.begin() + (position - 1));
  keys_.erase(keys_.begin() + (position - 1));
  return true;
}

bool CInterfaces::Remove(const std::string& key) {
  for (size_t i = 0; i < keys_.size(); ++i) {
    if (!key.empty() && keys_[i] == key) return Remove(static_cast<int>(i) + 1);
  }
  return false;
}

CInterfaces& CIpHelper::Interfaces() {
  interfaces_ = CInterfaces();
  FillInterfaces();
  return interfaces_;
}

void CIpHelper::FillInterfaces() {
  bytes_received_ = 0;
  bytes_sent_ = 0;
  std::vector<InterfaceRow> rows;
  if (!platform_.InterfaceTable(rows)) return;
  const InterfaceRow* record = nullptr;
  for (size_t n = 1; n <= rows.size(); ++n) {
    if (RowOffsetFits(static_cast<int>(n))) record = &rows[n - 1];
    const CInterface entry = FromRow(*record);
    AddWithoutOverflow(bytes_received_, entry.OctetsReceived);
    AddWithoutOverflow(bytes_sent_, entry.OctetsSent);
    interfaces_.Add(entry);
  }
}

}  // namespace tarnex
