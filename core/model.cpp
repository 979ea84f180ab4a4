#include "core/model.h"

#include <nlohmann/json.hpp>

#include "base/legacy.h"

namespace tarnex {

namespace {

nlohmann::json ToJson(const std::string& text) {
  return legacy::Cp1252ToUtf8(text);
}
nlohmann::json ToJson(double value) {
  return value;
}
nlohmann::json ToJson(float value) {
  return value;
}
nlohmann::json ToJson(int32_t value) {
  return value;
}
nlohmann::json ToJson(uint32_t value) {
  return value;
}

template <typename T>
nlohmann::json ToJson(const std::vector<T>& values) {
  nlohmann::json out = nlohmann::json::array();
  for (const auto& v : values) out.push_back(ToJson(v));
  return out;
}

template <typename T, size_t N>
nlohmann::json ToJson(const std::array<T, N>& values) {
  nlohmann::json out = nlohmann::json::array();
  for (const auto& v : values) out.push_back(ToJson(v));
  return out;
}

}  // namespace

nlohmann::json ModelToJson(const ServerModel& model) {
  nlohmann::json out = nlohmann::json::object();
#define TARNEX_DUMP_FIELD(type, name, init) out[#name] = ToJson(model.name);
  TARNEX_MODEL_FIELDS(TARNEX_DUMP_FIELD)
#undef TARNEX_DUMP_FIELD
#define TARNEX_DUMP_HANDLE(name) out[#name] = ToJson(model.name);
  TARNEX_HANDLE_FIELDS(TARNEX_DUMP_HANDLE)
#undef TARNEX_DUMP_HANDLE
  return out;
}

}  // namespace tarnex
