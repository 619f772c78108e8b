// Loads, binds, initialises and unloads the companion modules in the order of the contract.
// When a module is reloaded, and what is read through it, is decided by the callers.
#ifndef TARN_MODULES_COMPANION_LOADER_H
#define TARN_MODULES_COMPANION_LOADER_H

#include <cstdint>

#include "machine/module_system.h"
#include "modules/companion_table.h"
#include "modules/pass_through.h"

namespace tarn::modules {

// All long-lived modules. False when a needed one fails, with the ones before it unloaded again; HTTPS inspection and
// URL patterns may be missing.
bool LoadAll(Companions& companions, machine::ModuleSystem& system, std::uint32_t& error);

// Everything that is loaded, the last first. Safe at any time.
void UnloadAll(Companions& companions, machine::ModuleSystem& system, std::uint32_t& error);

// One module each, for reloads. A load of a module that is loaded already is the caller's mistake. A module is all or
// nothing: a missing function or a failed initialiser unloads it again. An unload of a module that is not loaded calls
// nothing. passed: what the host hands on to the first module call of a settings change.
bool LoadSettingsReader(Companions& companions, machine::ModuleSystem& system, const base::PathBuffer& folder);
void UnloadSettingsReader(Companions& companions, machine::ModuleSystem& system);
bool LoadStatusReader(Companions& companions, machine::ModuleSystem& system, const base::PathBuffer& folder);
void UnloadStatusReader(Companions& companions, machine::ModuleSystem& system);
bool LoadPacketSignatures(Companions& companions, machine::ModuleSystem& system, const base::PathBuffer& folder,
                          std::uint32_t& error);
void UnloadPacketSignatures(Companions& companions, machine::ModuleSystem& system, std::uint32_t& error);
bool LoadCategorisation(Companions& companions, machine::ModuleSystem& system, const base::PathBuffer& folder,
                        std::uint32_t& error);
void UnloadCategorisation(Companions& companions, machine::ModuleSystem& system, std::uint32_t& error,
                          PassThrough* passed = nullptr);
bool LoadHttpsInspection(Companions& companions, machine::ModuleSystem& system, const base::PathBuffer& folder);
void UnloadHttpsInspection(Companions& companions, machine::ModuleSystem& system, PassThrough* passed = nullptr);
bool LoadUrlPatterns(Companions& companions, machine::ModuleSystem& system, const base::PathBuffer& folder);
void UnloadUrlPatterns(Companions& companions, machine::ModuleSystem& system, std::uint32_t& error);

// The system is not older than the service-pack baseline, is not the 64-bit workstation of version 5.2, and is no
// server. A query without an answer forbids it.
bool HttpsInspectionMayRun(const machine::HttpsInspectionFacts& facts);

// The agent status byte, asked of a module that is loaded for the one call. False leaves status 0.
bool ReadAgentStatus(machine::ModuleSystem& system, std::uint8_t& status);
// The disabled-features record of a managed client, likewise.
bool ReadDisabledFeatures(machine::ModuleSystem& system, DisabledFeatures& features, std::uint32_t& error);

}  // namespace tarn::modules

#endif
