// The mail form ("SMTP Email Utility"): who gets mail, from whom, through
// which server, the daily switch, and Send Now. It keeps its own copies of
// the settings (the EmailForm fields of the model) and hands them to the
// main window's fields on Save and Send Now.
#pragma once

#include <memory>
#include <string>

#include "core/context.h"
#include "mail/direct.h"
#include "mail/relay.h"

namespace tarnex {

class MailForm {
 public:
  // The hint the address field holds until it is clicked.
  static constexpr const char* kAddHint = "Enter Email Address Here then ADD";

  explicit MailForm(Context& ctx);

  // Loading: the DNS server, the controls from the main window's fields,
  // the recipients of "\Bin\Emailto.txt", the server pick-list of
  // "\Bin\SMTPServers.Dat", then the server itself.
  void Load();
  // Save: the keys of section "Email", the two files, and the values to
  // the main window. The caller closes the form.
  void Save();
  // Send Now: the saves without the port, the values to the main window,
  // the summary when "Include Summary" is ticked, the message to every
  // recipient on the form's socket, then Save.
  void SendNow();
  // Add: the address field into the list, and the field cleared.
  void Add();
  // A click on the address field: the hint goes.
  void ClickAddName();
  // A double click on the list's entry `index`: it goes.
  void RemoveEntry(int index);

  // EInfo from the message text, the up time and the summary in mode "S".
  void buildemail();

  // The direct sender, started for every entry of the list: each
  // recipient's domain is looked up at the DNS server and the message
  // (EInfo) goes to its exchanger. Not a control of the form; the
  // operator's surface offers it as "Send Direct".
  void SendDirect();

  RelaySocket& Winsock1() { return winsock1_; }
  DirectSender& Direct() { return direct_; }

 private:
  // The keys and files; without the port for Send Now.
  void WriteSettings(bool with_port);
  void CopyToMainWindow();

  Context& ctx_;
  RelaySocket winsock1_;
  DirectSender direct_;
};

// A server entry as the pick-list holds it ("name|xhost"): the text behind
// the "|" and the one character after it. A text without "|" stays.
std::string ServerFromEntry(const std::string& text);

}  // namespace tarnex
