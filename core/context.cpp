#include "core/context.h"

#include "base/legacy.h"

namespace tarnex {

std::string Context::NativeSettingsPath(const std::string& file) {
  auto it = native_names_.find(file);
  if (it != native_names_.end()) return it->second;
  std::string native = platform_.Fs().Native(!file.empty() && file[0] == '\\' ? Path(file) : file);
  native_names_.emplace(file, native);
  return native;
}

void Context::NewTurn() {
  native_names_.clear();
  profiles_.NewTurn();
}

std::string Context::INIRead(const std::string& file, const std::string& section,
                             const std::string& key) {
  const std::string native = NativeSettingsPath(file);
  if (native.empty()) return {};
  return profiles_.Read(native, section, key);
}

void Context::INIWrite(const std::string& file, const std::string& section, const std::string& key,
                       const std::string& value) {
  const std::string native = NativeSettingsPath(file);
  if (native.empty()) return;
  std::string clean;
  clean.reserve(value.size());
  for (char c : value) {
    if (c != '\0') clean += c;
  }
  profiles_.Write(native, section, key, clean);
}

double Context::ReadCounter(int32_t handle) {
  uint32_t status = 0;
  return platform_.Counters().GetDoubleCounterValue(handle, status);
}

namespace {

void Keep(TextList& list, const std::string& text, uint64_t& count) {
  if (list.size() >= Context::kKeptRaised) list.erase(list.begin());
  list.push_back(text);
  ++count;
}

}  // namespace

void Context::ShowMessage(const std::string& text) {
  Keep(model_.OperatorMessages, text, messages_shown_);
  platform_.ShowMessage(text);
}

bool Context::AskYesNo(const std::string& text) {
  Keep(model_.OperatorQuestions, text, questions_asked_);
  if (answer_ >= 0) {
    const bool yes = answer_ == 1;
    answer_ = -1;
    return yes;
  }
  return platform_.AskYesNo(text);
}

void ReadFlag(const std::string& text, int32_t& flag) {
  if (auto n = legacy::ImplicitNumber(text)) flag = static_cast<int32_t>(legacy::CLng(*n));
}

}  // namespace tarnex
