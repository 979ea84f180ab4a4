#include "core/app.h"

#include "backup/backup_settings.h"
#include "bandwidth/traffic.h"
#include "base/legacy.h"
#include "core/commands.h"
#include "inventory/dos_outputs.h"
#include "mail/relay.h"
#include "monitorlink/link.h"
#include "monitorlink/listeners.h"
#include "update/update.h"

namespace tarnex {

App::App(Platform& platform, std::string app_path)
    : platform_(platform),
      profiles_(platform.Fs()),
      ctx_(platform, model_, profiles_),
      listeners_(std::make_unique<Listeners>(platform)),
      winsock2_(std::make_unique<RelaySocket>(ctx_)),
      update_(std::make_unique<UpdateCheck>(ctx_)),
      commands_(std::make_unique<Commands>(*this)) {
  model_.AppPath = std::move(app_path);
  ArmSlots(ctx_, *listeners_);
  // The settings written between two waits of the loop reach the disk as one
  // replacement of each file changed, before the loop waits, yields or sleeps.
  flush_hook_ = platform_.Loop().AddBeforeSleep([this] {
    profiles_.Flush();
    ctx_.NewTurn();
  });
}

App::~App() {
  platform_.Loop().RemoveBeforeSleep(flush_hook_);
  profiles_.Flush();
}

Winsock& App::Listener(int index) {
  return (*listeners_)[index];
}

void App::SetUpdateServer(const std::string& host, int port) {
  update_->SetServer(host, port);
}

void App::Generate(int index) {
  tarnex::Generate(ctx_, *listeners_, index);
}

void App::FormUnload() {
  // 1. The week table.
  SaveIT(ctx_);
  // 2. The five listeners.
  listeners_->CloseAll();
  // 3. The window's place.
  ctx_.INIWrite(Context::kSettingsFile, "Server", "Left", legacy::Str(model_.Left));
  ctx_.INIWrite(Context::kSettingsFile, "Server", "Top", legacy::Str(model_.Top));
  // 4. The sending companion is asked to close.
  CloseCompanion(ctx_);
  // 5. The end.
  loop().Stop();
}

void App::Exit() {
  update_->Winsock1().Close();
  listeners_->CloseAll();
  loop().Stop();
}

}  // namespace tarnex
