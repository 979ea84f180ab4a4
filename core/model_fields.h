// Every field of the server model by its name: its value as JSON (texts
// turned from Windows-1252 to UTF-8), and the setting of it from JSON, as
// the model dump and the operator's commands use them.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "core/model.h"

namespace tarnex {

struct ModelField {
  std::string name;
  std::function<nlohmann::json(const ServerModel&)> get;
  // Sets the field; false, with `error` saying why and the field as it was,
  // when the value does not fit it.
  std::function<bool(ServerModel&, const nlohmann::json&, std::string& error)> set;
};

// Every field, in the order the model lists them, the counter handles last.
const std::vector<ModelField>& ModelFields();
// A field by its name (names match without regard to case); null when none.
const ModelField* FindModelField(const std::string& name);

// The value of one field's type as JSON, and from JSON. A text takes a text,
// or a number as the runtime turns it into text; a number takes a number, or
// a text that is one as a whole; a list takes an array; a control array takes
// an array (indexes from 0) or an object of indexes.
nlohmann::json ToJson(const std::string& text);
nlohmann::json ToJson(double value);
nlohmann::json ToJson(float value);
nlohmann::json ToJson(int32_t value);
nlohmann::json ToJson(uint32_t value);
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

bool FromJson(const nlohmann::json& value, std::string& target, std::string& error);
bool FromJson(const nlohmann::json& value, double& target, std::string& error);
bool FromJson(const nlohmann::json& value, float& target, std::string& error);
bool FromJson(const nlohmann::json& value, int32_t& target, std::string& error);
bool FromJson(const nlohmann::json& value, uint32_t& target, std::string& error);
template <typename T>
bool FromJson(const nlohmann::json& value, std::vector<T>& target, std::string& error) {
  if (!value.is_array()) {
    error = "a list takes an array";
    return false;
  }
  std::vector<T> values(value.size());
  for (size_t i = 0; i < value.size(); ++i) {
    if (!FromJson(value[i], values[i], error)) return false;
  }
  target = std::move(values);
  return true;
}
template <typename T, size_t N>
bool FromJson(const nlohmann::json& value, std::array<T, N>& target, std::string& error) {
  std::array<T, N> values = target;
  if (value.is_array()) {
    if (value.size() > N) {
      error = "the control array has " + std::to_string(N) + " elements";
      return false;
    }
    for (size_t i = 0; i < value.size(); ++i) {
      if (!FromJson(value[i], values[i], error)) return false;
    }
  } else if (value.is_object()) {
    for (const auto& [key, v] : value.items()) {
      size_t used = 0;
      long index = -1;
      try {
        index = std::stol(key, &used);
      } catch (...) {
      }
      if (used != key.size() || index < 0 || static_cast<size_t>(index) >= N) {
        error = "no element " + key + " (indexes 0 to " + std::to_string(N - 1) + ")";
        return false;
      }
      if (!FromJson(v, values[static_cast<size_t>(index)], error)) return false;
    }
  } else {
    error = "a control array takes an array or an object of indexes";
    return false;
  }
  target = values;
  return true;
}

}  // namespace tarnex
