#include "core/model.h"

#include <cmath>
#include <limits>

#include "base/legacy.h"
#include "core/model_fields.h"

namespace tarnex {

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

bool FromJson(const nlohmann::json& value, std::string& target, std::string& error) {
  if (value.is_string()) {
    target = legacy::Utf8ToCp1252(value.get<std::string>());
  } else if (value.is_number()) {
    target = legacy::Str(value.get<double>());
  } else {
    error = "a text field takes a text";
    return false;
  }
  return true;
}

namespace {

// A number from JSON: a number, or a text that is a number as a whole.
bool Number(const nlohmann::json& value, double& out, std::string& error) {
  if (value.is_number()) {
    out = value.get<double>();
  } else if (value.is_boolean()) {
    out = value.get<bool>() ? 1 : 0;
  } else if (auto n = value.is_string() ? legacy::ImplicitNumber(value.get<std::string>())
                                        : std::nullopt) {
    out = *n;
  } else {
    error = "a number field takes a number";
    return false;
  }
  if (!std::isfinite(out)) {
    error = "a number field takes a finite number";
    return false;
  }
  return true;
}

template <typename Int>
bool WholeNumber(const nlohmann::json& value, Int& target, std::string& error) {
  double n = 0;
  if (!Number(value, n, error)) return false;
  const double rounded = static_cast<double>(legacy::CLng(n));
  if (rounded < static_cast<double>(std::numeric_limits<Int>::min()) ||
      rounded > static_cast<double>(std::numeric_limits<Int>::max())) {
    error = "the number is out of the field's range";
    return false;
  }
  target = static_cast<Int>(rounded);
  return true;
}

}  // namespace

bool FromJson(const nlohmann::json& value, double& target, std::string& error) {
  return Number(value, target, error);
}
bool FromJson(const nlohmann::json& value, float& target, std::string& error) {
  double n = 0;
  if (!Number(value, n, error)) return false;
  target = static_cast<float>(n);
  return true;
}
bool FromJson(const nlohmann::json& value, int32_t& target, std::string& error) {
  return WholeNumber(value, target, error);
}
bool FromJson(const nlohmann::json& value, uint32_t& target, std::string& error) {
  return WholeNumber(value, target, error);
}

const std::vector<ModelField>& ModelFields() {
  static const std::vector<ModelField> fields = [] {
    std::vector<ModelField> list;
#define TARNEX_FIELD_ACCESS(type, name, init)                                           \
  list.push_back(ModelField{                                                            \
      #name, [](const ServerModel& m) { return ToJson(m.name); },                       \
      [](ServerModel& m, const nlohmann::json& v, std::string& error) {                 \
        return FromJson(v, m.name, error);                                              \
      }});
    TARNEX_MODEL_FIELDS(TARNEX_FIELD_ACCESS)
#define TARNEX_HANDLE_ACCESS(name) TARNEX_FIELD_ACCESS(int32_t, name, 0)
    TARNEX_HANDLE_FIELDS(TARNEX_HANDLE_ACCESS)
#undef TARNEX_FIELD_ACCESS
#undef TARNEX_HANDLE_ACCESS
    return list;
  }();
  return fields;
}

const ModelField* FindModelField(const std::string& name) {
  const std::string wanted = legacy::UCase(name);
  for (const ModelField& f : ModelFields()) {
    if (legacy::UCase(f.name) == wanted) return &f;
  }
  return nullptr;
}

nlohmann::json ModelToJson(const ServerModel& model) {
  nlohmann::json out = nlohmann::json::object();
  for (const ModelField& f : ModelFields()) out[f.name] = f.get(model);
  return out;
}

}  // namespace tarnex
