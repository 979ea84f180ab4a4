// The operator's surface: every window of the system as a form with fields
// and commands. A form opens (its load runs), its fields are set, its
// commands invoked by their control's name (or caption), a question it asks
// answered, and it closes. The scenario's operator timeline, the console and
// the shell all go through this one layer.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "core/context.h"

namespace tarnex {

class App;

class StatsViewer;

class Commands {
 public:
  // The main window; its fields are the fields of the model.
  static constexpr const char* kMainWindow = "MainFrm";

  explicit Commands(App& app);
  ~Commands();

  // Each returns "" when done, else what is wrong, naming the form, field or
  // command. An empty form name is the main window. Names match without
  // regard to case.
  std::string Open(const std::string& form);
  std::string Close(const std::string& form);
  std::string Set(const std::string& form, const std::string& field, const nlohmann::json& value);
  std::string Do(const std::string& form, const std::string& command);

  // One step of the operator timeline, without its time: {"form", "open",
  // "set", "answer", "do", "close"}, every key but the form optional, done in
  // that order ("answer" answers the question the step's command asks).
  // Check looks at the names and the values without doing anything.
  std::string Check(const nlohmann::json& step) const;
  std::string Run(const nlohmann::json& step);

  // Steps given together (the console's and the shell's): all are checked
  // before any runs, then run in order until one cannot be done. The
  // answer: {"error": "" or "step N: what is wrong", "done": steps done,
  // "form": the last step's form, "fields": its fields after the steps (for
  // the main window, the fields the steps set), "messages" and "questions":
  // those the steps raised}.
  nlohmann::json Operate(const std::vector<nlohmann::json>& steps);

  bool IsOpen(const std::string& form) const;
  // Every form but the main window: {NAME: {"open": bool, FIELD: VALUE ...}}.
  nlohmann::json Dump() const;

  // The forms with their fields and commands, in order (the main window's
  // fields are the model's, listed as "*").
  struct Description {
    std::string form;
    std::vector<std::string> fields;
    std::vector<std::string> commands;
  };
  std::vector<Description> Describe() const;

 private:
  struct Field {
    std::string name;
    std::function<nlohmann::json(const ServerModel&)> get;
    // Null for a field that can be read only.
    std::function<bool(ServerModel&, const nlohmann::json&, std::string&)> set = nullptr;
  };
  struct Command {
    std::string name;
    std::function<void()> run;
  };
  struct Form {
    std::string name;
    std::function<void()> load;
    std::function<void()> unload;
    // Where the form keeps whether it is open, when the model does.
    std::function<bool()> shown;
    bool open = false;
    std::vector<Field> fields;
    std::vector<Command> commands;
  };

  void AddTrackingForms();
  Form& Add(const std::string& name, std::function<void()> load, std::function<void()> unload);
  const Form* Find(const std::string& name) const;
  Form* Find(const std::string& name);
  bool Shown(const Form& form) const;
  std::string CheckSet(const Form& form, const std::string& field,
                       const nlohmann::json& value) const;

  App& app_;
  std::deque<Form> forms_;  // the main window first
  std::unique_ptr<StatsViewer> stats_viewer_;
};

}  // namespace tarnex
