// The tracking set-up dialog (tracking): the log folders and tracked names of
// the four groups, the switch, the schedule and the page folder; the sizes of
// the tracked files; and on the first save, the back-fill of old logs.
#pragma once

#include <string>

#include "core/context.h"

namespace tarnex {

void OpenTrackingDialog(Context& ctx);
void CloseTrackingDialog(Context& ctx);

// The folder buttons: `which` 1 to 4 for a group's log folder, 5 for the
// page folder. The browser's answer is what TrackFolderChoice holds.
void ChooseTrackingFolder(Context& ctx, int which);
// A group's add button: TrackFileChoice holds what the file dialog gives
// back, its pieces as they come apart at NUL (a folder and its files, or one
// full path).
void AddTrackedFiles(Context& ctx, int group);

// The hint a control shows in Text5 as the pointer moves over it ("Check1",
// "List1" to "List4", "Text1" to "Text4", "Command2"); "" for another.
std::string TrackingHint(const std::string& control);

// Command1.
void SaveTracking(Context& ctx);
// Command2: "FileSize" of every name of the four lists again.
void GetSize(Context& ctx);
// The text behind the last "\" or "/"; "" when there is neither.
std::string GetFilename(const std::string& path);
// List5: the old logs of a folder, today's left out, no descent.
void ShowFiles(Context& ctx, const std::string& folder);
// The back-fill of one group from the dialog's folder and list.
void BackFill(Context& ctx, int group);

}  // namespace tarnex
