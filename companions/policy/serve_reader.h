// Reads the table [serve] of a policy.
#ifndef TARN_COMPANIONS_POLICY_SERVE_READER_H
#define TARN_COMPANIONS_POLICY_SERVE_READER_H

#include "policy/section.h"
#include "policy/serve_table.h"

namespace tarn::policy {

void ReadServe(Section& section, ServeTable& serve);

// "192.0.2.1:8080" or "[2001:db8::1]:8080", with a port from 1 to 65535.
bool IsAddressWithPort(std::string_view text);
// A name, "=" and an IPv4 or IPv6 address.
bool IsNamedAddress(std::string_view text);

}  // namespace tarn::policy

#endif
