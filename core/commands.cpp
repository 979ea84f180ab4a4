#include "core/commands.h"

#include <algorithm>
#include <cstdint>
#include <memory>

#include "backup/backup_list.h"
#include "backup/backup_settings.h"
#include "bandwidth/bw_window.h"
#include "base/legacy.h"
#include "console/graphs.h"
#include "console/server_console.h"
#include "core/app.h"
#include "core/model_fields.h"
#include "counters/recordings.h"
#include "mail/mail_form.h"
#include "mail/summary.h"
#include "monitorlink/messages.h"
#include "rules/engine.h"
#include "rules/views.h"
#include "tracking/setup.h"
#include "tracking/stats.h"

namespace tarnex {

using nlohmann::json;

namespace {

bool SameName(const std::string& a, const std::string& b) {
  return legacy::LCase(a) == legacy::LCase(b);
}

std::string FormName(const std::string& form) {
  return form.empty() ? Commands::kMainWindow : form;
}

// The last `count` texts of a kept list (fewer if it has not kept them all).
json Latest(const TextList& list, uint64_t count) {
  json out = json::array();
  const size_t n = static_cast<size_t>(std::min<uint64_t>(count, list.size()));
  for (size_t i = list.size() - n; i < list.size(); ++i) {
    out.push_back(legacy::Cp1252ToUtf8(list[i]));
  }
  return out;
}

}  // namespace

Commands::Commands(App& app) : app_(app) {
  Context& ctx = app_.ctx();

  // The main window: open from start-up until it is closed.
  Form& main = Add(kMainWindow, nullptr, [this] { app_.FormUnload(); });
  main.open = true;
  main.commands = {
      {"Command1", [this] { app_.Command1(); }},
      {"Command2", [this] { app_.Exit(); }},
      {"mnuExit", [this] { app_.Exit(); }},
      {"mnulogall1", [&ctx] { StartRecording(ctx, 60); }},
      {"mnulogall5", [&ctx] { StartRecording(ctx, 300); }},
      {"mnulogall10", [&ctx] { StartRecording(ctx, 600); }},
      {"mnulogall15", [&ctx] { StartRecording(ctx, 900); }},
      {"menuBU", [&ctx] { menuBU(ctx); }},
      {"menuFullBU", [&ctx] { menuFullBU(ctx); }},
      {"mnuservermon", [this] { Open("frmServer"); }},
      {"mnuserverdata", [this] { Open("frmShowBN"); }},
      {"mnuCPUUse", [this] { Open("CPUGraph"); }},
      {"mnubw",
       [this, &ctx] {
         ctx.model().BWSumMode = 1;
         Open("frmBWSum");
       }},
      {"mnubwm",
       [this, &ctx] {
         ctx.model().BWSumMode = 2;
         Open("frmBWSum");
       }},
      {"mnuBN", [this] { Open("frmBNTracking"); }},
      {"mnuWeb", [this] { Open("tracking"); }},
      {"Label16", [&ctx] { Label16Click(ctx.model()); }},
      {"Command10", [&ctx] { AddBackupEntry(ctx); }},
      {"List2.DblClick", [&ctx] { RemoveBackupEntry(ctx); }},
  };
  // The panels of the main window: which one shows is all they change.
  const struct {
    const char* command;
    const char* panel;
  } panels[] = {{"Command3", "Frame1"}, {"Command4", "Frame1"}, {"Command5", "Frame2"},
                {"Command6", "Frame3"}, {"Command8", "Frame4"}, {"Command9", "Frame5"},
                {"Command7", ""}};
  for (const auto& p : panels) {
    main.commands.push_back(
        {p.command, [&ctx, panel = std::string(p.panel)] { ctx.model().ShownPanel = panel; }});
  }

  // The performance console.
  Form& server = Add(
      "frmServer", [&ctx] { OpenServerConsole(ctx); }, [&ctx] { CloseServerConsole(ctx); });
  server.shown = [&ctx] { return ctx.model().ServerConsoleOpen == 1; };
  server.fields = {
      {"LeftCap", [](const ServerModel& m) { return ToJson(m.LeftCap); }},
      {"LeftVal", [](const ServerModel& m) { return ToJson(m.LeftVal); }},
      {"RightCap", [](const ServerModel& m) { return ToJson(m.RightCap); }},
      {"RightVal", [](const ServerModel& m) { return ToJson(m.RightVal); }},
      {"Top", [](const ServerModel& m) { return ToJson(m.ServerConsoleTop); },
       [](ServerModel& m, const json& v, std::string& e) {
         return FromJson(v, m.ServerConsoleTop, e);
       }},
      {"Left", [](const ServerModel& m) { return ToJson(m.ServerConsoleLeft); },
       [](ServerModel& m, const json& v, std::string& e) {
         return FromJson(v, m.ServerConsoleLeft, e);
       }},
  };
  // Its "Options" menu has entries with nothing behind them.
  for (const char* entry : {"mnuset", "mnuhide", "mnucloseme", "mnuquit"}) {
    server.commands.push_back({entry, [] {}});
  }

  // The data view of the rules.
  Form& data = Add(
      "frmShowBN", [&ctx] { OpenBNView(ctx); }, [&ctx] { CloseBNView(ctx); });
  data.shown = [&ctx] { return ctx.model().BNViewOpen == 1; };
  data.fields = {
      {"Label1", [](const ServerModel& m) { return ToJson(m.BNCaption); }},
      {"BNVal", [](const ServerModel& m) { return ToJson(m.BNVal); }},
      {"BNValRed", [](const ServerModel& m) { return ToJson(m.BNValRed); }},
      {"Width", [](const ServerModel& m) { return ToJson(m.BNViewWidth); }},
  };

  // The list of what the rules watch.
  Form& tracked = Add(
      "frmBNTracking", [&ctx] { BuildBNList(ctx.model()); }, nullptr);
  tracked.fields = {
      {"Text1", [](const ServerModel& m) { return ToJson(m.BNTrackedText); }},
  };

  // The bandwidth journals; it is open while it has a caption.
  Form& bw = Add(
      "frmBWSum", [&ctx] { OpenBWSum(ctx); }, [&ctx] { CloseBWSum(ctx); });
  bw.shown = [&ctx] { return !ctx.model().BWSumCaption.empty(); };
  bw.fields = {
      {"Caption", [](const ServerModel& m) { return ToJson(m.BWSumCaption); }},
      {"Text1", [](const ServerModel& m) { return ToJson(m.BWSumText); }},
  };
  bw.commands = {
      {"Command2", [&ctx] { BWSumCommand2(ctx); }},
      {"Command3", [&ctx] { CloseBWSum(ctx); }},
  };

  // The CPU graph window: its charts are drawn once, as it opens.
  Form& graph = Add(
      "CPUGraph", [&ctx] { OpenCPUGraph(ctx); }, nullptr);
  graph.fields = {
      {"CPUU",
       [](const ServerModel& m) {
         return json::array({ToJson(m.CPUU0), ToJson(m.CPUU1), ToJson(m.CPUU2)});
       }},
  };

  // The row of buttons that fill a slot's password or the server code.
  for (int index = 0; index <= 5; ++index) {
    main.commands.push_back(
        {"Generate(" + std::to_string(index) + ")", [this, index] { app_.Generate(index); }});
  }

  // The message to the monitors: the summary is written as the form loads.
  Form& msg = Add(
      "sendmsg",
      [&ctx] {
        ModSummary(ctx, "F");
        LoadSendMsg(ctx);
      },
      [&ctx] { CloseSendMsg(ctx); });
  msg.shown = [&ctx] { return ctx.model().SendMsgOpen == 1; };
  msg.fields = {
      {"Text1", [](const ServerModel& m) { return ToJson(m.MsgText1); },
       [](ServerModel& m, const json& v, std::string& e) {
         if (!FromJson(v, m.MsgText1, e)) return false;
         MessageChanged(m);
         return true;
       }},
      {"Text2", [](const ServerModel& m) { return ToJson(m.MsgText2); },
       [](ServerModel& m, const json& v, std::string& e) {
         if (!FromJson(v, m.MsgText2, e)) return false;
         SummaryChanged(m);
         return true;
       }},
      {"Check1", [](const ServerModel& m) { return ToJson(m.MsgCheck1); },
       [](ServerModel& m, const json& v, std::string& e) { return FromJson(v, m.MsgCheck1, e); }},
      {"sendto", [](const ServerModel& m) { return ToJson(m.MsgSendTo); },
       [](ServerModel& m, const json& v, std::string& e) {
         if (!FromJson(v, m.MsgSendTo, e)) return false;
         if (m.MsgSendTo[5] == 1) TickAll(m);
         return true;
       }},
      {"Command4", [](const ServerModel& m) { return ToJson(m.MsgCommand4); }},
      {"MessageBusy", [](const ServerModel& m) { return ToJson(m.MessageBusy); }},
      {"MessageSize", [](const ServerModel& m) { return ToJson(m.MsgSizeText); }},
      {"SummarySize", [](const ServerModel& m) { return ToJson(m.MsgSummarySizeText); }},
      {"TotalSize", [](const ServerModel& m) { return ToJson(m.MsgTotalSizeText); }},
  };
  msg.commands = {
      {"Send", [&ctx] { SendMessage(ctx); }},
      {"Clear Msg",
       [&ctx] {
         ctx.model().MsgText1.clear();
         MessageChanged(ctx.model());
       }},
      {"Quit", [this] { Close("sendmsg"); }},
      {"Command4", [&ctx] { SwitchMessageView(ctx.model()); }},
  };

  // The mail form, "SMTP Email Utility": the recipients, the sender, the
  // server, the daily switch; Save and Send Now.
  auto mail = std::make_shared<MailForm>(ctx);
  Form& email = Add(
      "email", [mail] { mail->Load(); }, nullptr);
  // A text field of the form, typed into and left.
  auto text = [](const char* name, Text ServerModel::*field,
                 std::function<std::string(const std::string&)> leave = nullptr) {
    return Field{name, [field](const ServerModel& m) { return ToJson(m.*field); },
                 [field, leave](ServerModel& m, const json& v, std::string& e) {
                   std::string value;
                   if (!FromJson(v, value, e)) return false;
                   m.*field = leave ? leave(value) : value;
                   return true;
                 }};
  };
  email.fields = {
      text("SMTP", &ServerModel::EmailFormSMTP, ServerFromEntry),
      text("SMTPPort", &ServerModel::EmailFormSMTPPort),
      text("EFrom", &ServerModel::EmailFormFrom),
      text("ESubject", &ServerModel::EmailFormSubject),
      text("EBody", &ServerModel::EmailFormBody),
      text("addname", &ServerModel::EmailFormAddName),
      {"autosend", [](const ServerModel& m) { return ToJson(m.EmailFormAuto); },
       [](ServerModel& m, const json& v, std::string& e) {
         return FromJson(v, m.EmailFormAuto, e);
       }},
      {"include", [](const ServerModel& m) { return ToJson(m.EmailFormInclude); },
       [](ServerModel& m, const json& v, std::string& e) {
         return FromJson(v, m.EmailFormInclude, e);
       }},
      {"Check1", [](const ServerModel& m) { return ToJson(m.EmailFormCheck1); },
       [](ServerModel& m, const json& v, std::string& e) {
         return FromJson(v, m.EmailFormCheck1, e);
       }},
      {"List1", [](const ServerModel& m) { return ToJson(m.EmailFormList1); }},
      {"ListIndex", [](const ServerModel& m) { return ToJson(m.EmailFormListIndex); },
       [](ServerModel& m, const json& v, std::string& e) {
         return FromJson(v, m.EmailFormListIndex, e);
       }},
      {"Servers", [](const ServerModel& m) { return ToJson(m.EmailFormServers); }},
      {"DNS", [](const ServerModel& m) { return ToJson(m.EmailFormDNS); }},
      {"txtstatus", [](const ServerModel& m) { return ToJson(m.EmailFormStatus); }},
  };
  email.commands = {
      {"Send Now",
       [this, mail] {
         mail->SendNow();
         Close("email");
       }},
      {"Save",
       [this, mail] {
         mail->Save();
         Close("email");
       }},
      {"Quit", [this] { Close("email"); }},
      {"Add", [mail] { mail->Add(); }},
      {"addname", [mail] { mail->ClickAddName(); }},
      {"List1", [mail, &ctx] { mail->RemoveEntry(ctx.model().EmailFormListIndex); }},
      {"Send Direct", [mail] { mail->SendDirect(); }},
  };
  AddTrackingForms();
}

Commands::~Commands() = default;

void Commands::AddTrackingForms() {
  Context& ctx = app_.ctx();
  // The tracking set-up. The folder browser and the file dialog are fields:
  // the operator puts the answer in FolderChoice or FileChoice, then presses
  // the button that would have opened the dialog.
  Form& setup = Add(
      "tracking", [&ctx] { OpenTrackingDialog(ctx); }, [&ctx] { CloseTrackingDialog(ctx); });
  setup.shown = [&ctx] { return ctx.model().TrackDialogOpen == 1; };
  for (size_t i = 0; i < 6; ++i) {
    setup.fields.push_back({"Text" + std::to_string(i + 1),
                            [i](const ServerModel& m) { return ToJson(m.TrackText[i]); },
                            [i](ServerModel& m, const json& v, std::string& e) {
                              return FromJson(v, m.TrackText[i], e);
                            }});
  }
  const TextList ServerModel::*lists[] = {&ServerModel::TrackList1, &ServerModel::TrackList2,
                                          &ServerModel::TrackList3, &ServerModel::TrackList4,
                                          &ServerModel::TrackList5};
  for (size_t i = 0; i < 5; ++i) {
    setup.fields.push_back({"List" + std::to_string(i + 1),
                            [list = lists[i]](const ServerModel& m) { return ToJson(m.*list); }});
  }
  setup.fields.push_back({"Check1", [](const ServerModel& m) { return ToJson(m.TrackCheck1); },
                          [](ServerModel& m, const json& v, std::string& e) {
                            int32_t value = 0;
                            if (!FromJson(v, value, e)) return false;
                            if (value != 0 && value != 1) {
                              e = "a tick box takes 0 or 1";
                              return false;
                            }
                            m.TrackCheck1 = value;
                            return true;
                          }});
  setup.fields.push_back({"Option1", [](const ServerModel& m) { return ToJson(m.TrackOption1); },
                          [](ServerModel& m, const json& v, std::string& e) {
                            int32_t value = 0;
                            if (!FromJson(v, value, e)) return false;
                            if (value < 0 || value > 5) {
                              e = "the schedules are Option1(0) to Option1(5)";
                              return false;
                            }
                            m.TrackOption1 = value;
                            return true;
                          }});
  setup.fields.push_back({"FolderChoice",
                          [](const ServerModel& m) { return ToJson(m.TrackFolderChoice); },
                          [](ServerModel& m, const json& v, std::string& e) {
                            return FromJson(v, m.TrackFolderChoice, e);
                          }});
  setup.fields.push_back({"FileChoice",
                          [](const ServerModel& m) { return ToJson(m.TrackFileChoice); },
                          [](ServerModel& m, const json& v, std::string& e) {
                            return FromJson(v, m.TrackFileChoice, e);
                          }});
  setup.fields.push_back(
      {"DialogTitle", [](const ServerModel& m) { return ToJson(m.TrackDialogTitle); }});
  setup.fields.push_back(
      {"DialogStart", [](const ServerModel& m) { return ToJson(m.TrackDialogStart); }});
  setup.commands = {
      {"Command1", [&ctx] { SaveTracking(ctx); }},
      {"Command2", [&ctx] { GetSize(ctx); }},
  };
  for (int n = 1; n <= 5; ++n) {
    setup.commands.push_back(
        {"Folder" + std::to_string(n), [&ctx, n] { ChooseTrackingFolder(ctx, n); }});
  }
  for (int n = 1; n <= 4; ++n) {
    setup.commands.push_back({"Add" + std::to_string(n), [&ctx, n] { AddTrackedFiles(ctx, n); }});
  }
  // The hints of the status line as the pointer moves over a control.
  for (const char* control : {"Check1", "List1", "List2", "List3", "List4", "Text1", "Text2",
                              "Text3", "Text4", "Command2"}) {
    setup.commands.push_back({std::string(control) + ".MouseMove", [&ctx, control] {
                                ctx.model().TrackText[4] = TrackingHint(control);
                              }});
  }

  // The statistics viewer.
  stats_viewer_ = std::make_unique<StatsViewer>(ctx);
  StatsViewer& viewer = *stats_viewer_;
  Form& stats = Add(
      "ViewStats", [&viewer] { viewer.Open(); }, [&viewer] { viewer.Close(); });
  stats.shown = [&ctx] { return ctx.model().ViewStatsOpen == 1; };
  stats.fields = {
      {"Rows", [](const ServerModel& m) { return ToJson(m.StatsRows); }},
      {"Auto Refresh", [](const ServerModel& m) { return ToJson(m.StatsAutoRefresh); }},
      {"Label1", [](const ServerModel& m) { return ToJson(m.StatsLabel1); }},
  };
  stats.commands = {
      {"Refresh Now", [&ctx] { LoadIt(ctx); }},
      {"Auto Refresh", [&viewer] { viewer.ToggleAutoRefresh(); }},
  };
}

Commands::Form& Commands::Add(const std::string& name, std::function<void()> load,
                              std::function<void()> unload) {
  Form form;
  form.name = name;
  form.load = std::move(load);
  form.unload = std::move(unload);
  forms_.push_back(std::move(form));
  return forms_.back();
}

const Commands::Form* Commands::Find(const std::string& name) const {
  const std::string wanted = FormName(name);
  for (const Form& form : forms_) {
    if (SameName(form.name, wanted)) return &form;
  }
  return nullptr;
}

Commands::Form* Commands::Find(const std::string& name) {
  return const_cast<Form*>(std::as_const(*this).Find(name));
}

bool Commands::Shown(const Form& form) const {
  return form.shown ? form.shown() : form.open;
}

bool Commands::IsOpen(const std::string& form) const {
  const Form* f = Find(form);
  return f != nullptr && Shown(*f);
}

std::string Commands::Open(const std::string& name) {
  Form* form = Find(name);
  if (form == nullptr) return "no form named '" + FormName(name) + "'";
  // A form that is open already only comes to the front.
  if (Shown(*form)) return {};
  form->open = true;
  if (form->load) form->load();
  return {};
}

std::string Commands::Close(const std::string& name) {
  Form* form = Find(name);
  if (form == nullptr) return "no form named '" + FormName(name) + "'";
  if (!Shown(*form)) return {};
  form->open = false;
  if (form->unload) form->unload();
  return {};
}

std::string Commands::CheckSet(const Form& form, const std::string& field,
                               const json& value) const {
  // The value is tried on a copy of the model, so a check changes nothing.
  ServerModel scratch = app_.model();
  std::string error;
  if (&form == &forms_.front()) {
    const ModelField* f = FindModelField(field);
    if (f == nullptr) return "the main window has no field '" + field + "'";
    if (!f->set(scratch, value, error)) return "field '" + f->name + "': " + error;
    return {};
  }
  for (const Field& f : form.fields) {
    if (!SameName(f.name, field)) continue;
    if (!f.set) return "field '" + f.name + "' of " + form.name + " can be read only";
    if (!f.set(scratch, value, error))
      return "field '" + f.name + "' of " + form.name + ": " + error;
    return {};
  }
  return form.name + " has no field '" + field + "'";
}

std::string Commands::Set(const std::string& name, const std::string& field, const json& value) {
  Form* form = Find(name);
  if (form == nullptr) return "no form named '" + FormName(name) + "'";
  if (std::string problem = CheckSet(*form, field, value); !problem.empty()) return problem;
  std::string error;
  if (form == &forms_.front()) {
    FindModelField(field)->set(app_.model(), value, error);
  } else {
    for (const Field& f : form->fields) {
      if (SameName(f.name, field)) f.set(app_.model(), value, error);
    }
  }
  return error;
}

std::string Commands::Do(const std::string& name, const std::string& command) {
  Form* form = Find(name);
  if (form == nullptr) return "no form named '" + FormName(name) + "'";
  for (const Command& c : form->commands) {
    if (SameName(c.name, command)) {
      c.run();
      return {};
    }
  }
  return form->name + " has no command '" + command + "'";
}

std::string Commands::Check(const json& step) const {
  if (!step.is_object()) return "a step is an object";
  std::string name;
  if (step.contains("form")) {
    if (!step["form"].is_string()) return "\"form\" takes a form's name";
    name = step["form"].get<std::string>();
  }
  const Form* form = Find(name);
  if (form == nullptr) return "no form named '" + FormName(name) + "'";
  for (const auto& [key, value] : step.items()) {
    if (key == "at" || key == "form") continue;
    if (key == "open" || key == "close") {
      if (!value.is_boolean()) return "\"" + key + "\" takes true or false";
    } else if (key == "answer") {
      if (value != "yes" && value != "no") return "\"answer\" takes \"yes\" or \"no\"";
    } else if (key == "do") {
      if (!value.is_string()) return "\"do\" takes a command's name";
      const std::string command = value.get<std::string>();
      bool found = false;
      for (const Command& c : form->commands) found = found || SameName(c.name, command);
      if (!found) return form->name + " has no command '" + command + "'";
    } else if (key == "set") {
      if (!value.is_object()) return "\"set\" takes an object of fields and values";
      for (const auto& [field, v] : value.items()) {
        if (std::string problem = CheckSet(*form, field, v); !problem.empty()) return problem;
      }
    } else {
      return "unknown key \"" + key + "\"";
    }
  }
  return {};
}

std::string Commands::Run(const json& step) {
  if (std::string problem = Check(step); !problem.empty()) return problem;
  const std::string name = step.value("form", std::string());
  Context& ctx = app_.ctx();
  // The answer is for a question this step raises, and for no later one.
  if (step.contains("answer")) ctx.GiveAnswer(step["answer"] == "yes");
  std::string problem;
  if (step.value("open", false)) problem = Open(name);
  if (problem.empty() && step.contains("set")) {
    for (const auto& [field, value] : step["set"].items()) {
      problem = Set(name, field, value);
      if (!problem.empty()) break;
    }
  }
  if (problem.empty() && step.contains("do")) problem = Do(name, step["do"].get<std::string>());
  if (problem.empty() && step.value("close", false)) problem = Close(name);
  ctx.ForgetAnswer();
  return problem;
}

json Commands::Operate(const std::vector<json>& steps) {
  json answer = {{"error", ""}, {"done", 0}};
  for (size_t i = 0; i < steps.size(); ++i) {
    if (std::string problem = Check(steps[i]); !problem.empty()) {
      answer["error"] = "step " + std::to_string(i + 1) + ": " + problem;
      return answer;
    }
  }
  ServerModel& m = app_.model();
  const uint64_t messages = app_.ctx().MessagesShown();
  const uint64_t questions = app_.ctx().QuestionsAsked();
  int done = 0;
  for (size_t i = 0; i < steps.size(); ++i) {
    if (std::string problem = Run(steps[i]); !problem.empty()) {
      answer["error"] = "step " + std::to_string(i + 1) + ": " + problem;
      break;
    }
    ++done;
  }
  answer["done"] = done;
  const std::string name = steps.empty() ? "" : steps.back().value("form", std::string());
  const Form* form = Find(name);
  answer["form"] = form == nullptr ? FormName(name) : form->name;
  json fields = json::object();
  if (form == &forms_.front()) {
    // The main window's fields are the whole model: those the steps set.
    const json model = ModelToJson(m);
    for (const json& step : steps) {
      if (!step.contains("set") || !step["set"].is_object()) continue;
      if (!step.value("form", std::string()).empty() &&
          Find(step["form"].get<std::string>()) != form)
        continue;
      for (const auto& [field, value] : step["set"].items()) {
        for (const auto& [key, v] : model.items()) {
          if (SameName(key, field)) fields[key] = v;
        }
      }
    }
  } else if (form != nullptr) {
    fields["open"] = Shown(*form);
    for (const Field& f : form->fields) fields[f.name] = f.get(m);
  }
  answer["fields"] = std::move(fields);
  answer["messages"] = Latest(m.OperatorMessages, app_.ctx().MessagesShown() - messages);
  answer["questions"] = Latest(m.OperatorQuestions, app_.ctx().QuestionsAsked() - questions);
  return answer;
}

json Commands::Dump() const {
  json out = json::object();
  for (const Form& form : forms_) {
    if (&form == &forms_.front()) continue;
    json fields = json::object();
    fields["open"] = Shown(form);
    for (const Field& f : form.fields) fields[f.name] = f.get(app_.model());
    out[form.name] = std::move(fields);
  }
  return out;
}

std::vector<Commands::Description> Commands::Describe() const {
  std::vector<Description> out;
  for (const Form& form : forms_) {
    Description d{form.name, {}, {}};
    if (&form == &forms_.front()) {
      d.fields.push_back("*");
    } else {
      for (const Field& f : form.fields) d.fields.push_back(f.name);
    }
    for (const Command& c : form.commands) d.commands.push_back(c.name);
    out.push_back(std::move(d));
  }
  return out;
}

}  // namespace tarnex
