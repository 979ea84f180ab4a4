// Reading a scenario file: one reader per top-level key, grouped by area in
// the scenario_*.cpp files. A new key is one reader and one line in the table
// of ScenarioReaders().
#pragma once

#include <map>
#include <string>

#include <nlohmann/json.hpp>

namespace tarnex {

class SimPlatform;

// Takes one key's value into the machine; false, with `error` saying why,
// when the value is not valid.
using ScenarioReader = bool (*)(SimPlatform& sim, const nlohmann::json& value, std::string& error);

// The reader of each key a scenario may have.
const std::map<std::string, ScenarioReader>& ScenarioReaders();

// The machine: its clock's start, environment, desktop, folders, processor
// and drives (scenario_machine.cpp).
bool ReadStart(SimPlatform& sim, const nlohmann::json& value, std::string& error);
bool ReadEnv(SimPlatform& sim, const nlohmann::json& value, std::string& error);
bool ReadScreen(SimPlatform& sim, const nlohmann::json& value, std::string& error);
bool ReadDirs(SimPlatform& sim, const nlohmann::json& value, std::string& error);
bool ReadProcessor(SimPlatform& sim, const nlohmann::json& value, std::string& error);
bool ReadDisks(SimPlatform& sim, const nlohmann::json& value, std::string& error);

// Performance counters and their objects (scenario_counters.cpp).
bool ReadCounters(SimPlatform& sim, const nlohmann::json& value, std::string& error);
bool ReadObjects(SimPlatform& sim, const nlohmann::json& value, std::string& error);

// Processes, services and the programs' outputs (scenario_programs.cpp).
bool ReadProcesses(SimPlatform& sim, const nlohmann::json& value, std::string& error);
bool ReadPrograms(SimPlatform& sim, const nlohmann::json& value, std::string& error);
bool ReadServices(SimPlatform& sim, const nlohmann::json& value, std::string& error);
bool ReadCommands(SimPlatform& sim, const nlohmann::json& value, std::string& error);

// The interface table (scenario_network.cpp).
bool ReadInterfaces(SimPlatform& sim, const nlohmann::json& value, std::string& error);

// The operator's timeline (scenario_operator.cpp).
bool ReadOperator(SimPlatform& sim, const nlohmann::json& value, std::string& error);
bool ReadDnsServer(SimPlatform& sim, const nlohmann::json& value, std::string& error);
bool ReadDnsError(SimPlatform& sim, const nlohmann::json& value, std::string& error);

// System-management classes (scenario_wmi.cpp).
bool ReadWmi(SimPlatform& sim, const nlohmann::json& value, std::string& error);

// Names as the simulated machine keys them.
std::string LowerText(std::string text);
std::string UpperText(std::string text);

}  // namespace tarnex
