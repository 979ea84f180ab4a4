#include "mail/mail_settings.h"

#include "base/legacy.h"
#include "core/lists.h"

namespace tarnex {

void LoadMailSettings(Context& ctx) {
  auto& m = ctx.model();
  const char* S = "Email";
  m.EFrom = ctx.INIRead(Context::kSettingsFile, S, "From");
  m.ESubject = ctx.INIRead(Context::kSettingsFile, S, "Subject");
  m.SMTP = ctx.INIRead(Context::kSettingsFile, S, "smtp");
  m.SMTPPort = ctx.INIRead(Context::kSettingsFile, S, "SMTP Port");
  if (m.SMTPPort.empty()) m.SMTPPort = "25";
  m.EmailList1 = ListEntries(ctx, "\\Bin\\Emailto.txt", true, true);
  m.EBody = ReadTextFile(ctx, "\\Bin\\EmailBody.txt", true);
  ReadFlag(ctx.INIRead(Context::kSettingsFile, S, "Auto"), m.autosend);
  const char* include_keys[6] = {"History", "PCInfo", "Performance", "Process", "Error", "Opersys"};
  for (size_t i = 0; i < 6; ++i) {
    ReadFlag(ctx.INIRead(Context::kSettingsFile, S, include_keys[i]), m.include[i]);
  }
}

}  // namespace tarnex
