// What a subsystem is handed to do its work: the server model, the settings
// store, the journal, counter reads, waiting and yielding, and the machine's
// services. Subsystems never see the application itself.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "core/model.h"
#include "core/profile.h"
#include "platform/platform.h"

namespace tarnex {

class Context {
 public:
  static constexpr const char* kSettingsFile = "\\Bin\\Tarnex.Tnx";

  Context(Platform& platform, ServerModel& model, ProfileStore& profiles)
      : platform_(platform), model_(model), profiles_(profiles) {}
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;

  ServerModel& model() { return model_; }
  Platform& platform() { return platform_; }
  EventLoop& loop() { return platform_.Loop(); }
  Files& fs() { return platform_.Fs(); }
  ProfileStore& profiles() { return profiles_; }
  CivilTime Now() const { return platform_.Loop().Now(); }

  // A file of the installation folder: AppPath followed by `name` ("\Bin\...").
  std::string Path(const std::string& name) const { return model_.AppPath + name; }

  // Settings: a file name is AppPath-relative when it starts with "\".
  std::string INIRead(const std::string& file, const std::string& section, const std::string& key);
  void INIWrite(const std::string& file, const std::string& section, const std::string& key,
                const std::string& value);

  // The journal's one entry: the event window and the day log.
  void MyEvents(const std::string& message);

  // A counter's value whatever its status says (0.0 for handle 0).
  double ReadCounter(int32_t handle);

  // The one sleep, which lets events run, and a yield.
  void Wait(int64_t ms) { loop().Wait(ms); }
  void Yield() { loop().DoEvents(); }

  // A message box for the operator; kept in the model too.
  void ShowMessage(const std::string& text);
  // A yes/no question for the operator, kept in the model too: answered by
  // the answer given beforehand (an operator step's), else by the machine.
  bool AskYesNo(const std::string& text);
  // The model keeps the most recent messages and questions only, so a server
  // that runs for months does not carry all it ever said in each dump; these
  // count every one raised since start.
  static constexpr size_t kKeptRaised = 100;
  uint64_t MessagesShown() const { return messages_shown_; }
  uint64_t QuestionsAsked() const { return questions_asked_; }
  void GiveAnswer(bool yes) { answer_ = yes ? 1 : 0; }
  void ForgetAnswer() { answer_ = -1; }

  // A new turn of the loop: the settings store looks at its files again, and
  // settings file names are mapped to host paths again.
  void NewTurn();

 private:
  std::string NativeSettingsPath(const std::string& file);

  Platform& platform_;
  ServerModel& model_;
  ProfileStore& profiles_;
  // Settings file names mapped to host paths in this turn.
  std::unordered_map<std::string, std::string> native_names_;
  int answer_ = -1;  // the next question's answer given beforehand; -1: none
  uint64_t messages_shown_ = 0;
  uint64_t questions_asked_ = 0;
};

// A flag read from the settings ("1", "0", "True", "False"): the empty text
// or any other text cannot be converted, and the flag keeps its value.
void ReadFlag(const std::string& text, int32_t& flag);

}  // namespace tarnex
