// The bottleneck pass: once a second the rules judge the fresh counter values
// and the texts of those that fire are left in BNText.
#pragma once

#include <string>

#include "core/app.h"

namespace tarnex {

// The pass, in its fixed order: the switched groups, the trend rules, the
// program rules, then MinuteTick goes to 0 and the test text is added when
// asked for.
void BottleneckCheck(App& app);

// Copies BNMonitor(0..11) into the twelve rule switches.
void RefreshRuleSwitches(ServerModel& m);

// A click on the caption Label16 of the main screen: the next pass adds a
// test text, so the operator can see the whole reporting path work.
void Label16Click(ServerModel& m);

// The report step of a rule: reads the rule's key of section Bottleneck,
// writes "1" to it whatever happens, and tells whether the text may go.
bool ReportStep(App& app, int key);

// Adds a rule's text, closed by CR LF, to BNText.
void AddText(ServerModel& m, const std::string& text);

// A whole-number counter (stored rounded to a 32-bit integer); a value out of
// that range cannot be stored and the field keeps its value.
void ReadWhole(App& app, int32_t handle, int32_t& field);

// The groups of the pass, in pass order.
void MemoryRules(App& app);
void CPURules(App& app);
void DiskRules(App& app);
void SQLRules(App& app);
void NetworkRules(App& app);
void ServerRules(App& app);
void WebRules(App& app);
void FirewallRules(App& app);
void ProxyRules(App& app);
void CacheRules(App& app);
void TrendRules(App& app);
// One program a tick.
void ProgramRules(App& app);

// The reads at the head of the optional groups (also made by the data view).
void ReadSQLCounters(App& app, bool whole_group);
void ReadWebCounters(App& app, bool yield);
void ReadFirewallCounters(App& app, bool yield);
void ReadProxyCounters(App& app, bool yield);
void ReadCacheCounters(App& app, bool yield);

}  // namespace tarnex
