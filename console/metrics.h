// The figures of the server in the Prometheus text format, so that one
// Prometheus watches a fleet of servers: names and units as the node
// exporter has them (bytes, seconds, ratios from 0 to 1), each family with
// its help and its type.
#pragma once

#include <string>

#include "core/model.h"

namespace tarnex {

// `uptime_seconds` is the machine's up time as its counter gives it.
std::string MetricsText(const ServerModel& m, double uptime_seconds);

}  // namespace tarnex
