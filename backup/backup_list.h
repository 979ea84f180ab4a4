// The file back-up list (List2, "\Bin\ServerBackup.Tnx"): entries added from
// the pickers and removed by a double click, and the sizes shown meanwhile.
#pragma once

#include <string>

#include "core/context.h"

namespace tarnex {

// Command10, the Add button: the folder ("|Subs" or "|None") or each file
// selected ("|File"), none twice; for a folder its size, or for a drive root
// the drive's used space, with the free space of the back-up drive, in Label7.
void AddBackupEntry(Context& ctx);
// A double click on the entry List2Index: it goes, and the list file is
// written again.
void RemoveBackupEntry(Context& ctx);

// The bytes of a folder's files, of its sub-folders' too with `with_subs`;
// the event loop turns at every step.
double FolderSize(Context& ctx, const std::string& path, bool with_subs);
// "Total Size: " and the used space of a drive, "Sync 1 Free: " and its free
// space, in GB, MB or KB.
std::string DriveSizeText(Context& ctx, const std::string& root);
std::string DriveFreeText(Context& ctx, const std::string& root);

}  // namespace tarnex
