// The tracking groups' day: what start-up restores of them, the night's
// close of the day's hits into the tracked archive, and that archive.
#pragma once

#include <string>

#include "core/context.h"

namespace tarnex {

// The group's Track file, "\Events\Tracked\Track<N>.dat", N from 1 to 4.
std::string TrackFile(int group);

// Start-up, step 26: the switches, and for groups 1 to 4 in turn the log
// folder, the list of names and how far into today's log the group has read.
void LoadTracking(Context& ctx);
// Start-up, step 27, its first part: the web site, and on a new day every
// name's hits of the day back to 0.
void LoadTrackingDay(Context& ctx);

// The clock cycle's rows 4 to 6: each name's hits of the day go to the
// tracked archive and back to 0, its file's size is taken again, and the
// harvest test of the night is made.
void CloseTrackingDay(Context& ctx);

// Appends a line to the day's archive
// "\Events\Tracked\<mmmyyyy>\Tracked_<ddmmmyyyy>.txt", making its folder.
void TrackedLog(Context& ctx, const std::string& text);

}  // namespace tarnex
