#include "mail/mail_form.h"

#include "base/legacy.h"
#include "core/lists.h"
#include "mail/summary.h"

namespace tarnex {

namespace {

const char* const kSection = "Email";
const char* const kCRLF = "\r\n";
const char* const kIncludeKeys[6] = {"History", "PCInfo", "Performance",
                                     "Process", "Error",  "Opersys"};

// The lines of a list file that hold something, as the form reads them.
std::vector<std::string> NonBlankLines(Context& ctx, const std::string& name, bool trim) {
  std::vector<std::string> out;
  for (const std::string& line : ReadListFile(ctx, name, false)) {
    const std::string entry = trim ? legacy::Trim(line) : line;
    if (!legacy::Trim(entry).empty()) out.push_back(entry);
  }
  return out;
}

}  // namespace

std::string ServerFromEntry(const std::string& text) {
  const int64_t p = legacy::InStr(text, "|");
  if (p == 0) return text;
  return legacy::Mid(text, p + 2, static_cast<int64_t>(text.size()) - p - 1);
}

MailForm::MailForm(Context& ctx) : ctx_(ctx), winsock1_(ctx), direct_(ctx) {
  ctx_.model().EmailFormAddName = kAddHint;
}

void MailForm::Load() {
  auto& m = ctx_.model();
  // The DNS server of this machine, for the direct sender.
  std::string dns;
  const int error = ctx_.platform().DnsServer(dns);
  if (error != 0) {
    ctx_.ShowMessage("GetNetworkParams sizing failed with error: " + std::to_string(error));
    dns.clear();
  }
  m.EmailFormDNS = dns;
  m.EmailFormAuto = m.autosend;
  m.EmailFormInclude = m.include;
  m.EmailFormList1 = NonBlankLines(ctx_, "\\Bin\\Emailto.txt", true);
  m.EmailFormFrom = m.EFrom;
  m.EmailFormBody = m.EBody;
  m.EmailFormSubject = m.ESubject;
  m.EmailFormSMTPPort = m.SMTPPort;
  m.EmailFormServers = NonBlankLines(ctx_, "\\Bin\\SMTPServers.Dat", false);
  // The saved choice stands over the pick-list's first entry.
  m.EmailFormSMTP = m.SMTP;
}

void MailForm::WriteSettings(bool with_port) {
  auto& m = ctx_.model();
  m.autosend = m.EmailFormAuto;
  m.include = m.EmailFormInclude;
  m.EFrom = m.EmailFormFrom;
  m.ESubject = m.EmailFormSubject;
  m.ETo.clear();
  for (const std::string& entry : m.EmailFormList1) m.ETo += entry + kCRLF;
  const std::string& file = Context::kSettingsFile;
  ctx_.INIWrite(file, kSection, "SMTP", m.EmailFormSMTP);
  if (with_port) ctx_.INIWrite(file, kSection, "SMTP Port", m.EmailFormSMTPPort);
  ctx_.INIWrite(file, kSection, "From", m.EmailFormFrom);
  ctx_.INIWrite(file, kSection, "Subject", m.EmailFormSubject);
  ctx_.INIWrite(file, kSection, "Auto", std::to_string(m.EmailFormAuto));
  for (size_t i = 0; i < 6; ++i) {
    ctx_.INIWrite(file, kSection, kIncludeKeys[i], std::to_string(m.EmailFormInclude[i]));
  }
  std::string list;
  for (const std::string& entry : m.EmailFormList1) {
    if (!entry.empty()) list += entry + kCRLF;
  }
  ctx_.fs().WriteAll(ctx_.Path("\\Bin\\Emailto.txt"), list);
  ctx_.fs().WriteAll(ctx_.Path("\\Bin\\EmailBody.txt"), m.EmailFormBody);
}

void MailForm::CopyToMainWindow() {
  auto& m = ctx_.model();
  m.EFrom = m.EmailFormFrom;
  m.EBody = m.EmailFormBody;
  m.ESubject = m.EmailFormSubject;
  m.SMTP = m.EmailFormSMTP;
  m.SMTPPort = m.EmailFormSMTPPort;
}

void MailForm::Save() {
  WriteSettings(true);
  CopyToMainWindow();
}

void MailForm::SendNow() {
  WriteSettings(false);
  CopyToMainWindow();
  if (ctx_.model().EmailFormCheck1 == 1) buildemail();
  SendEmail(ctx_, winsock1_);
  Save();
}

void MailForm::buildemail() {
  auto& m = ctx_.model();
  m.EInfo = m.EBody + kCRLF;
  m.EInfo += kCRLF;
  m.EInfo += "Server On Time: " + m.UpTimeText + kCRLF;
  m.EInfo += kCRLF;
  ModSummary(ctx_, "S");
  m.EInfo += ReadTextFile(ctx_, "\\Bin\\Summary.txt", false);
}

void MailForm::Add() {
  auto& m = ctx_.model();
  m.EmailFormList1.push_back(m.EmailFormAddName);
  m.EmailFormAddName.clear();
}

void MailForm::ClickAddName() {
  auto& m = ctx_.model();
  if (m.EmailFormAddName == kAddHint) m.EmailFormAddName.clear();
}

void MailForm::RemoveEntry(int index) {
  auto& list = ctx_.model().EmailFormList1;
  if (index >= 0 && static_cast<size_t>(index) < list.size()) list.erase(list.begin() + index);
}

void MailForm::SendDirect() {
  auto& m = ctx_.model();
  direct_.MailFromLine = "MAIL FROM:<" + m.EFrom + ">" + kCRLF;
  direct_.HeaderLines = "From: " + m.EFrom + kCRLF + "Subject: " + m.ESubject + kCRLF;
  direct_.Body = m.EInfo + kCRLF;
  const std::vector<std::string> list = m.EmailFormList1;
  for (size_t i = 0; i < list.size(); ++i) {
    const std::string& to = list[i];
    const size_t at = to.rfind('@');
    const std::string domain = at == std::string::npos ? to : to.substr(at + 1);
    direct_.Start(static_cast<int>(i), domain, "RCPT TO:<" + to + ">" + kCRLF,
                  "To: <" + to + ">" + std::string(kCRLF) + kCRLF);
  }
}

}  // namespace tarnex
