// The bottleneck pass: once a second the rules judge the fresh counter values
// and the texts of those that fire are left in BNText.
#pragma once

#include <string>

#include "core/context.h"

namespace tarnex {

// The groups of rules by the names the operator sees, in the order of the
// counts of BNFindings: the ten switched groups, the trend rules, the
// program rules.
inline constexpr const char* kRuleGroups[12] = {"memory",  "cpu",    "disk",  "sql",
                                                "network", "server", "web",   "firewall",
                                                "proxy",   "cache",  "trend", "programs"};

// The pass, in its fixed order: the switched groups, the trend rules, the
// program rules, then MinuteTick goes to 0 and the test text is added when
// asked for.
void BottleneckCheck(Context& ctx);

// Copies BNMonitor(0..11) into the twelve rule switches.
void RefreshRuleSwitches(ServerModel& m);

// Start-up, step 18: BNMonitor(0..11) from section Monitor, copied into the
// rule switches; with Once set, keys 1 to 100 of section Bottleneck are
// marked as reported, so the guarded rules stay silent for the whole run.
void LoadRuleSwitches(Context& ctx);
// The Save operation, step 8: the twelve switches written and copied at once.
void SaveRuleSwitches(Context& ctx);

// The journal half of the cycle's step 25: a non-empty BNText loses its last
// two characters and goes to the journal between asterisk lines.
void JournalFindings(Context& ctx);

// A click on the caption Label16 of the main screen: the next pass adds a
// test text, so the operator can see the whole reporting path work.
void Label16Click(ServerModel& m);

// The report step of a rule: reads the rule's key of section Bottleneck,
// writes "1" to it whatever happens, and tells whether the text may go.
bool ReportStep(Context& ctx, int key);

// Adds a rule's text, closed by CR LF, to BNText.
void AddText(ServerModel& m, const std::string& text);

// A whole-number counter (stored rounded to a 32-bit integer); a value out of
// that range cannot be stored and the field keeps its value.
void ReadWhole(Context& ctx, int32_t handle, int32_t& field);

// The groups of the pass, in pass order.
void MemoryRules(Context& ctx);
void CPURules(Context& ctx);
void DiskRules(Context& ctx);
void SQLRules(Context& ctx);
void NetworkRules(Context& ctx);
void ServerRules(Context& ctx);
void WebRules(Context& ctx);
void FirewallRules(Context& ctx);
void ProxyRules(Context& ctx);
void CacheRules(Context& ctx);
void TrendRules(Context& ctx);
// One program a tick.
void ProgramRules(Context& ctx);

// The reads at the head of the optional groups (also made by the data view).
void ReadSQLCounters(Context& ctx, bool whole_group);
void ReadWebCounters(Context& ctx, bool yield);
void ReadFirewallCounters(Context& ctx, bool yield);
void ReadProxyCounters(Context& ctx, bool yield);
void ReadCacheCounters(Context& ctx, bool yield);

}  // namespace tarnex
